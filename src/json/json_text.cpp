#include "json/json_text.h"
#include "json/json_text_detail.h"

#include <cerrno>
#include <cmath>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <string>
#include <type_traits>

const char* FloatWriteFormat = "%.5f";
const char* DoubleWriteFormat = "%.5f";
const char* FloatReadFormat = "%f";
const char* DoubleReadFormat = "%lf";
const char* NullLiteral = "null";

namespace
{
using namespace json_text_detail;

enum : uint8_t
{
    kControl = 1,
    kSpace = 2,
    kEscapeLetter = 4,
    kHexDigit = 8,
    kDigit = 16,
};

struct ClassTable
{
    uint8_t flags[128];
    constexpr ClassTable() : flags()
    {
        for (int c = 0; c < 128; ++c)
        {
            uint8_t f = 0;
            if (c < 0x20 || c == 0x7F)
                f |= kControl;
            if (c == '\t' || c == '\n' || c == '\v' || c == '\r' || c == ' ')
                f |= kSpace;
            if (c == '"' || c == '/' || c == '\\' || c == 'b' || c == 'f' || c == 'n' || c == 'r' || c == 't')
                f |= kEscapeLetter;
            if ((c >= '0' && c <= '9') || (c >= 'A' && c <= 'F') || (c >= 'a' && c <= 'f'))
                f |= kHexDigit;
            if (c >= '0' && c <= '9')
                f |= kDigit;
            flags[c] = f;
        }
    }
};

constexpr ClassTable kClasses;

inline bool HasClass(uint32_t c, uint8_t flag)
{
    return c < 128 && (kClasses.flags[c] & flag) != 0;
}

inline int HexValue(char c)
{
    if (c >= '0' && c <= '9')
        return c - '0';
    if (c >= 'a' && c <= 'f')
        return c - 'a' + 10;
    if (c >= 'A' && c <= 'F')
        return c - 'A' + 10;
    return -1;
}

// The blanks that the formatted-input conversions skip (C isspace in the
// "C" locale, form feed included).
enum class IntBase
{
    Detect, // %i: sign, then 0x hexadecimal, 0 octal, else decimal
    Decimal,
    Hex, // %x: sign, optional 0x prefix, hexadecimal
};

// The integer conversions of the formatted-input family, implemented here so
// that every runtime gives the same answer. The value is accumulated modulo
// 2^64; callers keep the low bits they need.
bool ScanInteger(const char* s, int32_t n, IntBase mode, uint64_t& out)
{
    if (!s || n <= 0)
        return false;
    int32_t i = 0;
    while (i < n && IsScanBlank(s[i]))
        ++i;
    bool negative = false;
    if (i < n && (s[i] == '+' || s[i] == '-'))
    {
        negative = s[i] == '-';
        ++i;
    }
    unsigned base = 10;
    if (mode == IntBase::Hex)
        base = 16;
    const bool hexPrefixAllowed = mode != IntBase::Decimal;
    if (hexPrefixAllowed && i + 2 < n && s[i] == '0' && (s[i + 1] == 'x' || s[i + 1] == 'X') &&
        HexValue(s[i + 2]) >= 0)
    {
        base = 16;
        i += 2;
    }
    else if (mode == IntBase::Detect && i < n && s[i] == '0')
    {
        base = 8;
    }
    uint64_t value = 0;
    int32_t digits = 0;
    while (i < n)
    {
        int d = HexValue(s[i]);
        if (d < 0 || static_cast<unsigned>(d) >= base)
            break;
        value = value * base + static_cast<unsigned>(d);
        ++digits;
        ++i;
    }
    if (digits == 0)
        return false;
    out = negative ? (0 - value) : value;
    return true;
}

template <typename T>
bool ScanSigned(const char* s, int32_t n, IntBase mode, T& out)
{
    uint64_t v;
    if (!ScanInteger(s, n, mode, v))
        return false;
    using U = typename std::make_unsigned<T>::type;
    out = static_cast<T>(static_cast<U>(v));
    return true;
}

template <typename T>
bool ScanUnsigned(const char* s, int32_t n, bool upperXToo, T& out)
{
    uint64_t v;
    bool hexForm = s && n >= 3 && s[0] == '0' && (s[1] == 'x' || (upperXToo && s[1] == 'X'));
    bool ok = hexForm ? ScanInteger(s + 2, n - 2, IntBase::Hex, v) : ScanInteger(s, n, IntBase::Decimal, v);
    if (!ok)
        return false;
    out = static_cast<T>(v);
    return true;
}

const char kBase64Alphabet[] = "ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz0123456789+/";

inline uint32_t Base64Value(char c)
{
    if (c >= 'A' && c <= 'Z')
        return static_cast<uint32_t>(c - 'A');
    if (c >= 'a' && c <= 'z')
        return static_cast<uint32_t>(c - 'a' + 26);
    if (c >= '0' && c <= '9')
        return static_cast<uint32_t>(c - '0' + 52);
    if (c == '+')
        return 62;
    if (c == '/')
        return 63;
    return 0; // the decoder does not check the alphabet
}

inline bool IsBase64Char(char c)
{
    return (c >= 'A' && c <= 'Z') || (c >= 'a' && c <= 'z') || (c >= '0' && c <= '9') || c == '+' ||
           c == '/' || c == '=';
}

uint64_t EncodedSize64(uint32_t size)
{
    return (static_cast<uint64_t>(size) + 2) / 3 * 4 + 1;
}

// The decoding walk over exactly n characters; true when all were consumed.
bool DecodeWalk(const char* text, size_t n, uint32_t capacity, uint8_t* out, uint32_t& written)
{
    uint32_t acc = 0;
    int bits = 0;
    written = 0;
    for (size_t i = 0; i < n; ++i)
    {
        char c = text[i];
        if (c == '=')
            continue;
        if (written >= capacity)
            return false;
        acc = ((acc << 6) | Base64Value(c)) & 0xFFFFFFu;
        bits += 6;
        if (bits >= 8)
        {
            bits -= 8;
            out[written++] = static_cast<uint8_t>(acc >> bits);
        }
    }
    return true;
}

uint32_t DecodedSizeOf(const char* text, size_t n)
{
    while (n > 0 && text[n - 1] == '=')
        --n;
    return static_cast<uint32_t>(static_cast<uint64_t>(n) * 6 / 8);
}
} // namespace

