#include "metadata/metadata_crypto.h"

#include "log/stub_log.h"

#include <cstring>

const char* StatusName(CryptoStatus status)
{
    switch (static_cast<uint32_t>(status))
    {
    case 0xC0000023u:
        return "STATUS_BUFFER_TOO_SMALL";
    case 0xC0000206u:
        return "STATUS_INVALID_BUFFER_SIZE";
    case 0xC0000008u:
        return "STATUS_INVALID_HANDLE";
    case 0xC000000Du:
        return "STATUS_INVALID_PARAMETER";
    case 0xC0000017u:
        return "STATUS_NO_MEMORY";
    case 0xC0000225u:
        return "STATUS_NOT_FOUND";
    case 0xC00000BBu:
        return "STATUS_NOT_SUPPORTED";
    default:
        return "<unknown>";
    }
}

bool CheckStatus(CryptoStatus status)
{
    if (status >= 0)
        return true;
    StubLog::LastError(nullptr, true);
    StubLog::Printf("Status failed: 0x%08x (%s)", static_cast<unsigned>(status), StatusName(status));
    return false;
}

bool IsDecryptInputUsable(const uint8_t* input, uint32_t size, const uint8_t* key)
{
    if (!input || !key)
    {
        StubLog::Printf("Invalid buffer passed in.");
        return false;
    }
    // The IV and at least one block of ciphertext.
    if (size < 2 * 16)
    {
        StubLog::Printf("Input buffer too small.");
        return false;
    }
    return true;
}

bool IsEncryptInputUsable(const uint8_t* plain, const uint8_t* key)
{
    if (!plain || !key)
    {
        StubLog::Printf("Invalid buffer passed in.");
        return false;
    }
    return true;
}

bool PrepareHashInput(const uint8_t*& data, uint32_t size, const uint8_t* prefix)
{
    static const uint8_t kNothing = 0;
    if (!prefix || (!data && size != 0))
        return false;
    if (!data)
        data = &kNothing;
    return true;
}

bool PickIv(const uint8_t* iv, uint8_t* ivBytes)
{
    if (!iv)
        return RandomIv(ivBytes);
    std::memcpy(ivBytes, iv, 16);
    return true;
}

uint8_t* AppendIvAndRoom(std::vector<uint8_t>& output, const uint8_t* ivBytes, size_t cipherSize)
{
    const size_t start = output.size();
    output.resize(start + 16 + cipherSize, 0);
    std::memcpy(output.data() + start, ivBytes, 16);
    return output.data() + start + 16;
}
