#include "installer_trust.h"

#include "file_io.h"
#include "launch/installer_signature.h"

#ifdef _WIN32
#include "launch/installer_signature_win.h"
#include "util/text_convert.h"

#include <windows.h>
#endif

namespace kvotool
{
namespace
{
InstallerSignature ReadSignature(const std::string& path)
{
    InstallerSignature signature;
#ifdef _WIN32
    // The stub's check wants the absolute path it would start.
    const std::wstring wide = ToWide(path);
    wchar_t full[MAX_PATH * 4];
    const DWORD length = GetFullPathNameW(wide.c_str(), MAX_PATH * 4, full, nullptr);
    FileHandle held;
    OpenAndReadInstallerSignature(length && length < MAX_PATH * 4 ? std::wstring(full, length) : wide,
                                  signature, held);
#else
    ReadInstallerSignature(path, signature);
#endif
    return signature;
}

std::string SignatureInWords(const InstallerSignature& s)
{
    using Verdict = InstallerSignature::Verdict;
    switch (s.verdict)
    {
    case Verdict::Signed:
        return "is signed by " +
               (s.signerName.empty() ? std::string("a signer without a name") : s.signerName) +
               " (key SHA-256 " + s.signerKeySha256 + ")";
    case Verdict::NotSigned:
        return "is not signed";
    case Verdict::ChangedAfterSigning:
        return "was changed after signing" +
               (s.signerName.empty() ? std::string() : " (signed by " + s.signerName + ")");
    case Verdict::IsLink:
        return "is a link";
    case Verdict::TrustLibraryMissing:
        return "could not be checked (wintrust.dll could not be loaded)";
    case Verdict::CouldNotOpen:
        return "could not be opened";
    case Verdict::NotTrusted:
    default:
        break;
    }
    // The stub's own wording carries the status.
    return "has a " + InstallerRefusalReason(s, {std::string(64, '0')});
}
} // namespace

bool AddPolicyKeys(const std::string& list, InstallerPolicy& policy, std::string& error)
{
    std::vector<std::string> keys;
    if (!ParseSignerKeys(list, keys) || keys.empty())
    {
        error =
            "--installer-keys takes 64-digit lowercase hexadecimal SHA-256 values separated by ';', not \"" +
            list + "\"";
        return false;
    }
    policy.keys.insert(policy.keys.end(), keys.begin(), keys.end());
    policy.given = true;
    return true;
}

bool AddPolicySigner(const std::string& certificatePath, InstallerPolicy& policy, std::string& error)
{
    std::string bytes;
    std::string readError;
    if (!ReadWholeFile(certificatePath, bytes, readError))
    {
        error = "--installer-signer: " + readError;
        return false;
    }
    const std::string key = SignerKeyOfCertificateFile(std::vector<uint8_t>(bytes.begin(), bytes.end()));
    if (key.empty())
    {
        error = "--installer-signer: " + certificatePath + " holds no certificate (PEM or DER)";
        return false;
    }
    policy.keys.push_back(key);
    policy.given = true;
    return true;
}

bool ReportInstallerTrust(const std::string& path, const InstallerPolicy& policy,
                          const std::string& refusalShows, DiagnosticList& diags)
{
    const InstallerSignature signature = ReadSignature(path);
    diags.Note("the installer " + SignatureInWords(signature)).rule = "installer-signature";
    if (!policy.given)
        return false;
    const std::string reason = InstallerRefusalReason(signature, policy.keys);
    if (reason.empty())
    {
        diags.Note("a stub with this installer policy runs this installer").rule = "installer-policy";
        return false;
    }
    diags
        .Error("a stub with this installer policy refuses this installer (" + reason + ") and shows " +
               refusalShows)
        .rule = "installer-refused";
    return true;
}
} // namespace kvotool
