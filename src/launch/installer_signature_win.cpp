#include "launch/installer_signature_win.h"

#include "util/path_check.h"
#include "util/system_library.h"
#include "util/text_convert.h"

#include <softpub.h>
#include <wincrypt.h>
#include <wintrust.h>

namespace
{
constexpr uint32_t kTrustNoSignature = 0x800B0100;    // TRUST_E_NOSIGNATURE
constexpr uint32_t kTrustSubjectUnknown = 0x800B0003; // TRUST_E_SUBJECT_FORM_UNKNOWN: not a program
constexpr uint32_t kTrustBadDigest = 0x80096010;      // TRUST_E_BAD_DIGEST

// The calls of wintrust.dll and crypt32.dll, found at run time: neither is
// on the known-DLL list, so a static import would take a copy planted beside
// the stub. crypt32 is loaded first so that wintrust binds to the system's.
struct TrustLibraries
{
    ModuleHandle crypt32;
    ModuleHandle wintrust;
    decltype(&WinVerifyTrust) verifyTrust = nullptr;
    decltype(&WTHelperProvDataFromStateData) provData = nullptr;
    decltype(&WTHelperGetProvSignerFromChain) provSigner = nullptr;
    decltype(&WTHelperGetProvCertFromChain) provCert = nullptr;
    decltype(&CertGetNameStringW) certName = nullptr;

    bool Load()
    {
        crypt32 = LoadSystemLibrary(L"crypt32.dll");
        wintrust = LoadSystemLibrary(L"wintrust.dll");
        return crypt32.Find("CertGetNameStringW", certName) && wintrust.Find("WinVerifyTrust", verifyTrust) &&
               wintrust.Find("WTHelperProvDataFromStateData", provData) &&
               wintrust.Find("WTHelperGetProvSignerFromChain", provSigner) &&
               wintrust.Find("WTHelperGetProvCertFromChain", provCert);
    }
};

InstallerSignature::Verdict VerdictOf(uint32_t status)
{
    using Verdict = InstallerSignature::Verdict;
    switch (status)
    {
    case 0:
        return Verdict::Signed;
    case kTrustNoSignature:
    case kTrustSubjectUnknown:
        return Verdict::NotSigned;
    case kTrustBadDigest:
        return Verdict::ChangedAfterSigning;
    default:
        return Verdict::NotTrusted;
    }
}

// Name and key of the certificate that signed the file, from the state the
// verification left behind.
void ReadSigner(const TrustLibraries& trust, HANDLE state, InstallerSignature& out)
{
    CRYPT_PROVIDER_DATA* data = trust.provData(state);
    CRYPT_PROVIDER_SGNR* signer = data ? trust.provSigner(data, 0, FALSE, 0) : nullptr;
    CRYPT_PROVIDER_CERT* cert = signer ? trust.provCert(signer, 0) : nullptr;
    const CERT_CONTEXT* context = cert ? cert->pCert : nullptr;
    if (!context)
        return;
    wchar_t name[256];
    if (trust.certName(context, CERT_NAME_SIMPLE_DISPLAY_TYPE, 0, nullptr, name, ARRAYSIZE(name)) > 1)
        out.signerName = ToUtf8(name);
    out.signerKeySha256 = SignerKeyOfCertificate(context->pbCertEncoded, context->cbCertEncoded);
}
// True when the file or a folder on its way is a reparse point (a junction or
// symbolic link): one that is retargeted after the check would make the shell
// start another file than the one held open. The drive itself is not asked.
bool PathHasReparsePoint(const std::wstring& path)
{
    bool found = false;
    ForEachPathPrefix(path,
                      [&found](const std::wstring& prefix)
                      {
                          if (found || prefix.empty() || prefix.back() == L':' || prefix.back() == L'\\')
                              return;
                          const DWORD attributes = GetFileAttributesW(prefix.c_str());
                          found = attributes != INVALID_FILE_ATTRIBUTES &&
                                  (attributes & FILE_ATTRIBUTE_REPARSE_POINT);
                      });
    SetLastError(0);
    return found;
}
} // namespace

