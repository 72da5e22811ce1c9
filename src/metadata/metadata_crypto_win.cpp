// The container cryptography on the system's CNG primitives. bcrypt.dll is
// not on the system's known-DLL list: it is loaded from the system folder on
// first use, never imported, so a planted copy beside the executable cannot
// run and titles without a container never pay for starting it.
#include "metadata/metadata_crypto.h"

#include "log/stub_log.h"
#include "util/system_library.h"

#include <windows.h>
#include <bcrypt.h>

#include <cstring>

namespace
{
// The CNG calls this file makes, resolved once from the system's bcrypt.dll.
struct CngApi
{
    ModuleHandle Module;
    decltype(&BCryptOpenAlgorithmProvider) OpenAlgorithmProvider = nullptr;
    decltype(&BCryptCloseAlgorithmProvider) CloseAlgorithmProvider = nullptr;
    decltype(&BCryptSetProperty) SetProperty = nullptr;
    decltype(&BCryptGetProperty) GetProperty = nullptr;
    decltype(&BCryptGenerateSymmetricKey) GenerateSymmetricKey = nullptr;
    decltype(&BCryptDestroyKey) DestroyKey = nullptr;
    decltype(&BCryptGenRandom) GenRandom = nullptr;
    decltype(&BCryptDecrypt) Decrypt = nullptr;
    decltype(&BCryptEncrypt) Encrypt = nullptr;
    decltype(&BCryptCreateHash) CreateHash = nullptr;
    decltype(&BCryptHashData) HashData = nullptr;
    decltype(&BCryptFinishHash) FinishHash = nullptr;
    decltype(&BCryptDestroyHash) DestroyHash = nullptr;

