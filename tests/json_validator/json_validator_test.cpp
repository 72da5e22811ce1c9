#include "json/json_validator.h"

#include "support/capture_sink.h"
#include "support/table_rows.h"

#include <gtest/gtest.h>

#include <string>
#include <vector>

namespace
{

const std::string kPrefix = "JSON Validation Error: ";

std::vector<std::string> Prefixed(const std::vector<std::string>& lines)
{
    std::vector<std::string> out;
    for (const auto& l : lines)
        out.push_back(kPrefix + l);
    return out;
}

// Rows of (label, text, logged lines without the common prefix): a document
// is valid exactly when nothing is logged.
void RunValidate(const Rows<const char*, std::string, std::vector<std::string>>& rows)
{
    for (auto [label, text, lines] : rows)
    {
        ScopedLogCapture capture;
        EXPECT_EQ(JsonValidator::Validate(text.c_str(), static_cast<int32_t>(text.size())), lines.empty())
            << label;
        EXPECT_EQ(capture.lines, Prefixed(lines)) << label;
    }
}

std::string Nest(int levels, char open, char close, const std::string& inner = "")
{
    return std::string(levels, open) + inner + std::string(levels, close);
}

std::string NestObjects(int levels)
{
    std::string text;
    for (int i = 1; i < levels; ++i)
        text += "{\"k\":";
    text += "{}";
    text += std::string(levels - 1, '}');
    return text;
}

} // namespace

TEST(JsonValidator, AcceptsStrictDocuments)
{
    RunValidate({
        {"empty object", "{}", {}},
        {"empty array", "[]", {}},
        {"all value kinds",
         "{\"s\":\"x\",\"n\":-12.5e+3,\"z\":0,\"t\":true,\"f\":false,\"u\":null,\"a\":[1,{}],"
         "\"o\":{\"p\":[]}}",
         {}},
        {"numbers", "[0, -0, 1.5, 0.25E2, 1e-3, 12E+1, 9876543210]", {}},
        {"escapes", "[\"\\\" \\\\ \\/ \\b \\f \\n \\r \\t \\u00e9 \\uABcd\"]", {}},
        {"non-ASCII in a string", "[\"\xC3\xA9\xE2\x82\xAC\xF0\x9F\x98\x80\"]", {}},
        {"blanks around, vertical tab included", " \t\r\n\v[ 1 , 2 ]\v\n ", {}},
        {"32 levels of arrays", Nest(32, '[', ']'), {}},
        {"32 levels of objects", NestObjects(32), {}},
    });
}

TEST(JsonValidator, FirstCharacterAndTrailingText)
{
    RunValidate({
        {"blank text", "  \n ", {"line 2, character '"}}, // %c of the terminator ends the line early
        {"bare word",
         "abc",
         {"line 1, character 'a' was not { or [", "line 1 char 1, extra data following end of first object",
          "extra content = 'abc'"}},
        {"form feed is no blank",
         "\f[1]",
         {"line 1, character '\f' was not { or [", "line 1 char 1, extra data following end of first object",
          "extra content = '\f[1]'"}},
        {"text after the root",
         "[1] x",
         {"line 1 char 5, extra data following end of first object", "extra content = 'x'"}},
        {"second root",
         "{}\n{}",
         {"line 2 char 1, extra data following end of first object", "extra content = '{}'"}},
    });

    ScopedLogCapture capture;
    EXPECT_FALSE(JsonValidator::Validate("", 0));
    EXPECT_FALSE(JsonValidator::Validate(nullptr, 5));
    EXPECT_EQ(capture.lines.size(), 2u);
}

