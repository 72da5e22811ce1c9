#include "log/stub_log.h"

#include "util/text_convert.h"

#include <windows.h>

#include <string>

uint32_t LogSink::LogLastError(const char* context, bool onlyIfSet)
{
    DWORD code = GetLastError();
    SetLastError(0);
    if (code == 0 && onlyIfSet)
    {
        SetLastError(0);
        return 0;
    }
    // The wide text, written as UTF-8 like every other line: the narrow form
    // would come in the system's ANSI code page (1251, 932, ...).
    wchar_t wide[1024];
    const DWORD length = FormatMessageW(FORMAT_MESSAGE_FROM_SYSTEM | FORMAT_MESSAGE_IGNORE_INSERTS, nullptr,
                                        code, MAKELANGID(LANG_NEUTRAL, SUBLANG_DEFAULT), wide, 1024, nullptr);
    const std::string text = length > 0 ? ToUtf8(std::wstring(wide, length)) : std::string();
    if (context)
        WriteFormatted("%s", context);
    if (length > 0)
        WriteFormatted("Last error: %d (0x%x): %s", static_cast<int>(code), static_cast<unsigned>(code),
                       text.c_str());
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
