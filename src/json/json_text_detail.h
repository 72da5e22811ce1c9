// Character helpers shared by the scalar conversions' source files.
#pragma once

#include <cstddef>

namespace json_text_detail
{
inline bool IsScanBlank(char c)
{
    return c == ' ' || c == '\t' || c == '\n' || c == '\v' || c == '\f' || c == '\r';
}

inline char LowerAscii(char c)
{
    return (c >= 'A' && c <= 'Z') ? static_cast<char>(c - 'A' + 'a') : c;
}

inline bool EqualsNoCase(const char* a, const char* b, size_t n)
{
    for (size_t i = 0; i < n; ++i)
        if (LowerAscii(a[i]) != LowerAscii(b[i]))
            return false;
    return true;
}
} // namespace json_text_detail
