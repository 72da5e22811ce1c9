#include "util/text_convert.h"

#include <windows.h>

std::wstring ToWide(const char* text)
{
    if (!text)
        return std::wstring();
    // Flags 0: malformed UTF-8 becomes U+FFFD instead of failing the call.
    int n = MultiByteToWideChar(CP_UTF8, 0, text, -1, nullptr, 0);
    if (n <= 0)
        return std::wstring();
    std::wstring result(static_cast<size_t>(n), L'\0');
    if (MultiByteToWideChar(CP_UTF8, 0, text, -1, &result[0], n) <= 0)
        return std::wstring();
    result.resize(static_cast<size_t>(n) - 1);
    return result;
}

std::string ToUtf8(const wchar_t* text)
{
    if (!text)
        return std::string();
    int n = WideCharToMultiByte(CP_UTF8, 0, text, -1, nullptr, 0, nullptr, nullptr);
    if (n <= 0)
        return std::string();
    std::string result(static_cast<size_t>(n), '\0');
    if (WideCharToMultiByte(CP_UTF8, 0, text, -1, &result[0], n, nullptr, nullptr) <= 0)
        return std::string();
    result.resize(static_cast<size_t>(n) - 1);
    return result;
}
