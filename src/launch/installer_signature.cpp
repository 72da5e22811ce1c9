#include "launch/installer_signature.h"

#include <algorithm>
#include <cstdio>

std::string InstallerRefusalReason(const InstallerSignature& signature,
                                   const std::vector<std::string>& pinnedKeys)
{
    // No policy compiled in: installers run unchecked, as they always have.
    if (pinnedKeys.empty())
        return std::string();
    using Verdict = InstallerSignature::Verdict;
    switch (signature.verdict)
    {
    case Verdict::Signed:
        break;
    case Verdict::NotSigned:
        return "not signed";
    case Verdict::ChangedAfterSigning:
        return "changed after signing";
    case Verdict::CouldNotOpen:
        return "could not be opened";
    case Verdict::IsLink:
        return "is a link";
    case Verdict::TrustLibraryMissing:
        return "could not load wintrust.dll";
    case Verdict::NotTrusted:
    default:
    {
        char text[48];
        std::snprintf(text, sizeof text, "signature not trusted (0x%08X)",
                      static_cast<unsigned>(signature.status));
        return text;
    }
    }
    if (std::find(pinnedKeys.begin(), pinnedKeys.end(), signature.signerKeySha256) != pinnedKeys.end())
        return std::string();
    return "signed by an unexpected key (" + signature.signerName + ")";
}

const std::vector<std::string>& InstallerSignerKeys()
{
    // Placeholder until the build carries the policy.
    static const std::vector<std::string> keys;
    return keys;
}
