#include "log/stub_log.h"

#include <windows.h>

uint32_t LogSink::LogLastError(const char* context, bool onlyIfSet)
{
    DWORD code = GetLastError();
    SetLastError(0);
    if (code == 0 && onlyIfSet)
    {
        SetLastError(0);
        return 0;
    }
    char text[1024];
    DWORD length = FormatMessageA(FORMAT_MESSAGE_FROM_SYSTEM | FORMAT_MESSAGE_IGNORE_INSERTS, nullptr, code,
                                  MAKELANGID(LANG_NEUTRAL, SUBLANG_DEFAULT), text, sizeof text, nullptr);
    if (context)
        WriteFormatted("%s", context);
    if (length > 0)
        WriteFormatted("Last error: %d (0x%x): %s", static_cast<int>(code), static_cast<unsigned>(code), text);
    else
        WriteFormatted("Last error: %d (0x%x): (unknown error)", static_cast<int>(code),
                       static_cast<unsigned>(code));
    SetLastError(0);
    return code;
}

uint32_t LogSink::LogLastErrorUnless(uint32_t ignoredCode, const char* context, bool onlyIfSet)
{
    DWORD code = GetLastError();
    if (code == ignoredCode)
    {
        SetLastError(0);
        return code;
    }
    if (code == 0)
        return 0;
    LogLastError(context, onlyIfSet);
    return code;
}