    bool Load()
    {
        Module = LoadSystemLibrary(L"bcrypt.dll");
        const bool ok =
            Module.Find("BCryptOpenAlgorithmProvider", OpenAlgorithmProvider) &&
            Module.Find("BCryptCloseAlgorithmProvider", CloseAlgorithmProvider) &&
            Module.Find("BCryptSetProperty", SetProperty) && Module.Find("BCryptGetProperty", GetProperty) &&
            Module.Find("BCryptGenerateSymmetricKey", GenerateSymmetricKey) &&
            Module.Find("BCryptDestroyKey", DestroyKey) && Module.Find("BCryptGenRandom", GenRandom) &&
            Module.Find("BCryptDecrypt", Decrypt) && Module.Find("BCryptEncrypt", Encrypt) &&
            Module.Find("BCryptCreateHash", CreateHash) && Module.Find("BCryptHashData", HashData) &&
            Module.Find("BCryptFinishHash", FinishHash) && Module.Find("BCryptDestroyHash", DestroyHash);
        if (!ok)
        {
            StubLog::Printf("Could not load bcrypt.dll from the system folder.");
            StubLog::LastError(nullptr, false);
            Module.Reset();
        }
        return ok;
    }
};

// Loaded on the first call and kept until exit; null when it cannot be loaded.
const CngApi* Cng()
{
    static CngApi api;
    static const bool loaded = api.Load();
    return loaded ? &api : nullptr;
}

// The CNG handles are null when empty, and exist only once the library is
// loaded: their close functions are reached through the table above. A close
// that fails is logged.
struct CngAlgorithmTraits : NullIsEmpty<BCRYPT_ALG_HANDLE>
{
    static void Close(BCRYPT_ALG_HANDLE handle) { CheckStatus(Cng()->CloseAlgorithmProvider(handle, 0)); }
};
struct CngKeyTraits : NullIsEmpty<BCRYPT_KEY_HANDLE>
{
    static void Close(BCRYPT_KEY_HANDLE handle) { CheckStatus(Cng()->DestroyKey(handle)); }
};
struct CngHashTraits : NullIsEmpty<BCRYPT_HASH_HANDLE>
{
    static void Close(BCRYPT_HASH_HANDLE handle) { CheckStatus(Cng()->DestroyHash(handle)); }
};
using CngAlgorithm = ScopedHandle<CngAlgorithmTraits>;
using CngKey = ScopedHandle<CngKeyTraits>;
using CngHash = ScopedHandle<CngHashTraits>;

constexpr ULONG kBlockSize = 16;
constexpr ULONG kKeySize = 32;

// AES provider in CBC mode; logs the two failure lines and releases what it got.
bool OpenAesCbc(CngAlgorithm& algorithm)
{
    bool ok = Cng() && CheckStatus(Cng()->OpenAlgorithmProvider(algorithm.Receive(), BCRYPT_AES_ALGORITHM,
                                                                nullptr, 0));
    if (ok)
    {
        // The property value is the wide text with its terminating NUL.
        ok = CheckStatus(
            Cng()->SetProperty(algorithm.Get(), BCRYPT_CHAINING_MODE,
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
    if (!CheckStatus(Cng()->GenerateSymmetricKey(algorithm.Get(), handle.Receive(), nullptr, 0,
                                                 const_cast<PUCHAR>(key), kKeySize, 0)))
    {
        handle.Reset();
        StubLog::Printf("Couldn't set key.");
        return false;
    }
    return true;
}

// The AES-CBC provider and the key made from the 32 key bytes; the key
// handle must go before the provider, which the declaration order ensures.
bool OpenAesKey(const uint8_t* key, CngAlgorithm& algorithm, CngKey& keyHandle)
{
    return OpenAesCbc(algorithm) && MakeKey(algorithm, key, keyHandle);
}
} // namespace

bool RandomIv(uint8_t* iv)
{
    CngAlgorithm rng;
    if (!Cng() || !CheckStatus(Cng()->OpenAlgorithmProvider(rng.Receive(), BCRYPT_RNG_ALGORITHM, nullptr, 0)))
        return false;
    return CheckStatus(Cng()->GenRandom(rng.Get(), iv, kBlockSize, 0));
}

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
    if (!CheckStatus(Cng()->Decrypt(keyHandle.Get(), cipher, cipherSize, nullptr, iv, kBlockSize, nullptr, 0,
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
    if (!CheckStatus(Cng()->Decrypt(keyHandle.Get(), cipher, cipherSize, nullptr, iv, kBlockSize,
                                    reinterpret_cast<PUCHAR>(&text[0]), needed, &produced,
                                    BCRYPT_BLOCK_PADDING)))
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
    if (!PickIv(iv, ivBytes))
        return false;

    uint8_t ivCopy[kBlockSize];
    std::memcpy(ivCopy, ivBytes, kBlockSize);
    ULONG needed = 0;
    if (!CheckStatus(Cng()->Encrypt(keyHandle.Get(), const_cast<PUCHAR>(plain), size, nullptr, ivCopy,
                                    kBlockSize, nullptr, 0, &needed, BCRYPT_BLOCK_PADDING)))
        needed = 0;

    uint8_t* out = AppendIvAndRoom(output, ivBytes, needed);
    std::memcpy(ivCopy, ivBytes, kBlockSize);
    ULONG produced = 0;
    if (!CheckStatus(Cng()->Encrypt(keyHandle.Get(), const_cast<PUCHAR>(plain), size, nullptr, ivCopy,
                                    kBlockSize, out, needed, &produced, BCRYPT_BLOCK_PADDING)))
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
    if (!Cng() ||
        !CheckStatus(Cng()->OpenAlgorithmProvider(algorithm.Receive(), BCRYPT_SHA256_ALGORITHM, nullptr, 0)))
        return false;
    DWORD digestLength = 0;
    ULONG got = 0;
    if (!CheckStatus(Cng()->GetProperty(algorithm.Get(), BCRYPT_HASH_LENGTH,
                                        reinterpret_cast<PUCHAR>(&digestLength), sizeof digestLength, &got,
                                        0)) ||
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
        bool ok =
            CheckStatus(Cng()->CreateHash(algorithm.Get(), hash.Receive(), nullptr, 0, nullptr, 0, 0)) &&
            CheckStatus(Cng()->HashData(hash.Get(), const_cast<PUCHAR>(data), size, 0)) &&
            CheckStatus(Cng()->FinishHash(hash.Get(), digest, sizeof digest, 0));
        if (!ok)
        {
            StubLog::Printf("Unable to hash.");
            return false;
        }
    }
    std::memcpy(prefix, digest, 16);
    return true;
}
