// The container cryptography on the system's CNG primitives.
#include "metadata/metadata_crypto.h"

#include "log/stub_log.h"

#include <windows.h>
#include <bcrypt.h>

#include <cstring>

namespace
{
// One owner type per CNG handle kind; all of them are NULL-style handles.
template <typename Handle, NTSTATUS(WINAPI* Release)(Handle)>
class CngHandle
{
public:
    CngHandle() = default;
    ~CngHandle() { Reset(); }
    CngHandle(const CngHandle&) = delete;
    CngHandle& operator=(const CngHandle&) = delete;

    Handle Get() const { return m_Handle; }
    Handle* Receive()
    {
        Reset();
        return &m_Handle;
    }
    void Reset()
    {
        if (m_Handle)
        {
            CheckStatus(Release(m_Handle));
            m_Handle = nullptr;
        }
    }

private:
    Handle m_Handle = nullptr;
};

NTSTATUS WINAPI CloseProvider(BCRYPT_ALG_HANDLE handle)
{
    return BCryptCloseAlgorithmProvider(handle, 0);
}

using CngAlgorithm = CngHandle<BCRYPT_ALG_HANDLE, CloseProvider>;
using CngKey = CngHandle<BCRYPT_KEY_HANDLE, BCryptDestroyKey>;
using CngHash = CngHandle<BCRYPT_HASH_HANDLE, BCryptDestroyHash>;

constexpr ULONG kBlockSize = 16;
constexpr ULONG kKeySize = 32;

// AES provider in CBC mode; logs the two failure lines and releases what it got.
bool OpenAesCbc(CngAlgorithm& algorithm)
{
    bool ok = CheckStatus(BCryptOpenAlgorithmProvider(algorithm.Receive(), BCRYPT_AES_ALGORITHM, nullptr, 0));
    if (ok)
    {
        // The property value is the wide text with its terminating NUL.
        ok = CheckStatus(BCryptSetProperty(algorithm.Get(), BCRYPT_CHAINING_MODE,
                                           reinterpret_cast<PUCHAR>(const_cast<wchar_t*>(BCRYPT_CHAIN_MODE_CBC)),
                                           sizeof(BCRYPT_CHAIN_MODE_CBC), 0));
    }
    if (!ok)
    {
        StubLog::Printf("BA:I - Could not init");
        algorithm.Reset();
        StubLog::Printf("Couldn't init algo.");
    }
    return ok;
}

bool MakeKey(const CngAlgorithm& algorithm, const uint8_t* key, CngKey& handle)
{
    if (!CheckStatus(BCryptGenerateSymmetricKey(algorithm.Get(), handle.Receive(), nullptr, 0,
                                                const_cast<PUCHAR>(key), kKeySize, 0)))
    {
        handle.Reset();
        StubLog::Printf("Couldn't set key.");
        return false;
    }
    return true;
}

bool RandomIv(uint8_t* iv)
{
    CngAlgorithm rng;
    if (!CheckStatus(BCryptOpenAlgorithmProvider(rng.Receive(), BCRYPT_RNG_ALGORITHM, nullptr, 0)))
        return false;
    return CheckStatus(BCryptGenRandom(rng.Get(), iv, kBlockSize, 0));
}
// The AES-CBC provider and the key made from the 32 key bytes; the key
// handle must go before the provider, which the declaration order ensures.
bool OpenAesKey(const uint8_t* key, CngAlgorithm& algorithm, CngKey& keyHandle)
{
    return OpenAesCbc(algorithm) && MakeKey(algorithm, key, keyHandle);
}
} // namespace

