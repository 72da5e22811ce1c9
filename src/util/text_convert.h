// Conversions between the wide (UTF-16 on Windows) strings of the system
// interfaces and the narrow UTF-8 strings of metadata and log text.
#pragma once

#include <string>

// Malformed input never fails: bad sequences become U+FFFD. Text ends at its
// first zero; a null pointer gives an empty result.
std::string ToUtf8(const wchar_t* text);
std::wstring ToWide(const char* text);

inline std::string ToUtf8(const std::wstring& text)
{
    return ToUtf8(text.c_str());
}
inline std::wstring ToWide(const std::string& text)
{
    return ToWide(text.c_str());
}

// Lowers every code unit with the runtime's towlower ("C" locale); used for
// case-insensitive matching of command-line switches.
void ToLowerInPlace(std::wstring& text);
