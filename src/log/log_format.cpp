#include "log/log_format.h"

#include "util/text_convert.h"

#include <cstdint>
#include <cstdio>
#include <cstring>
#include <cwchar>
#include <string>

namespace
{
// Writes into the caller's buffer, counting what does not fit.
class Output
{
public:
    Output(char* out, std::size_t size) : m_Out(out), m_Size(size) {}

    void Append(const char* text, std::size_t length)
    {
        std::size_t room = Room();
        std::size_t copied = length < room ? length : room;
        std::memcpy(m_Out + m_Used, text, copied);
        m_Used += copied;
        m_Total += length;
    }
    // Formats one conversion whose argument is already taken, through the
    // runtime, so that flags, width and precision keep their usual meaning.
    template <typename T>
    void AppendOne(const char* conversion, T value)
    {
        std::size_t room = Room();
        int n = std::snprintf(m_Size > 0 ? m_Out + m_Used : nullptr, m_Size > 0 ? room + 1 : 0, conversion,
                              value);
        if (n < 0)
            return;
        std::size_t length = static_cast<std::size_t>(n);
        m_Used += length < room ? length : room;
        m_Total += length;
    }
    int Finish()
    {
        if (m_Size > 0)
            m_Out[m_Used] = '\0';
        return m_Total > 0x7FFFFFFF ? -1 : static_cast<int>(m_Total);
    }

private:
    // Bytes that can still be written, leaving one for the NUL.
    std::size_t Room() const { return m_Size > 0 ? m_Size - 1 - m_Used : 0; }

    char* m_Out;
    std::size_t m_Size;
    std::size_t m_Used = 0;
    std::size_t m_Total = 0;
};

// The text of one conversion being rebuilt for the runtime.
class Conversion
{
public:
    void Add(char c)
    {
        if (m_Length + 1 < sizeof m_Text)
            m_Text[m_Length++] = c;
        m_Text[m_Length] = '\0';
    }
    void AddNumber(int value)
    {
        std::snprintf(m_Text + m_Length, sizeof m_Text - m_Length, "%d", value),
            m_Length = std::strlen(m_Text);
    }
    // The conversion with its length and type letters appended.
    const char* With(const char* tail)
    {
        std::snprintf(m_Final, sizeof m_Final, "%s%s", m_Text, tail);
        return m_Final;
    }

private:
    char m_Text[48] = "%";
    char m_Final[56] = {};
    std::size_t m_Length = 1;
};
} // namespace

// The length letters followed by the type letter.
const char* TypeTail(const char* length, char type, char (&tail)[4])
{
    std::size_t n = std::strlen(length);
    std::memcpy(tail, length, n);
    tail[n] = type;
    tail[n + 1] = '\0';
    return tail;
}

