// The installer signature read with OpenSSL, for kvotool on Linux: the same
// verdicts, names and keys as the Windows trust provider gives the stub.
#include "launch/installer_signature.h"

#include <openssl/asn1.h>
#include <openssl/evp.h>
#include <openssl/objects.h>
#include <openssl/pkcs7.h>
#include <openssl/x509.h>

#include <sys/stat.h>
#include <unistd.h>

#include <fstream>
#include <iterator>
#include <memory>

namespace
{
// The trust provider's results, so that both back ends report alike.
constexpr uint32_t kTrustNoSignature = 0x800B0100;       // TRUST_E_NOSIGNATURE
constexpr uint32_t kTrustSubjectUnknown = 0x800B0003;    // TRUST_E_SUBJECT_FORM_UNKNOWN
constexpr uint32_t kTrustBadDigest = 0x80096010;         // TRUST_E_BAD_DIGEST
constexpr uint32_t kTrustSubjectNotTrusted = 0x800B0004; // TRUST_E_SUBJECT_NOT_TRUSTED

// Authenticode's content type, SpcIndirectDataContent.
constexpr char kIndirectDataOid[] = "1.3.6.1.4.1.311.2.1.4";
constexpr uint16_t kPkcsSignedData = 2;

template <typename T, void (*Free)(T*)>
struct Deleter
{
    void operator()(T* p) const { Free(p); }
};
using Pkcs7Ptr = std::unique_ptr<PKCS7, Deleter<PKCS7, PKCS7_free>>;
using DigestInfoPtr = std::unique_ptr<X509_SIG, Deleter<X509_SIG, X509_SIG_free>>;
using MdContextPtr = std::unique_ptr<EVP_MD_CTX, Deleter<EVP_MD_CTX, EVP_MD_CTX_free>>;
using BioPtr = std::unique_ptr<BIO, Deleter<BIO, BIO_free_all>>;
using StorePtr = std::unique_ptr<X509_STORE, Deleter<X509_STORE, X509_STORE_free>>;

uint32_t Read16(const std::vector<uint8_t>& b, size_t at)
{
    return b[at] | (b[at + 1] << 8);
}
uint32_t Read32(const std::vector<uint8_t>& b, size_t at)
{
    return b[at] | (b[at + 1] << 8) | (b[at + 2] << 16) | (static_cast<uint32_t>(b[at + 3]) << 24);
}

// Where the parts of a PE file lie that its signature leaves out.
struct PeLayout
{
    size_t checksumAt = 0;    // 4 bytes
    size_t certEntryAt = 0;   // the certificate table's directory entry, 8 bytes
    size_t certTableAt = 0;   // the table itself (a file offset)
    size_t certTableSize = 0; // 0: no table
};

bool ParsePe(const std::vector<uint8_t>& file, PeLayout& layout)
{
    if (file.size() < 0x40 || file[0] != 'M' || file[1] != 'Z')
        return false;
    const size_t pe = Read32(file, 0x3C);
    if (pe > file.size() || file.size() - pe < 24 + 2 || Read32(file, pe) != 0x00004550)
        return false;
    const size_t optional = pe + 24;
    const size_t optionalSize = Read16(file, pe + 20);
    const uint32_t magic = Read16(file, optional);
    size_t countAt, directories;
    if (magic == 0x10B)
        countAt = optional + 92, directories = optional + 96;
    else if (magic == 0x20B)
        countAt = optional + 108, directories = optional + 112;
    else
        return false;
    const size_t certEntry = directories + 4 * 8;
    if (certEntry + 8 > optional + optionalSize || certEntry + 8 > file.size())
        return false;
    layout.checksumAt = optional + 64;
    layout.certEntryAt = certEntry;
    if (Read32(file, countAt) <= 4)
        return true;
    layout.certTableAt = Read32(file, certEntry);
    layout.certTableSize = Read32(file, certEntry + 4);
    return true;
}

// The file's digest as Authenticode defines it: every byte but the checksum,
// the certificate table's directory entry and the table itself.
bool DigestFile(const std::vector<uint8_t>& file, const PeLayout& layout, const EVP_MD* md,
                std::vector<uint8_t>& out)
{
    MdContextPtr context(EVP_MD_CTX_new());
    if (!context || EVP_DigestInit_ex(context.get(), md, nullptr) != 1)
        return false;
    const size_t tableEnd = layout.certTableAt + layout.certTableSize;
    const std::pair<size_t, size_t> ranges[] = {{0, layout.checksumAt},
                                                {layout.checksumAt + 4, layout.certEntryAt},
                                                {layout.certEntryAt + 8, layout.certTableAt},
                                                {tableEnd, file.size()}};
    for (const auto& [from, to] : ranges)
        if (to > from && EVP_DigestUpdate(context.get(), file.data() + from, to - from) != 1)
            return false;
    unsigned size = 0;
    out.resize(EVP_MAX_MD_SIZE);
    if (EVP_DigestFinal_ex(context.get(), out.data(), &size) != 1)
        return false;
    out.resize(size);
    return true;
}

// The certificate's simple display name, as the system shows it: the common
// name, else the unit, else the organisation, else the mail address.
std::string SimpleDisplayName(X509* certificate)
{
    X509_NAME* subject = X509_get_subject_name(certificate);
    for (int nid : {NID_commonName, NID_organizationalUnitName, NID_organizationName, NID_pkcs9_emailAddress})
    {
        const int index = X509_NAME_get_index_by_NID(subject, nid, -1);
        if (index < 0)
            continue;
        unsigned char* text = nullptr;
        const int length =
            ASN1_STRING_to_UTF8(&text, X509_NAME_ENTRY_get_data(X509_NAME_get_entry(subject, index)));
        if (length < 0)
            continue;
        std::string name(reinterpret_cast<char*>(text), static_cast<size_t>(length));
        OPENSSL_free(text);
        return name;
    }
    return std::string();
}

// Reads the signature in TABLE (the first entry of the certificate table).
void ReadSignature(const std::vector<uint8_t>& file, const PeLayout& layout, InstallerSignature& out)
{
    using Verdict = InstallerSignature::Verdict;
    out.verdict = Verdict::NotTrusted;
    out.status = kTrustSubjectNotTrusted;
    const size_t length = Read32(file, layout.certTableAt);
    if (length < 8 || length > layout.certTableSize ||
        Read16(file, layout.certTableAt + 6) != kPkcsSignedData)
        return;
    const unsigned char* p = file.data() + layout.certTableAt + 8;
    Pkcs7Ptr p7(d2i_PKCS7(nullptr, &p, static_cast<long>(length - 8)));
    if (!p7 || !PKCS7_type_is_signed(p7.get()) || !p7->d.sign->contents)
        return;
    PKCS7* inner = p7->d.sign->contents;
    char oid[64];
    OBJ_obj2txt(oid, sizeof oid, inner->type, 1);
    ASN1_TYPE* content = inner->d.other;
    if (std::string(oid) != kIndirectDataOid || !content || content->type != V_ASN1_SEQUENCE)
        return;

    // SpcIndirectDataContent ::= SEQUENCE { data, messageDigest DigestInfo }.
    // Its contents, without tag and length, are what the signer signed.
    const unsigned char* pos = content->value.sequence->data;
    const unsigned char* end = pos + content->value.sequence->length;
    long size = 0;
    int tag = 0, tagClass = 0;
    if (ASN1_get_object(&pos, &size, &tag, &tagClass, end - pos) & 0x80 || size > end - pos)
        return;
    const unsigned char* signedContent = pos;
    const long signedSize = size;
    if (ASN1_get_object(&pos, &size, &tag, &tagClass, end - pos) & 0x80 || size > end - pos)
        return;
    pos += size;
    DigestInfoPtr digestInfo(d2i_X509_SIG(nullptr, &pos, end - pos));
    if (!digestInfo)
        return;
    const X509_ALGOR* algorithm = nullptr;
    const ASN1_OCTET_STRING* expected = nullptr;
    X509_SIG_get0(digestInfo.get(), &algorithm, &expected);
    const EVP_MD* md = EVP_get_digestbyobj(algorithm->algorithm);
    std::vector<uint8_t> actual;
    if (!md || !DigestFile(file, layout, md, actual))
        return;
    if (actual.size() != static_cast<size_t>(expected->length) ||
        !std::equal(actual.begin(), actual.end(), expected->data))
    {
        out.verdict = Verdict::ChangedAfterSigning;
        out.status = kTrustBadDigest;
        return;
    }

    // The signer's signature over that content. Like the system's provider
    // with no revocation check, any signer is accepted here; the policy's
    // pinned keys tell signers apart.
    BioPtr data(BIO_new_mem_buf(signedContent, static_cast<int>(signedSize)));
    StorePtr store(X509_STORE_new());
    if (!data || !store ||
        PKCS7_verify(p7.get(), nullptr, store.get(), data.get(), nullptr, PKCS7_NOVERIFY | PKCS7_BINARY) != 1)
        return;
    STACK_OF(X509)* signers = PKCS7_get0_signers(p7.get(), nullptr, 0);
    X509* signer = signers && sk_X509_num(signers) > 0 ? sk_X509_value(signers, 0) : nullptr;
    if (signer)
    {
        out.signerName = SimpleDisplayName(signer);
        unsigned char* der = nullptr;
        const int derSize = i2d_X509(signer, &der);
        if (derSize > 0)
            out.signerKeySha256 = SignerKeyOfCertificate(der, static_cast<size_t>(derSize));
        OPENSSL_free(der);
    }
    sk_X509_free(signers);
    if (out.signerKeySha256.empty())
        return;
    out.verdict = Verdict::Signed;
    out.status = 0;
}
// True when the file or a folder on its way (from the root, a relative path
// taken from the current directory) is a symbolic link, as the stub refuses
// a reparse point on the installer's way.
bool PathHasLink(const std::string& path)
{
    std::string full = path;
    if (full.empty() || full[0] != '/')
    {
        char* here = getcwd(nullptr, 0);
        if (!here)
            return false;
        full = std::string(here) + "/" + path;
        free(here);
    }
    for (size_t end = full.find('/', 1);; end = full.find('/', end + 1))
    {
        struct stat info;
        const std::string prefix = full.substr(0, end);
        if (lstat(prefix.c_str(), &info) == 0 && S_ISLNK(info.st_mode))
            return true;
        if (end == std::string::npos)
            return false;
    }
}
} // namespace