bool IsControl(uint32_t c)
{
    return HasClass(c, kControl);
}

bool IsSpace(uint32_t c)
{
    return HasClass(c, kSpace);
}

bool IsEscapeLetter(uint32_t c)
{
    return HasClass(c, kEscapeLetter);
}

bool IsHexDigit(uint32_t c)
{
    return HasClass(c, kHexDigit);
}

bool IsDigit(uint32_t c)
{
    return HasClass(c, kDigit);
}

bool IsStructural(uint8_t c)
{
    return c == '{' || c == '}' || c == '[' || c == ']' || c == '=' || c == ',' || c == ':';
}

bool NeedsEscape(uint8_t c)
{
    return c == '"' || c == '\\' || c == 0x08 || c == 0x0C || c == 0x0A || c == 0x0D || c == 0x09;
}

bool IsHighByte(uint8_t c)
{
    return c > 0x80;
}

int32_t DecodeEscape(const char* p, int32_t available, uint32_t& codePoint)
{
    if (!p || available <= 0)
    {
        codePoint = 0;
        return 0;
    }
    switch (*p)
    {
    case 'b':
        codePoint = 0x08;
        return 1;
    case 'f':
        codePoint = 0x0C;
        return 1;
    case 'n':
        codePoint = 0x0A;
        return 1;
    case 'r':
        codePoint = 0x0D;
        return 1;
    case 't':
        codePoint = 0x09;
        return 1;
    case 'u':
    {
        uint32_t value = 0;
        int32_t digits = 0;
        while (digits < 4 && 1 + digits < available)
        {
            int d = HexValue(p[1 + digits]);
            if (d < 0)
                break;
            value = value * 16 + static_cast<uint32_t>(d);
            ++digits;
        }
        codePoint = digits ? value : static_cast<uint32_t>('u');
        return 1 + digits;
    }
    default:
        // Taken as a signed byte: 0x80 and above become huge values that
        // EncodeUtf8 refuses, so such bytes vanish from unescaped output.
        codePoint = static_cast<uint32_t>(static_cast<int32_t>(static_cast<signed char>(*p)));
        return 1;
    }
}

