#include "log/log_format.h"

#include <gtest/gtest.h>

#include <cstdarg>
#include <cstdio>
#include <string>

namespace
{
int g_Total = 0; // the full length the last Format reported

std::string Format(std::size_t size, const char* format, ...)
{
    char buffer[256];
    va_list args;
    va_start(args, format);
    g_Total = FormatLogText(buffer, size, format, args);
    va_end(args);
    return buffer;
}
} // namespace

TEST(LogFormat, WideTextComesOutAsUtf8)
{
    EXPECT_EQ(Format(256, "Couldn't open %ls", L"C:\\Users\\J\u00fcrgen\\t.kvo"),
              "Couldn't open C:\\Users\\J\xc3\xbcrgen\\t.kvo");
    EXPECT_EQ(Format(256, "%ls|%lc", L"\u30a8\u30e9\u30fc \u00ae \U0001F3AE", L'\u20ac'),
              "\xe3\x82\xa8\xe3\x83\xa9\xe3\x83\xbc \xc2\xae \xf0\x9f\x8e\xae|\xe2\x82\xac");
    EXPECT_EQ(
        Format(256, "[%ls] [%s]", static_cast<const wchar_t*>(nullptr), static_cast<const char*>(nullptr)),
        "[(null)] [(null)]");
}

TEST(LogFormat, ConversionsKeepTheirUsualMeaning)
{
    // Checked against the runtime's own formatting of the same values.
    char expected[256];
    std::snprintf(expected, sizeof expected, "%d %-4d|%08x %X %u %c %% %lld %llu %zu %hd %.3s %*d %.*s %6.2f",
                  -42, 3, 0x1234u, 255u, 4000000000u, 'q', -5000000000LL, 18000000000000000000ULL,
                  static_cast<size_t>(99), static_cast<short>(70000), "abcdef", 4, 9, 2, "xyz", 3.14159);
    EXPECT_EQ(Format(256, "%d %-4d|%08x %X %u %c %% %lld %llu %zu %hd %.3s %*d %.*s %6.2f", -42, 3, 0x1234u,
                     255u, 4000000000u, 'q', -5000000000LL, 18000000000000000000ULL, static_cast<size_t>(99),
                     static_cast<short>(70000), "abcdef", 4, 9, 2, "xyz", 3.14159),
              expected);
    EXPECT_EQ(Format(256, "%10ls|%-3ls|", L"ab", L"c"), "        ab|c  |");
}

TEST(LogFormat, CutsToTheBufferAndReportsTheFullLength)
{
    EXPECT_EQ(Format(8, "%s-%ls", "abcdef", L"ghij"), "abcdef-");
    EXPECT_EQ(g_Total, 11);
    EXPECT_EQ(Format(1, "xyz"), "");
    EXPECT_EQ(g_Total, 3);
    // A conversion the log does not know, or a format cut after '%', is refused.
    EXPECT_EQ(Format(64, "bad %y"), "bad ");
    EXPECT_EQ(g_Total, -1);
    Format(64, "trailing %");
    EXPECT_EQ(g_Total, -1);
}

TEST(LogFormat, CutLinesKeepWholeUtf8Characters)
{
    // "aü€😀": 1 + 2 + 3 + 4 bytes; every cut inside a character backs off to its start.
    const std::string text = "a\xC3\xBC\xE2\x82\xAC\xF0\x9F\x98\x80";
    const struct
    {
        std::size_t cut, kept;
    } rows[] = {{0, 0}, {1, 1}, {2, 1}, {3, 3}, {4, 3}, {5, 3}, {6, 6}, {7, 6}, {8, 6}, {9, 6}, {10, 10}};
    for (const auto& row : rows)
        EXPECT_EQ(Utf8WholePrefix(text.data(), row.cut), row.kept) << "cut at " << row.cut;
    // Bytes that are not UTF-8 are not the cut's business.
    EXPECT_EQ(Utf8WholePrefix("ab\x80\x80\x80\x80", 6), 6u);
    EXPECT_EQ(Utf8WholePrefix("a\xFF", 2), 2u);
}