bool AesCbcDecrypt(const uint8_t* input, uint32_t size, const uint8_t* key, std::string& text)
{
    text.clear();
    if (!IsDecryptInputUsable(input, size, key))
        return false;
    CngAlgorithm algorithm;
    CngKey keyHandle;
    if (!OpenAesKey(key, algorithm, keyHandle))
        return false;

    uint8_t iv[kBlockSize];
    std::memcpy(iv, input, kBlockSize);
    PUCHAR cipher = const_cast<PUCHAR>(input + kBlockSize);
    ULONG cipherSize = size - kBlockSize;

    ULONG needed = 0;
    if (!CheckStatus(BCryptDecrypt(keyHandle.Get(), cipher, cipherSize, nullptr, iv, kBlockSize, nullptr, 0,
                                   &needed, BCRYPT_BLOCK_PADDING)) ||
        needed == 0)
    {
        StubLog::Printf("Size would be zero.");
        return false;
    }
    text.assign(needed, '\0');
    // The call changes the IV it is given: hand it a fresh copy.
    std::memcpy(iv, input, kBlockSize);
    ULONG produced = 0;
    if (!CheckStatus(BCryptDecrypt(keyHandle.Get(), cipher, cipherSize, nullptr, iv, kBlockSize,
                                   reinterpret_cast<PUCHAR>(&text[0]), needed, &produced, BCRYPT_BLOCK_PADDING)))
    {
        StubLog::Printf("Failed to finish transform.");
        // The text stays sized, but nothing half-decrypted is handed on.
        text.assign(needed, '\0');
        return false;
    }
    text.resize(produced < needed ? produced : needed);
    return true;
}

bool AesCbcEncrypt(const uint8_t* plain, uint32_t size, const uint8_t* key, const uint8_t* iv,
                   std::vector<uint8_t>& output)
{
    if (!IsEncryptInputUsable(plain, key))
        return false;
    CngAlgorithm algorithm;
    CngKey keyHandle;
    if (!OpenAesKey(key, algorithm, keyHandle))
        return false;

    uint8_t ivBytes[kBlockSize];
    if (iv)
        std::memcpy(ivBytes, iv, kBlockSize);
    else if (!RandomIv(ivBytes))
        return false;

    uint8_t ivCopy[kBlockSize];
    std::memcpy(ivCopy, ivBytes, kBlockSize);
    ULONG needed = 0;
    if (!CheckStatus(BCryptEncrypt(keyHandle.Get(), const_cast<PUCHAR>(plain), size, nullptr, ivCopy, kBlockSize,
                                   nullptr, 0, &needed, BCRYPT_BLOCK_PADDING)))
        needed = 0;

    size_t start = output.size();
    output.resize(start + kBlockSize + needed, 0);
    std::memcpy(output.data() + start, ivBytes, kBlockSize);
    std::memcpy(ivCopy, ivBytes, kBlockSize);
    ULONG produced = 0;
    if (!CheckStatus(BCryptEncrypt(keyHandle.Get(), const_cast<PUCHAR>(plain), size, nullptr, ivCopy, kBlockSize,
                                   output.data() + start + kBlockSize, needed, &produced, BCRYPT_BLOCK_PADDING)))
    {
        StubLog::Printf("Failed to finish transform!");
        return false;
    }
    return true;
}

bool Sha256Prefix(const uint8_t* data, uint32_t size, uint8_t* prefix)
{
    if (!PrepareHashInput(data, size, prefix))
        return false;
    CngAlgorithm algorithm;
    if (!CheckStatus(BCryptOpenAlgorithmProvider(algorithm.Receive(), BCRYPT_SHA256_ALGORITHM, nullptr, 0)))
        return false;
    DWORD digestLength = 0;
    ULONG got = 0;
    if (!CheckStatus(BCryptGetProperty(algorithm.Get(), BCRYPT_HASH_LENGTH, reinterpret_cast<PUCHAR>(&digestLength),
                                       sizeof digestLength, &got, 0)) ||
        got != sizeof digestLength)
        return false;
    if (digestLength != 32)
    {
        StubLog::Printf("Incorrect hash output size.");
        return false;
    }
    uint8_t digest[32];
    {
        CngHash hash;
        bool ok = CheckStatus(BCryptCreateHash(algorithm.Get(), hash.Receive(), nullptr, 0, nullptr, 0, 0)) &&
                  CheckStatus(BCryptHashData(hash.Get(), const_cast<PUCHAR>(data), size, 0)) &&
                  CheckStatus(BCryptFinishHash(hash.Get(), digest, sizeof digest, 0));
        if (!ok)
        {
            StubLog::Printf("Unable to hash.");
            return false;
        }
    }
    std::memcpy(prefix, digest, 16);
    return true;
}
