#include "json/json_text.h"

#include "support/table_rows.h"

#include <gtest/gtest.h>

#include <cmath>
#include <cstring>
#include <string>

namespace
{
int32_t Len(const char* s)
{
    return static_cast<int32_t>(std::strlen(s));
}

// Converts into a value of 99 (whole text unless a length is given): a refusal must leave the 99.
template <typename T>
std::pair<bool, T> Conv(bool (*fn)(const char*, int32_t, T&), const char* text, int32_t length = -1)
{
    T v = Initial<T>();
    const bool ok = fn(text, length < 0 ? Len(text) : length, v);
    return {ok, v};
}

TEST(JsonTextEscapes, DecodeEscapeTable)
{
    for (auto [after, codePoint, used] : Rows<const char*, uint32_t, int32_t>{{"b", 0x08, 1},
                                                                              {"t", 0x09, 1},
                                                                              {"/", '/', 1},
                                                                              {"q", 'q', 1},
                                                                              {"u12\"", 0x12, 3},
                                                                              {"uZZ", 'u', 1},
                                                                              {"u", 'u', 1},
                                                                              {"u00e9x", 0xE9, 5},
                                                                              {"u12345", 0x1234, 5},
                                                                              {"\xC3", 0xFFFFFFC3u, 1}})
    {
        uint32_t cp = 0;
        EXPECT_EQ(DecodeEscape(after, cp), used) << after;
        EXPECT_EQ(cp, codePoint) << after;
    }
    // The bounded form stops at the end of what is available.
    uint32_t cp = 7;
    EXPECT_EQ(DecodeEscape("u1234", 3, cp), 3);
    EXPECT_EQ(cp, 0x12u);
    EXPECT_EQ(DecodeEscape("n", 0, cp), 0);
}

TEST(JsonTextUtf8, EncodeAndDecode)
{
    for (auto [cp, bytes] : Rows<uint32_t, const char*>{{0x41, "A"},
                                                        {0x7FF, "\xDF\xBF"},
                                                        {0x800, "\xE0\xA0\x80"},
                                                        {0xD800, "\xED\xA0\x80"},
                                                        {0x10FFFF, "\xF4\x8F\xBF\xBF"}})
    {
        char out[4] = {};
        uint32_t n = EncodeUtf8(cp, out);
        ASSERT_EQ(n, std::strlen(bytes)) << std::hex << cp;
        EXPECT_EQ(std::string(out, n), bytes);
        int32_t pos = 0;
        EXPECT_EQ(DecodeUtf8(bytes, pos), cp);
        EXPECT_EQ(pos, static_cast<int32_t>(n));
    }
    char out[4] = {'x', 'x', 'x', 'x'};
    EXPECT_EQ(EncodeUtf8(0x110000, out), 0u);
    EXPECT_EQ(EncodeUtf8(0xFFFFFFC3u, out), 0u);
    EXPECT_EQ(out[0], 'x');
}

TEST(JsonTextUtf8, DecodeOddInput)
{
    // (text, length or -1 for the unbounded form, start, code point, end)
    for (auto [text, length, from, cp, to] : Rows<const char*, int32_t, int32_t, uint32_t, int32_t>{
             {"a\x85z", -1, 1, 0x85u, 2}, // a stray continuation byte is its own value
             {"", -1, 0, 0u, 0},
             {"abc", -1, -1, 0u, -1},
             {"abc", -1, 3, 0u, 3},
             {"\xC3\xA9", 1, 0, 0xC3u, 1}}) // a sequence cut by the length decodes only what is inside
    {
        int32_t pos = from;
        EXPECT_EQ(length < 0 ? DecodeUtf8(text, pos) : DecodeUtf8(text, length, pos), cp) << text;
        EXPECT_EQ(pos, to) << text;
    }
    // A run of continuation bytes longer than a sequence is taken four at most.
    int32_t pos = 0;
    DecodeUtf8("\xF0\x80\x80\x80\x80", pos);
    EXPECT_EQ(pos, 4);
}

TEST(JsonTextConvert, SignedIntegers)
{
    for (auto [text, ok, value] : Rows<const char*, bool, int32_t>{{"0x1F", true, 31},
                                                                   {"0X1f", true, 31},
                                                                   {"-12", true, -12},
                                                                   {"010", true, 8},
                                                                   {"08", true, 0},
                                                                   {"12abc", true, 12},
                                                                   {" \t\f+7", true, 7},
                                                                   {"-0x10", true, -16},
                                                                   {"0xg", true, 0},
                                                                   {"abc", false, 99},
                                                                   {"", false, 99},
                                                                   {"-", false, 99},
                                                                   {"+ 5", false, 99},
                                                                   {"4294967297", true, 1},
                                                                   {"-2147483649", true, 2147483647}})
        EXPECT_EQ(Conv(TextToInt32, text), std::make_pair(ok, value)) << text;
    EXPECT_EQ(Conv(TextToInt8, "200"), Ok<int8_t>(-56));
    EXPECT_EQ(Conv(TextToInt8, "0x7f"), Ok<int8_t>(127));
    EXPECT_EQ(Conv(TextToInt16, "070000"), Ok<int16_t>(28672)); // octal
    EXPECT_EQ(Conv(TextToInt16, "65535"), Ok<int16_t>(-1));
    EXPECT_EQ(Conv(TextToInt64, "0x1F"), Ok<int64_t>(0)); // decimal only: reads the 0
    EXPECT_EQ(Conv(TextToInt64, "010"), Ok<int64_t>(10));
    EXPECT_EQ(Conv(TextToInt64, "-9223372036854775808"), Ok<int64_t>(INT64_MIN));
    EXPECT_EQ(Conv(TextToInt64, "x"), Refused<int64_t>());
}

TEST(JsonTextConvert, UnsignedIntegers)
{
    EXPECT_EQ(Conv(TextToUInt32, "0X1F"), Ok(31u));
    EXPECT_EQ(Conv(TextToUInt32, "0xffffffff"), Ok(0xFFFFFFFFu));
    EXPECT_EQ(Conv(TextToUInt32, "-1"), Ok(0xFFFFFFFFu));
    EXPECT_EQ(Conv(TextToUInt32, "010"), Ok(10u)); // no octal for u
    EXPECT_EQ(Conv(TextToUInt32, "0x"), Ok(0u));   // too short for the hex form: decimal 0
    // After the prefix the hexadecimal conversion skips blanks and takes a sign.
    EXPECT_EQ(Conv(TextToUInt32, "0x 1F"), Ok(31u));
    EXPECT_EQ(Conv(TextToUInt32, "0x-1"), Ok(0xFFFFFFFFu));
    EXPECT_EQ(Conv(TextToUInt32, "0xg"), Refused<uint32_t>());
    EXPECT_EQ(Conv(TextToUInt64, "0X1F"), Ok<uint64_t>(0));
    EXPECT_EQ(Conv(TextToUInt64, "0x1F"), Ok<uint64_t>(31));
    EXPECT_EQ(Conv(TextToUInt64, "18446744073709551615"), Ok<uint64_t>(UINT64_MAX));
    EXPECT_EQ(Conv(TextToUInt64, "0xFFFFFFFFFFFFFFFF"), Ok<uint64_t>(UINT64_MAX));
    EXPECT_EQ(Conv(TextToUInt8, "0XfF"), Ok<uint8_t>(255));
    EXPECT_EQ(Conv(TextToUInt8, "257"), Ok<uint8_t>(1));
    EXPECT_EQ(Conv(TextToUInt16, "0x10000"), Ok<uint16_t>(0));
    EXPECT_EQ(Conv(TextToUInt16, "123456"), Ok<uint16_t>(123456 & 0xFFFF));
}

TEST(JsonTextConvert, FloatingPoint)
{
    for (auto [text, ok, value] : Rows<const char*, bool, double>{{"1.5", true, 1.5},
                                                                  {"-2.25e2", true, -225},
                                                                  {"  .5", true, 0.5},
                                                                  {"3.", true, 3},
                                                                  {"1e", true, 1},
                                                                  {"1e+", true, 1},
                                                                  {"7E-1x", true, 0.7},
                                                                  {"0x10", true, 0},
                                                                  {"abc", false, 0},
                                                                  {".", false, 0},
                                                                  {"-", false, 0},
                                                                  {"", false, 0}})
    {
        const auto d = Conv(TextToDouble, text);
        EXPECT_EQ(d.first, ok) << text;
        EXPECT_DOUBLE_EQ(d.second, ok ? value : 99) << text;
        const auto f = Conv(TextToFloat, text);
        EXPECT_EQ(f.first, ok) << text;
        EXPECT_FLOAT_EQ(f.second, ok ? static_cast<float>(value) : 99.0f) << text;
    }
    double d = 0;
    EXPECT_TRUE(TextToDouble("-Infinity", 9, d));
    EXPECT_TRUE(std::isinf(d) && d < 0);
    EXPECT_TRUE(TextToDouble("NaN", 3, d));
    EXPECT_TRUE(std::isnan(d));
    // A long digit string does not fit the stack copy and still converts.
    std::string longText = "1." + std::string(400, '0') + "1";
    EXPECT_TRUE(TextToDouble(longText.c_str(), static_cast<int32_t>(longText.size()), d));
    EXPECT_DOUBLE_EQ(d, 1.0);
}

TEST(JsonTextConvert, BoolAndNull)
{
    for (auto [text, ok, value] : Rows<const char*, bool, bool>{{"True", true, true},
                                                                {"fAlSe", true, false},
                                                                {"true1", false, false},
                                                                {"1", false, false},
                                                                {"tru", false, false}})
    {
        bool b = !value;
        EXPECT_EQ(TextToBool(text, Len(text), b), ok) << text;
        EXPECT_EQ(b, ok ? value : !value) << text;
    }
    EXPECT_TRUE(TextIsNull("NULL", 4));
    EXPECT_TRUE(TextIsNull("nullable", 8));
    EXPECT_FALSE(TextIsNull("nul", 3));
    EXPECT_FALSE(TextIsNull("nil", 3));
    const char* saved = NullLiteral;
    NullLiteral = "nil";
    EXPECT_TRUE(TextIsNull("NIL", 3));
    EXPECT_FALSE(TextIsNull("null", 4));
    NullLiteral = saved;
}

TEST(JsonTextBase64, Sizes)
{
    // The last saturates instead of wrapping.
    for (auto [size, encoded] :
         Rows<uint32_t, uint32_t>{{0, 1}, {1, 5}, {3, 5}, {4, 9}, {0xFFFFFFFFu, 0xFFFFFFFFu}})
        EXPECT_EQ(Base64EncodedSize(size), encoded) << size;
    EXPECT_EQ(Base64DecodedSize("QQ==", kBase64ToNul), 1u);
    EXPECT_EQ(Base64DecodedSize("QUJD", kBase64ToNul), 3u);
    EXPECT_EQ(Base64DecodedSize("QUJD", 2), 1u);
    EXPECT_EQ(Base64DecodedSize("====", kBase64ToNul), 0u);
    EXPECT_EQ(Base64DecodedSize("QUJD", 0), 0u);
}

TEST(JsonTextBase64, EncodeKnownVectors)
{
    for (auto [in, encoded] : Rows<const char*, const char*>{{"A", "QQ=="},
                                                             {"fo", "Zm8="},
                                                             {"foob", "Zm9vYg=="},
                                                             {"foobar", "Zm9vYmFy"},
                                                             {"\xFF\xFE\xFD", "//79"}})
    {
        char out[32];
        std::memset(out, 'x', sizeof out);
        uint32_t n = 0;
        ASSERT_TRUE(Base64Encode(in, static_cast<uint32_t>(std::strlen(in)), out, sizeof out, &n)) << in;
        EXPECT_STREQ(out, encoded);
        EXPECT_EQ(n, std::strlen(encoded) + 1);
        EXPECT_EQ(out[sizeof out - 1], '\0'); // the whole capacity is cleared
        uint8_t back[16];
        uint32_t m = 99;
        ASSERT_TRUE(Base64Decode(encoded, sizeof back, back, m)) << encoded;
        EXPECT_EQ(std::string(reinterpret_cast<char*>(back), m), in);
    }
}

TEST(JsonTextBase64, EncodeRefusals)
{
    char out[8] = {};
    uint32_t n = 77;
    EXPECT_FALSE(Base64Encode("A", 1, out, 4, &n)); // needs 5
    EXPECT_EQ(n, 77u);
    EXPECT_TRUE(Base64Encode("A", 1, out, 5, nullptr));
    EXPECT_STREQ(out, "QQ==");
    EXPECT_FALSE(Base64Encode("A", 0, out, sizeof out, &n));
    EXPECT_FALSE(Base64Encode(nullptr, 1, out, sizeof out, &n));
    EXPECT_FALSE(Base64Encode("A", 1, nullptr, sizeof out, &n));
    EXPECT_FALSE(Base64Encode("A", 1, out, 0, &n));
}

TEST(JsonTextBase64, DecodeLimits)
{
    uint8_t out[4];
    uint32_t n = 5;
    EXPECT_FALSE(Base64Decode(nullptr, sizeof out, out, n));
    EXPECT_EQ(n, 0u);
    EXPECT_FALSE(Base64Decode("QUJD", 2, out, n)); // three bytes do not fit two
    EXPECT_FALSE(Base64Decode("====", sizeof out, out, n));
    EXPECT_FALSE(Base64Decode("", sizeof out, out, n));
    // Padding in the middle is skipped; the walk still consumes everything.
    EXPECT_TRUE(Base64Decode("QU=JD", sizeof out, out, n));
    EXPECT_EQ(std::string(reinterpret_cast<char*>(out), n), "ABC");
}

TEST(JsonTextBase64, IsBase64Canonical)
{
    const std::string ok(1020, 'A');
    const std::string tooLong(1024, 'A');
    for (auto [text, length, expected] : Rows<const char*, uint32_t, bool>{{"QQ", 0, true},
                                                                           {"QQ==", 0, true},
                                                                           {"QR==", 0, false},
                                                                           {"", 0, false},
                                                                           {"QQ=", 0, true},
                                                                           {"QQ===", 0, false},
                                                                           {"Q", 0, false},
                                                                           {"QUJD", 0, true},
                                                                           {"QU JD", 0, false},
                                                                           {"QUJD!!", 4, true},
                                                                           {"=QQ=", 0, false},
                                                                           {"Zm9vYmFy", 0, true},
                                                                           {nullptr, 0, false},
                                                                           {ok.c_str(), 0, true},
                                                                           {tooLong.c_str(), 0, false}})
        EXPECT_EQ(IsBase64(text, length), expected) << (text ? text : "(null)");
}
} // namespace
