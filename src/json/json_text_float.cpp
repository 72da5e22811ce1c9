// Reading floating-point values. Apart from the rest of the scalar
// conversions because it needs the runtime's floating-point parser and
// scanner: a program that reads no floating-point value (the launch stub)
// then does not link them.
#include "json/json_text.h"
#include "json/json_text_detail.h"

#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <string>

namespace
{
using namespace json_text_detail;

// Length of the longest prefix (after blanks) that the standard floating
// conversions read: sign, then inf/infinity/nan, or decimal digits with an
// optional fraction and an optional exponent. Returns the end of that span
// and its start in *start; -1 when nothing fits.
int32_t ScanFloatSpan(const char* s, int32_t n, int32_t* start)
{
    int32_t i = 0;
    while (i < n && IsScanBlank(s[i]))
        ++i;
    *start = i;
    if (i < n && (s[i] == '+' || s[i] == '-'))
        ++i;
    if (i + 3 <= n && EqualsNoCase(s + i, "inf", 3))
    {
        i += 3;
        if (i + 5 <= n && EqualsNoCase(s + i, "inity", 5))
            i += 5;
        return i;
    }
    if (i + 3 <= n && EqualsNoCase(s + i, "nan", 3))
        return i + 3;
    int32_t digits = 0;
    while (i < n && s[i] >= '0' && s[i] <= '9')
        ++i, ++digits;
    if (i < n && s[i] == '.')
    {
        ++i;
        while (i < n && s[i] >= '0' && s[i] <= '9')
            ++i, ++digits;
    }
    if (digits == 0)
        return -1;
    if (i < n && (s[i] == 'e' || s[i] == 'E'))
    {
        int32_t j = i + 1;
        if (j < n && (s[j] == '+' || s[j] == '-'))
            ++j;
        if (j < n && s[j] >= '0' && s[j] <= '9')
        {
            while (j < n && s[j] >= '0' && s[j] <= '9')
                ++j;
            i = j;
        }
    }
    return i;
}

// True for "%f"-style formats made of one plain floating conversion, which
// are read by ScanFloatSpan; other formats go to the runtime's scanner.
bool IsPlainFloatFormat(const char* format)
{
    if (!format || format[0] != '%')
        return false;
    const char* p = format + 1;
    if (*p == 'l' || *p == 'L')
        ++p;
    if (!*p || !std::strchr("fFeEgGaA", *p))
        return false;
    return p[1] == '\0';
}

// A NUL-terminated copy of (part of) a value text, on the stack when short.
class TerminatedCopy
{
public:
    bool Assign(const char* s, int32_t n)
    {
        if (n < 0)
            return false;
        if (static_cast<size_t>(n) < sizeof m_Small)
        {
            std::memcpy(m_Small, s, static_cast<size_t>(n));
            m_Small[n] = '\0';
            m_Text = m_Small;
            return true;
        }
        try
        {
            m_Large.assign(s, static_cast<size_t>(n));
        }
        catch (...)
        {
            return false;
        }
        m_Text = m_Large.c_str();
        return true;
    }
    const char* c_str() const { return m_Text; }

private:
    char m_Small[128];
    std::string m_Large;
    const char* m_Text = m_Small;
};

template <typename T>
bool ScanFloating(const char* s, int32_t n, const char* format, T& out)
{
    if (!s || n <= 0)
        return false;
    TerminatedCopy copy;
    if (IsPlainFloatFormat(format))
    {
        int32_t start;
        int32_t end = ScanFloatSpan(s, n, &start);
        if (end < 0 || !copy.Assign(s + start, end - start))
            return false;
        char* stop = nullptr;
        T v;
        if (sizeof(T) == sizeof(float))
            v = static_cast<T>(std::strtof(copy.c_str(), &stop));
        else
            v = static_cast<T>(std::strtod(copy.c_str(), &stop));
        if (stop == copy.c_str())
            return false;
        out = v;
        return true;
    }
    if (!format || !copy.Assign(s, n))
        return false;
    T v;
    if (std::sscanf(copy.c_str(), format, &v) != 1)
        return false;
    out = v;
    return true;
}

} // namespace

bool TextToFloat(const char* text, int32_t length, float& value)
{
    return ScanFloating(text, length, FloatReadFormat, value);
}

bool TextToDouble(const char* text, int32_t length, double& value)
{
    return ScanFloating(text, length, DoubleReadFormat, value);
}