int32_t DecodeEscape(const char* p, uint32_t& codePoint)
{
    // A NUL stops the hex digits, so five characters are always enough.
    return DecodeEscape(p, 5, codePoint);
}

uint32_t EncodeUtf8(uint32_t cp, char* out)
{
    if (!out)
        return 0;
    if (cp < 0x80)
    {
        out[0] = static_cast<char>(cp);
        return 1;
    }
    if (cp < 0x800)
    {
        out[0] = static_cast<char>(0xC0 | (cp >> 6));
        out[1] = static_cast<char>(0x80 | (cp & 0x3F));
        return 2;
    }
    if (cp < 0x10000)
    {
        out[0] = static_cast<char>(0xE0 | (cp >> 12));
        out[1] = static_cast<char>(0x80 | ((cp >> 6) & 0x3F));
        out[2] = static_cast<char>(0x80 | (cp & 0x3F));
        return 3;
    }
    if (cp <= 0x10FFFF)
    {
        out[0] = static_cast<char>(0xF0 | (cp >> 18));
        out[1] = static_cast<char>(0x80 | ((cp >> 12) & 0x3F));
        out[2] = static_cast<char>(0x80 | ((cp >> 6) & 0x3F));
        out[3] = static_cast<char>(0x80 | (cp & 0x3F));
        return 4;
    }
    return 0;
}

uint32_t DecodeUtf8(const char* text, int32_t length, int32_t& position)
{
    if (!text || length <= 0 || text[0] == '\0' || position < 0 || position >= length ||
        text[position] == '\0')
        return 0;
    static const uint32_t kOffsets[4] = {0, 0x3080, 0xE2080, 0x3C82080};
    int32_t p = position;
    uint32_t acc = static_cast<uint8_t>(text[p++]);
    int taken = 1;
    while (taken < 4 && p < length)
    {
        uint8_t b = static_cast<uint8_t>(text[p]);
        if (b < 0x80 || b > 0xBF)
            break;
        acc = acc * 64 + b;
        ++p;
        ++taken;
    }
    position = p;
    return acc - kOffsets[taken - 1];
}

uint32_t DecodeUtf8(const char* text, int32_t& position)
{
    // The sequence is at most four bytes and a NUL ends it, so a bound four
    // past the position reads nothing beyond the terminator.
    if (!text || position < 0 || position > INT32_MAX - 4)
        return 0;
    return DecodeUtf8(text, position + 4, position);
}

bool TextToInt8(const char* text, int32_t length, int8_t& value)
{
    return ScanSigned(text, length, IntBase::Detect, value);
}

bool TextToInt16(const char* text, int32_t length, int16_t& value)
{
    return ScanSigned(text, length, IntBase::Detect, value);
}

bool TextToInt32(const char* text, int32_t length, int32_t& value)
{
    return ScanSigned(text, length, IntBase::Detect, value);
}

bool TextToInt64(const char* text, int32_t length, int64_t& value)
{
    return ScanSigned(text, length, IntBase::Decimal, value);
}

bool TextToUInt8(const char* text, int32_t length, uint8_t& value)
{
    return ScanUnsigned(text, length, true, value);
}

bool TextToUInt16(const char* text, int32_t length, uint16_t& value)
{
    return ScanUnsigned(text, length, true, value);
}

bool TextToUInt32(const char* text, int32_t length, uint32_t& value)
{
    return ScanUnsigned(text, length, true, value);
}

bool TextToUInt64(const char* text, int32_t length, uint64_t& value)
{
    return ScanUnsigned(text, length, false, value);
}

