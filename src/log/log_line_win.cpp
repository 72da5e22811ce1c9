// What both file sinks share: the line format, the debugger copy and the log
// folder rule.
#include "log/direct_file_log.h"

#include "log/log_format.h"
#include "util/system_library.h"
#include "util/text_convert.h"

#include <shlobj.h>

#include <cstdio>
#include <cstring>

namespace log_detail
{
std::size_t FormatLine(char (&buffer)[kLineBufferSize], bool withIds, const char* format, va_list args)
{
    std::memset(buffer, 0, sizeof buffer);
    SYSTEMTIME t;
    GetLocalTime(&t);
    // The stamp may use all but the last byte; the message gets what is left
    // below 2,046 bytes, so the line end always fits.
    const std::size_t stampRoom = kLineBufferSize - 1;
    const int messageEnd = static_cast<int>(kLineBufferSize) - 3;
    int s;
    if (withIds)
        s = std::snprintf(buffer, stampRoom, "[%4d-%02d-%02d %02d:%02d:%02d.%03d] [%6d] [%4X] ", t.wYear,
                          t.wMonth, t.wDay, t.wHour, t.wMinute, t.wSecond, t.wMilliseconds,
                          static_cast<int>(GetCurrentProcessId()),
                          static_cast<unsigned>(GetCurrentThreadId()));
    else
        s = std::snprintf(buffer, stampRoom, "[%4d-%02d-%02d %02d:%02d:%02d.%03d] ", t.wYear, t.wMonth,
                          t.wDay, t.wHour, t.wMinute, t.wSecond, t.wMilliseconds);
    if (s < 0 || s >= messageEnd)
        s = 0;
    const int room = messageEnd - s;
    int m = FormatLogText(buffer + s, static_cast<std::size_t>(room), format, args);
    if (m < 0)
        m = s > 0 ? -1 : 0; // unformattable: the line end replaces the stamp's blank
    else if (m >= room)     // cut to its room rather than dropped, on a character boundary
        m = static_cast<int>(Utf8WholePrefix(buffer + s, static_cast<std::size_t>(room - 1)));
    const std::size_t length = static_cast<std::size_t>(s + m) + 2;
    buffer[s + m] = '\r';
    buffer[s + m + 1] = '\n';
    buffer[s + m + 2] = '\0';
    if (IsDebuggerPresent())
        OutputDebugStringW(ToWide(buffer).c_str());
    return length;
}

namespace
{
// The known-folder text is freed with CoTaskMemFree. ole32.dll, which has
// it, is loaded only when a log is opened: a start without a log does not
// pay for starting the COM libraries that it brings along.
void FreeTaskMemory(void* memory)
{
    if (!memory)
        return;
    static const ModuleHandle ole32 = LoadSystemLibrary(L"ole32.dll");
    decltype(&CoTaskMemFree) free = nullptr;
    if (ole32.Find("CoTaskMemFree", free))
        free(memory);
}
} // namespace

bool KnownFolderLogPath(const GUID& folder, const std::wstring& name, std::wstring& path)
{
    if (name.empty())
        return false;
    wchar_t* known = nullptr;
    HRESULT hr = SHGetKnownFolderPath(folder, 0, nullptr, &known);
    if (FAILED(hr) || !known)
    {
        FreeTaskMemory(known);
        return false;
    }
    // Left behind by the token lookup of a process without impersonation.
    if (GetLastError() == ERROR_NO_TOKEN)
        SetLastError(0);
    path = known;
    FreeTaskMemory(known);
    path += L"\\Tavrin Games\\Launcher\\";
    path += name;
    return true;
}
} // namespace log_detail
