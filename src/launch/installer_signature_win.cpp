#include "launch/installer_signature_win.h"

bool OpenAndReadInstallerSignature(const std::wstring&, InstallerSignature& out, FileHandle& heldOpen)
{
    // Placeholder: the check is not implemented yet.
    heldOpen.Reset();
    out = InstallerSignature();
    return false;
}