bool TextToBool(const char* text, int32_t length, bool& value)
{
    if (!text)
        return false;
    if (length == 4 && EqualsNoCase(text, "true", 4))
    {
        value = true;
        return true;
    }
    if (length == 5 && EqualsNoCase(text, "false", 5))
    {
        value = false;
        return true;
    }
    return false;
}

bool TextIsNull(const char* text, int32_t length)
{
    const char* literal = NullLiteral ? NullLiteral : "";
    size_t n = std::strlen(literal);
    if (!text || length < 0 || static_cast<size_t>(length) < n)
        return false;
    return EqualsNoCase(text, literal, n);
}

uint32_t Base64EncodedSize(uint32_t size)
{
    uint64_t e = EncodedSize64(size);
    return e > UINT32_MAX ? UINT32_MAX : static_cast<uint32_t>(e);
}

uint32_t Base64DecodedSize(const char* text, uint32_t length)
{
    if (!text || length == 0)
        return 0;
    size_t n = length == kBase64ToNul ? std::strlen(text) : length;
    return DecodedSizeOf(text, n);
}

bool Base64Encode(const void* data, uint32_t size, char* out, uint32_t capacity, uint32_t* outLength)
{
    if (!data || !out || size == 0 || capacity == 0)
        return false;
    const uint64_t e = EncodedSize64(size);
    if (capacity < e)
        return false;
    std::memset(out, 0, capacity);
    const uint8_t* in = static_cast<const uint8_t*>(data);
    uint64_t pos = 0;
    uint32_t i = 0;
    for (; i + 3 <= size; i += 3)
    {
        uint32_t v = (uint32_t(in[i]) << 16) | (uint32_t(in[i + 1]) << 8) | in[i + 2];
        out[pos++] = kBase64Alphabet[(v >> 18) & 63];
        out[pos++] = kBase64Alphabet[(v >> 12) & 63];
        out[pos++] = kBase64Alphabet[(v >> 6) & 63];
        out[pos++] = kBase64Alphabet[v & 63];
    }
    uint32_t rest = size - i;
    if (rest > 0)
    {
        uint32_t v = uint32_t(in[i]) << 16;
        if (rest == 2)
            v |= uint32_t(in[i + 1]) << 8;
        out[pos++] = kBase64Alphabet[(v >> 18) & 63];
        out[pos++] = kBase64Alphabet[(v >> 12) & 63];
        if (rest == 2)
            out[pos++] = kBase64Alphabet[(v >> 6) & 63];
    }
    while (pos < e - 1)
        out[pos++] = '=';
    out[e - 1] = '\0';
    if (outLength)
        *outLength = static_cast<uint32_t>(e);
    return true;
}

bool Base64Decode(const char* text, uint32_t capacity, void* out, uint32_t& outLength)
{
    outLength = 0;
    if (!text)
        return false;
    size_t n = std::strlen(text);
    uint32_t need = DecodedSizeOf(text, n);
    if (need == 0 || need > capacity || !out)
        return false;
    return DecodeWalk(text, n, capacity, static_cast<uint8_t*>(out), outLength);
}

bool IsBase64(const char* text, uint32_t length)
{
    if (!text)
        return false;
    size_t n = length == 0 ? std::strlen(text) : length;
    if (n == 0)
        return false;
    for (size_t i = 0; i < n; ++i)
        if (!IsBase64Char(text[i]))
            return false;
    uint8_t bytes[1024];
    char encoded[1024];
    uint32_t capacity = n < sizeof bytes ? static_cast<uint32_t>(n) : static_cast<uint32_t>(sizeof bytes);
    uint32_t need = DecodedSizeOf(text, n);
    uint32_t written = 0;
    if (need == 0 || need > capacity || !DecodeWalk(text, n, capacity, bytes, written))
        return false;
    uint32_t encodedLength = 0;
    if (!Base64Encode(bytes, written, encoded, sizeof encoded, &encodedLength))
        return false;
    return encodedLength - 1 >= n && std::memcmp(encoded, text, n) == 0;
}
