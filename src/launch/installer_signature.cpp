#include "launch/installer_signature.h"

#include "json/json_text.h"

#include <algorithm>
#include <cstdio>
#include <cstring>

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
    // KVO_INSTALLER_SIGNER_KEYS, checked when configuring: string literals
    // separated by commas, or nothing.
    static const std::vector<std::string> keys = {
#include "installer_signer_keys.inc"
    };
    return keys;
}

namespace
{
// One DER element: its tag, where its contents start and how long they are.
struct DerElement
{
    uint8_t tag = 0;
    const uint8_t* contents = nullptr;
    size_t length = 0;
    const uint8_t* end() const { return contents + length; }
};

// Reads the element at POS (up to END) and moves POS past it. Single-byte
// tags and definite lengths only, as DER requires.
bool ReadDer(const uint8_t*& pos, const uint8_t* end, DerElement& element)
{
    if (end - pos < 2)
        return false;
    element.tag = pos[0];
    size_t length = pos[1];
    const uint8_t* contents = pos + 2;
    if (length & 0x80)
    {
        const size_t count = length & 0x7F;
        if (count == 0 || count > 4 || static_cast<size_t>(end - contents) < count)
            return false;
        length = 0;
        for (size_t i = 0; i < count; ++i)
            length = (length << 8) | *contents++;
    }
    if (static_cast<size_t>(end - contents) < length)
        return false;
    element.contents = contents;
    element.length = length;
    pos = contents + length;
    return true;
}

constexpr uint8_t kSequence = 0x30;
constexpr uint8_t kVersionTag = 0xA0; // [0] EXPLICIT in TBSCertificate
} // namespace

bool CertificateSubjectPublicKeyInfo(const uint8_t* der, size_t size, const uint8_t*& spki, size_t& spkiSize)
{
    if (!der)
        return false;
    const uint8_t* pos = der;
    DerElement certificate, tbs, field;
    if (!ReadDer(pos, der + size, certificate) || certificate.tag != kSequence)
        return false;
    pos = certificate.contents;
    if (!ReadDer(pos, certificate.end(), tbs) || tbs.tag != kSequence)
        return false;
    // version (optional), serialNumber, signature, issuer, validity, subject,
    // then subjectPublicKeyInfo, taken whole with its tag and length.
    pos = tbs.contents;
    for (int index = 0;;)
    {
        const uint8_t* start = pos;
        if (!ReadDer(pos, tbs.end(), field))
            return false;
        if (index == 0 && field.tag == kVersionTag && start == tbs.contents)
            continue;
        if (index++ < 5)
            continue;
        if (field.tag != kSequence)
            return false;
        spki = start;
        spkiSize = static_cast<size_t>(pos - start);
        return true;
    }
}

std::string HexLower(const uint8_t* bytes, size_t size)
{
    static const char digits[] = "0123456789abcdef";
    std::string text;
    text.reserve(size * 2);
    for (size_t i = 0; i < size; ++i)
    {
        text += digits[bytes[i] >> 4];
        text += digits[bytes[i] & 15];
    }
    return text;
}

std::string SignerKeyOfCertificate(const uint8_t* der, size_t size)
{
    const uint8_t* spki = nullptr;
    size_t spkiSize = 0;
    uint8_t digest[32];
    if (!CertificateSubjectPublicKeyInfo(der, size, spki, spkiSize) ||
        !InstallerSha256(spki, spkiSize, digest))
        return std::string();
    return HexLower(digest, sizeof digest);
}

std::string SignerKeyOfCertificateFile(const std::vector<uint8_t>& bytes)
{
    static const char kBegin[] = "-----BEGIN CERTIFICATE-----";
    static const char kEnd[] = "-----END CERTIFICATE-----";
    const std::string text(bytes.begin(), bytes.end());
    const size_t begin = text.find(kBegin);
    if (begin == std::string::npos)
        return SignerKeyOfCertificate(bytes.data(), bytes.size());
    const size_t end = text.find(kEnd, begin);
    if (end == std::string::npos)
        return std::string();
    // PEM: the first certificate's Base64 lines, line breaks dropped.
    std::string base64;
    for (size_t i = begin + sizeof kBegin - 1; i < end; ++i)
        if (text[i] != '\r' && text[i] != '\n' && text[i] != ' ' && text[i] != '\t')
            base64 += text[i];
    std::vector<uint8_t> der(base64.size());
    uint32_t length = 0;
    if (!Base64Decode(base64.c_str(), static_cast<uint32_t>(der.size()), der.data(), length))
        return std::string();
    return SignerKeyOfCertificate(der.data(), length);
}

bool ParseSignerKeys(const std::string& text, std::vector<std::string>& keys)
{
    std::vector<std::string> parsed;
    size_t start = 0;
    while (start <= text.size())
    {
        size_t end = text.find(';', start);
        if (end == std::string::npos)
            end = text.size();
        const std::string key = text.substr(start, end - start);
        if (key.size() != 64 || key.find_first_not_of("0123456789abcdef") != std::string::npos)
            return false;
        parsed.push_back(key);
        start = end + 1;
    }
    keys = std::move(parsed);
    return true;
}