TEST(JsonValidator, ReportsPositionOfFirstError)
{
    RunValidate({
        {"trailing comma in array", "[1,]", {"line 1 char 4, reading a value, found unexpected char ']'"}},
        {"leading zero", "{\"a\":01}", {"line 1 char 8, reading object, expected '}' and got '1'"}},
        {"missing colon", "{\"a\" 1}", {"line 1 char 7, reading object, expected ':' and got '1'"}},
        {"bare member name", "{a:1}", {"line 1 char 3, expected '\"' and got 'a'"}},
        {"equals syntax", "{\"a\"=1}", {"line 1 char 6, reading object, expected ':' and got '='"}},
        {"missing array comma", "[1 2]", {"line 1 char 5, reading array, expected ']' and got '2'"}},
        {"literal followed by letters",
         "[truex]",
         {"line 1 char 7, reading array, expected ']' and got 'x'"}},
        {"misspelt literal", "[tru]", {"line 1 char 6, reading literal \"true\" and got ']'"}},
        {"misspelt null", "[nul1]", {"line 1 char 6, reading literal \"null\" and got '1'"}},
        {"DEL in a string",
         "[\"\x7F\"]",
         {"line 1 char 4, found a control character 0x7f while parsing string"}},
        {"tab in a string",
         "[\"a\tb\"]",
         {"line 1 char 5, found a control character 0x9 while parsing string"}},
        {"unterminated string",
         "[\"ab",
         {"line 1 char 6, found a control character 0x0 while parsing string"}},
        {"bad escape letter",
         "[\"\\x\"]",
         {"line 1 char 5, found an invalid escape sequence '\\x' while parsing string"}},
        {"bad hex digit",
         "[\"\\u12G4\"]",
         {"line 1 char 8, found an invalid hex digit 'G' while parsing unicode escape sequence"}},
        {"sign without digits", "[-x]", {"line 1 char 3, expected a digit and got 'x'"}},
        {"fraction without digits", "[1.]", {"line 1 char 4, expected a digit and got ']'"}},
        {"exponent without digits", "[1e+]", {"line 1 char 5, expected a digit and got ']'"}},
        {"plus sign", "[+1]", {"line 1 char 2, reading a value, found unexpected char '+'"}},
        {"line feed moves to the next line",
         "[1,\n x]",
         {"line 2 char 2, reading a value, found unexpected char 'x'"}},
        {"a multi-byte character is one column",
         "[\"\xC3\xA9\" x]",
         {"line 1 char 7, reading array, expected ']' and got 'x'"}},
        {"33 levels of arrays", Nest(33, '[', ']'), {"Depth exceeds maxium (32)"}},
        {"33 levels of objects", NestObjects(33), {"Depth exceeds maxium (32)"}},
        {"unclosed object", "{\"a\":1", {"line 1 char 8, reading object, expected '}' and got '"}},
    });
}

TEST(JsonValidator, LengthBoundsTheDocument)
{
    ScopedLogCapture capture;
    const char text[] = "[1] trailing";
    EXPECT_TRUE(JsonValidator::Validate(text, 3));
    // An embedded NUL is a character like any other: here an unexpected one.
    const char withNul[] = "[1\0]";
    EXPECT_FALSE(JsonValidator::Validate(withNul, 4));
    ASSERT_EQ(capture.lines.size(), 1u);
    EXPECT_EQ(capture.lines[0].rfind(kPrefix + "line 1 char 4, reading array, expected ']' and got '", 0),
              0u);
}

TEST(JsonValidator, MemberLists)
{
    ScopedLogCapture capture;
    const std::string list = "\"a\": 1, \"b\" : [true, {\"c\":null}]";
    EXPECT_TRUE(JsonValidator::ValidateMembers(list.c_str(), static_cast<int32_t>(list.size()), true));
    // The same list needs its braces when they are not omitted.
    EXPECT_FALSE(JsonValidator::ValidateMembers(list.c_str(), static_cast<int32_t>(list.size()), false));
    const std::string object = "{" + list + "} ignored";
    EXPECT_TRUE(JsonValidator::ValidateMembers(object.c_str(), static_cast<int32_t>(object.size()), false));
    const std::string bad = "\"a\" 1";
    EXPECT_FALSE(JsonValidator::ValidateMembers(bad.c_str(), static_cast<int32_t>(bad.size()), true));
    EXPECT_EQ(capture.lines, Prefixed({"line 1 char 2, reading object, expected '{' and got '\"'",
                                       "line 1 char 6, reading object, expected ':' and got '1'"}));
}
