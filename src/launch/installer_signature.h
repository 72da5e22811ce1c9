// Whether a store front's installer carries a signature the stub accepts
// before it asks the player to elevate it. Portable: the stub reads the
// signature through the system's trust provider (installer_signature_win.h),
// kvotool on Linux through OpenSSL; both fill the same record and the same
// rule decides.
#pragma once

#include <cstddef>
#include <cstdint>
#include <string>
#include <vector>

struct InstallerSignature
{
    enum class Verdict
    {
        Signed,
        NotSigned,
        ChangedAfterSigning,
        NotTrusted,
        CouldNotOpen,
        IsLink,
        TrustLibraryMissing
    };
    Verdict verdict = Verdict::CouldNotOpen;
    // The raw trust result (WinVerifyTrust's, or the equivalent); 0 when Signed.
    uint32_t status = 0;
    // UTF-8 simple display name of the signer; empty when there is none.
    std::string signerName;
    // 64 lowercase hex digits: SHA-256 of the signer certificate's DER
    // SubjectPublicKeyInfo; empty when there is none.
    std::string signerKeySha256;
};

// The keys compiled into this build (KVO_INSTALLER_SIGNER_KEYS), each 64
// lowercase hex digits. Empty: installers are not checked.
const std::vector<std::string>& InstallerSignerKeys();

// The refusal rule shared by the stub and kvotool doctor. Empty when the
// installer is accepted, otherwise the reason in words for the log line.
// An empty key list accepts every installer: there is no policy.
std::string InstallerRefusalReason(const InstallerSignature& signature,
                                   const std::vector<std::string>& pinnedKeys);

#ifndef _WIN32
// Reads the Authenticode signature of the PE file at PATH (certificate table,
// PKCS#7 SignedData, digest over the file). False when it could not be opened.
bool ReadInstallerSignature(const std::string& path, InstallerSignature& out);
#endif

// Building blocks shared by both back ends and kvotool.

// The signer key (as in signerKeySha256) of a DER certificate; empty when
// the bytes are no certificate.
std::string SignerKeyOfCertificate(const uint8_t* der, size_t size);
// The same for a certificate file's bytes, PEM or DER.
std::string SignerKeyOfCertificateFile(const std::vector<uint8_t>& bytes);
// Splits a ";"-separated key list; false (and KEYS untouched) when an entry
// is not 64 lowercase hexadecimal digits.
bool ParseSignerKeys(const std::string& text, std::vector<std::string>& keys);
// Where the DER SubjectPublicKeyInfo lies inside a DER certificate.
bool CertificateSubjectPublicKeyInfo(const uint8_t* der, size_t size, const uint8_t*& spki, size_t& spkiSize);
// Lowercase hexadecimal.
std::string HexLower(const uint8_t* bytes, size_t size);
// SHA-256 through the back end's library.
bool InstallerSha256(const uint8_t* data, size_t size, uint8_t digest[32]);