bool OpenAndReadInstallerSignature(const std::wstring& absolutePath, InstallerSignature& out,
                                   FileHandle& heldOpen)
{
    out = InstallerSignature();
    heldOpen.Reset();
    if (PathHasReparsePoint(absolutePath))
    {
        out.verdict = InstallerSignature::Verdict::IsLink;
        return false;
    }
    // Read sharing only: while the handle is held nobody can write, rename or
    // delete the file, so the file checked is the file the shell starts. A
    // link made after the look above is opened itself, not followed, and
    // refused.
    FileHandle file(CreateFileW(absolutePath.c_str(), GENERIC_READ, FILE_SHARE_READ, nullptr, OPEN_EXISTING,
                                FILE_FLAG_OPEN_REPARSE_POINT, nullptr));
    BY_HANDLE_FILE_INFORMATION info;
    if (!file || !GetFileInformationByHandle(file.Get(), &info))
    {
        out.status = GetLastError();
        SetLastError(0);
        return false;
    }
    if (info.dwFileAttributes & FILE_ATTRIBUTE_REPARSE_POINT)
    {
        out.verdict = InstallerSignature::Verdict::IsLink;
        return false;
    }
    if (info.dwFileAttributes & FILE_ATTRIBUTE_DIRECTORY)
        return false;
    heldOpen = std::move(file);

    TrustLibraries trust;
    if (!trust.Load())
    {
        out.verdict = InstallerSignature::Verdict::TrustLibraryMissing;
        out.status = GetLastError();
        SetLastError(0);
        return true;
    }

    WINTRUST_FILE_INFO fileInfo = {};
    fileInfo.cbStruct = sizeof fileInfo;
    fileInfo.pcwszFilePath = absolutePath.c_str();
    fileInfo.hFile = heldOpen.Get();
    WINTRUST_DATA trustData = {};
    trustData.cbStruct = sizeof trustData;
    trustData.dwUIChoice = WTD_UI_NONE;
    // Players may be offline: no revocation lists are fetched.
    trustData.fdwRevocationChecks = WTD_REVOKE_NONE;
    trustData.dwProvFlags = WTD_REVOCATION_CHECK_NONE;
    trustData.dwUnionChoice = WTD_CHOICE_FILE;
    trustData.pFile = &fileInfo;
    trustData.dwStateAction = WTD_STATEACTION_VERIFY;
    GUID action = WINTRUST_ACTION_GENERIC_VERIFY_V2;
    // No window at all (null, not INVALID_HANDLE_VALUE): with no UI nothing
    // is shown either way, and Wine turns INVALID_HANDLE_VALUE into the
    // desktop window, whose start costs 10 s where no desktop runs.
    const LONG result = trust.verifyTrust(nullptr, &action, &trustData);
    out.status = static_cast<uint32_t>(result);
    out.verdict = VerdictOf(out.status);
    if (trustData.hWVTStateData)
    {
        if (out.verdict == InstallerSignature::Verdict::Signed)
            ReadSigner(trust, trustData.hWVTStateData, out);
        trustData.dwStateAction = WTD_STATEACTION_CLOSE;
        trust.verifyTrust(nullptr, &action, &trustData);
    }
    // A signature whose signer cannot be read cannot be matched to a key.
    if (out.verdict == InstallerSignature::Verdict::Signed && out.signerKeySha256.empty())
        out.verdict = InstallerSignature::Verdict::NotTrusted;
    SetLastError(0);
    return true;
}

bool InstallerSha256(const uint8_t* data, size_t size, uint8_t digest[32])
{
    ModuleHandle crypt32 = LoadSystemLibrary(L"crypt32.dll");
    decltype(&CryptHashCertificate2) hash = nullptr;
    DWORD digestSize = 32;
    return crypt32.Find("CryptHashCertificate2", hash) &&
           hash(BCRYPT_SHA256_ALGORITHM, 0, nullptr, data, static_cast<DWORD>(size), digest, &digestSize) &&
           digestSize == 32;
}