int FormatLogText(char* out, std::size_t size, const char* format, va_list args)
{
    Output result(out, size);
    if (!format)
        return result.Finish();
    va_list ap;
    va_copy(ap, args);
    const char* p = format;
    while (*p)
    {
        const char* percent = std::strchr(p, '%');
        if (!percent)
        {
            result.Append(p, std::strlen(p));
            break;
        }
        result.Append(p, static_cast<std::size_t>(percent - p));
        const char* q = percent + 1;
        if (*q == '%')
        {
            result.Append("%", 1);
            p = q + 1;
            continue;
        }
        // The pieces of one conversion: flags, width, precision, length, type.
        Conversion conversion;
        while (*q && std::strchr("-+ #0", *q))
            conversion.Add(*q++);
        for (int part = 0; part < 2; ++part)
        {
            if (part == 1)
            {
                if (*q != '.')
                    break;
                conversion.Add(*q++);
            }
            if (*q == '*')
            {
                // The star's value goes into the piece itself, so the one
                // argument left for the runtime is the converted value.
                conversion.AddNumber(va_arg(ap, int));
                ++q;
            }
            else
                while (*q >= '0' && *q <= '9')
                    conversion.Add(*q++);
        }
        int longs = 0;
        bool half = false, sized = false, wide64 = false, longDouble = false;
        for (;; ++q)
        {
            if (*q == 'l')
                ++longs;
            else if (*q == 'h')
                half = true;
            else if (*q == 'z' || *q == 't' || *q == 'j')
                sized = true;
            else if (*q == 'L')
                longDouble = true;
            else if (q[0] == 'I' && q[1] == '6' && q[2] == '4')
            {
                wide64 = true;
                q += 2;
            }
            else
                break;
        }
        const char type = *q;
        if (!type)
        {
            va_end(ap);
            result.Finish();
            return -1;
        }
        p = q + 1;
        char tail[4];
        switch (type)
        {
        case 'd':
        case 'i':
        {
            // Every integer is widened to 64 bits and printed as such.
            long long value = longs >= 2 || wide64 ? va_arg(ap, long long)
                              : sized              ? static_cast<long long>(va_arg(ap, std::intptr_t))
                              : longs == 1         ? va_arg(ap, long)
                                                   : va_arg(ap, int);
            if (half)
                value = static_cast<short>(value);
            result.AppendOne(conversion.With("lld"), value);
            break;
        }
        case 'u':
        case 'o':
        case 'x':
        case 'X':
        case 'p':
        {
            unsigned long long value = type == 'p' ? reinterpret_cast<std::uintptr_t>(va_arg(ap, void*))
                                       : longs >= 2 || wide64 ? va_arg(ap, unsigned long long)
                                       : sized                ? va_arg(ap, std::uintptr_t)
                                       : longs == 1           ? va_arg(ap, unsigned long)
                                                              : va_arg(ap, unsigned);
            if (half)
                value = static_cast<unsigned short>(value);
            result.AppendOne(conversion.With(TypeTail("ll", type == 'p' ? 'X' : type, tail)), value);
            break;
        }
        case 'c':
        case 's':
        {
            std::string utf8;
            const char* text;
            char single[2] = {0, 0};
            if (longs >= 1 && type == 'c')
            {
                const wchar_t wide[2] = {static_cast<wchar_t>(va_arg(ap, int)), 0};
                text = (utf8 = ToUtf8(wide)).c_str();
            }
            else if (type == 'c')
            {
                single[0] = static_cast<char>(va_arg(ap, int));
                text = single;
            }
            else if (longs >= 1)
            {
                const wchar_t* wide = va_arg(ap, const wchar_t*);
                text = wide ? (utf8 = ToUtf8(wide)).c_str() : "(null)";
            }
            else
            {
                const char* narrow = va_arg(ap, const char*);
                text = narrow ? narrow : "(null)";
            }
            // A NUL character still takes its one byte, as it does for "%c".
            if (type == 'c' && single[0] == '\0' && longs == 0)
            {
                result.AppendOne(conversion.With("c"), 0);
                break;
            }
            result.AppendOne(conversion.With("s"), text);
            break;
        }
        case 'f':
        case 'F':
        case 'e':
        case 'E':
        case 'g':
        case 'G':
        case 'a':
        case 'A':
            // Long doubles are not logged anywhere; their bits are taken all the same.
            if (longDouble)
                result.AppendOne(conversion.With(TypeTail("", type, tail)),
                                 static_cast<double>(va_arg(ap, long double)));
            else
                result.AppendOne(conversion.With(TypeTail("", type, tail)), va_arg(ap, double));
            break;
        default:
            // Not a conversion this log knows: the format is malformed.
            va_end(ap);
            result.Finish();
            return -1;
        }
    }
    va_end(ap);
    return result.Finish();
}

std::size_t Utf8WholePrefix(const char* text, std::size_t length)
{
    // The last lead byte among the final four bytes decides.
    for (std::size_t back = 1; back <= 4 && back <= length; ++back)
    {
        const auto c = static_cast<unsigned char>(text[length - back]);
        if ((c & 0xC0) == 0x80)
            continue; // a continuation byte: look further back
        std::size_t needed = 1;
        if ((c & 0xE0) == 0xC0)
            needed = 2;
        else if ((c & 0xF0) == 0xE0)
            needed = 3;
        else if ((c & 0xF8) == 0xF0)
            needed = 4;
        return back < needed ? length - back : length;
    }
    return length;
}
