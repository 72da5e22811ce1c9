// Native builds: wchar_t holds whole code points (UTF-32), so the conversions
// are done here with the same replacement rule as the Windows ones.
#include "util/text_convert.h"

#include <cstdint>

namespace
{
constexpr char32_t kReplacement = 0xFFFD;

void AppendUtf8(std::string& out, char32_t c)
{
    if (c < 0x80)
        out += static_cast<char>(c);
    else if (c < 0x800)
    {
        out += static_cast<char>(0xC0 | (c >> 6));
        out += static_cast<char>(0x80 | (c & 0x3F));
    }
    else if (c < 0x10000)
    {
        out += static_cast<char>(0xE0 | (c >> 12));
        out += static_cast<char>(0x80 | ((c >> 6) & 0x3F));
        out += static_cast<char>(0x80 | (c & 0x3F));
    }
    else
    {
        out += static_cast<char>(0xF0 | (c >> 18));
        out += static_cast<char>(0x80 | ((c >> 12) & 0x3F));
        out += static_cast<char>(0x80 | ((c >> 6) & 0x3F));
        out += static_cast<char>(0x80 | (c & 0x3F));
    }
}
} // namespace

std::wstring ToWide(const char* text)
{
    std::wstring out;
    if (!text)
        return out;
    const auto* p = reinterpret_cast<const unsigned char*>(text);
    while (*p)
    {
        unsigned char b = *p;
        int extra = 0;
        char32_t c = 0;
        char32_t min = 0;
        if (b < 0x80)
        {
            out += static_cast<wchar_t>(b);
            ++p;
            continue;
        }
        if (b >= 0xC2 && b <= 0xDF)
            extra = 1, c = b & 0x1F, min = 0x80;
        else if (b >= 0xE0 && b <= 0xEF)
            extra = 2, c = b & 0x0F, min = 0x800;
        else if (b >= 0xF0 && b <= 0xF4)
            extra = 3, c = b & 0x07, min = 0x10000;
        else
        {
            out += static_cast<wchar_t>(kReplacement);
            ++p;
            continue;
        }
        int i = 1;
        for (; i <= extra; ++i)
        {
            if ((p[i] & 0xC0) != 0x80)
                break;
            c = (c << 6) | (p[i] & 0x3F);
        }
        if (i <= extra || c < min || c > 0x10FFFF || (c >= 0xD800 && c <= 0xDFFF))
        {
            // Drop the lead byte and the continuation bytes that belonged to it.
            out += static_cast<wchar_t>(kReplacement);
            p += (i <= extra) ? i : extra + 1;
            continue;
        }
        out += static_cast<wchar_t>(c);
        p += extra + 1;
    }
    return out;
}

std::string ToUtf8(const wchar_t* text)
{
    std::string out;
    if (!text)
        return out;
    for (; *text; ++text)
    {
        auto c = static_cast<char32_t>(*text);
        if (c > 0x10FFFF || (c >= 0xD800 && c <= 0xDFFF))
            c = kReplacement;
        AppendUtf8(out, c);
    }
    return out;
}
