#include "metadata/metadata_crypto.h"

#include "log/stub_log.h"

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