bool ReadInstallerSignature(const std::string& path, InstallerSignature& out)
{
    out = InstallerSignature();
    if (PathHasLink(path))
    {
        out.verdict = InstallerSignature::Verdict::IsLink;
        return false;
    }
    std::ifstream stream(path, std::ios::binary);
    if (!stream)
        return false;
    const std::vector<uint8_t> file((std::istreambuf_iterator<char>(stream)),
                                    std::istreambuf_iterator<char>());
    if (stream.bad())
        return false;
    PeLayout layout;
    if (!ParsePe(file, layout))
    {
        out.verdict = InstallerSignature::Verdict::NotSigned;
        out.status = kTrustSubjectUnknown;
        return true;
    }
    if (layout.certTableSize == 0 || layout.certTableAt < layout.certEntryAt + 8 ||
        layout.certTableAt > file.size() || file.size() - layout.certTableAt < layout.certTableSize ||
        layout.certTableSize < 8)
    {
        out.verdict = InstallerSignature::Verdict::NotSigned;
        out.status = kTrustNoSignature;
        return true;
    }
    ReadSignature(file, layout, out);
    return true;
}

bool InstallerSha256(const uint8_t* data, size_t size, uint8_t digest[32])
{
    unsigned length = 0;
    return EVP_Digest(data, size, digest, &length, EVP_sha256(), nullptr) == 1 && length == 32;
}
