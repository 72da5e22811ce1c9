#include "launch/installer_signature.h"

bool ReadInstallerSignature(const std::string&, InstallerSignature& out)
{
    // Placeholder: the check is not implemented yet.
    out = InstallerSignature();
    return false;
}
