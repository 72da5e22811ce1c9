// The container cryptography on libcrypto; reports failures in the same words
// as the Windows backend, with the library's own reason before them.
#include "metadata/metadata_crypto.h"

#include "log/stub_log.h"

#include <openssl/err.h>
#include <openssl/evp.h>
#include <openssl/rand.h>

#include <climits>
#include <cstring>
#include <memory>

namespace
{
constexpr int kBlockSize = 16;
// The status the system backend reports for a ciphertext of a bad length.
constexpr CryptoStatus kStatusInvalidBufferSize = static_cast<CryptoStatus>(0xC0000206u);

struct CipherContextDeleter
{
    void operator()(EVP_CIPHER_CTX* context) const { EVP_CIPHER_CTX_free(context); }
};
using CipherContext = std::unique_ptr<EVP_CIPHER_CTX, CipherContextDeleter>;

// Writes and empties the library's error queue.
void LogLibraryErrors()
{
    unsigned long code;
    while ((code = ERR_get_error()) != 0)
    {
        char reason[256];
        ERR_error_string_n(code, reason, sizeof reason);
        StubLog::Printf("Crypto library error: %s", reason);
    }
}

CipherContext OpenAesCbc()
{
    CipherContext context(EVP_CIPHER_CTX_new());
    if (!context)
    {
        LogLibraryErrors();
        StubLog::Printf("BA:I - Could not init");
        StubLog::Printf("Couldn't init algo.");
    }
    return context;
}

bool SetKey(EVP_CIPHER_CTX* context, const uint8_t* key, const uint8_t* iv, bool encrypt)
{
    int ok = encrypt ? EVP_EncryptInit_ex(context, EVP_aes_256_cbc(), nullptr, key, iv)
                     : EVP_DecryptInit_ex(context, EVP_aes_256_cbc(), nullptr, key, iv);
    if (ok != 1)
    {
        LogLibraryErrors();
        StubLog::Printf("Couldn't set key.");
        return false;
    }
    return true;
}
} // namespace

bool AesCbcDecrypt(const uint8_t* input, uint32_t size, const uint8_t* key, std::string& text)
{
    text.clear();
    if (!IsDecryptInputUsable(input, size, key))
        return false;
    CipherContext context = OpenAesCbc();
    if (!context || !SetKey(context.get(), key, input, false))
        return false;

    const uint8_t* cipher = input + kBlockSize;
    uint32_t cipherSize = size - kBlockSize;
    // The system backend cannot size the output of a ciphertext that is not
    // a whole number of blocks; say so in its words rather than the library's.
    if (cipherSize % kBlockSize != 0)
    {
        CheckStatus(kStatusInvalidBufferSize);
        StubLog::Printf("Size would be zero.");
        return false;
    }
    if (cipherSize > static_cast<uint32_t>(INT_MAX - kBlockSize))
    {
        StubLog::Printf("Size would be zero.");
        return false;
    }
    // Room for one block more than the input, as the library may ask for.
    text.assign(cipherSize + kBlockSize, '\0');
    uint8_t* out = reinterpret_cast<uint8_t*>(&text[0]);
    int first = 0;
    int last = 0;
    if (EVP_DecryptUpdate(context.get(), out, &first, cipher, static_cast<int>(cipherSize)) != 1 ||
        EVP_DecryptFinal_ex(context.get(), out + first, &last) != 1)
    {
        LogLibraryErrors();
        StubLog::Printf("Failed to finish transform.");
        text.assign(cipherSize, '\0');
        return false;
    }
    text.resize(static_cast<size_t>(first) + static_cast<size_t>(last));
    return true;
}

bool RandomIv(uint8_t* iv)
{
    if (RAND_bytes(iv, kBlockSize) == 1)
        return true;
    LogLibraryErrors();
    return false;
}

bool AesCbcEncrypt(const uint8_t* plain, uint32_t size, const uint8_t* key, const uint8_t* iv,
                   std::vector<uint8_t>& output)
{
    if (!IsEncryptInputUsable(plain, key))
        return false;
    if (size > static_cast<uint32_t>(INT_MAX - 2 * kBlockSize))
    {
        StubLog::Printf("Failed to finish transform!");
        return false;
    }
    uint8_t ivBytes[kBlockSize];
    if (!PickIv(iv, ivBytes))
        return false;
    CipherContext context = OpenAesCbc();
    if (!context || !SetKey(context.get(), key, ivBytes, true))
        return false;

    // PKCS #7 always adds padding: a full block when the size is a multiple of 16.
    size_t cipherSize = (static_cast<size_t>(size) / kBlockSize + 1) * kBlockSize;
    uint8_t* out = AppendIvAndRoom(output, ivBytes, cipherSize);
    int first = 0;
    int last = 0;
    if (EVP_EncryptUpdate(context.get(), out, &first, plain, static_cast<int>(size)) != 1 ||
        EVP_EncryptFinal_ex(context.get(), out + first, &last) != 1 ||
        static_cast<size_t>(first) + static_cast<size_t>(last) != cipherSize)
    {
        LogLibraryErrors();
        StubLog::Printf("Failed to finish transform!");
        return false;
    }
    return true;
}

bool Sha256Prefix(const uint8_t* data, uint32_t size, uint8_t* prefix)
{
    if (!PrepareHashInput(data, size, prefix))
        return false;
    if (EVP_MD_size(EVP_sha256()) != 32)
    {
        StubLog::Printf("Incorrect hash output size.");
        return false;
    }
    unsigned char digest[EVP_MAX_MD_SIZE];
    unsigned int length = 0;
    if (EVP_Digest(data, size, digest, &length, EVP_sha256(), nullptr) != 1 || length != 32)
    {
        LogLibraryErrors();
        StubLog::Printf("Unable to hash.");
        return false;
    }
    std::memcpy(prefix, digest, 16);
    return true;
}
