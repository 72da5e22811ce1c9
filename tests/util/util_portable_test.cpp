#include "util/files.h"
#include "util/path_check.h"
#include "util/text_convert.h"

#include <gtest/gtest.h>

#include <vector>

namespace
{
struct ConversionCase
{
    const char* utf8;
    std::wstring wide;
};

// Pairs that convert into each other both ways.
const ConversionCase kRoundTrips[] = {
    {"", L""},
    {"plain ASCII 123", L"plain ASCII 123"},
    {"\xC3\xA9", L"\u00E9"},
    {"C:\\Spiele\\\xC3\xBC\xE2\x82\xAC", L"C:\\Spiele\\\u00FC\u20AC"},
    {"\xF0\x9F\x98\x80", L"\U0001F600"}, // outside the BMP: a surrogate pair on Windows
    {"a\xF0\x90\x80\x80z", L"a\U00010000z"},
};

TEST(TextConvert, RoundTrips)
{
    for (const auto& c : kRoundTrips)
    {
        EXPECT_EQ(ToWide(c.utf8), c.wide) << c.utf8;
        EXPECT_EQ(ToUtf8(c.wide.c_str()), c.utf8) << c.utf8;
    }
}

std::wstring FromCodePoint(char32_t c)
{
    if (sizeof(wchar_t) == 2 && c >= 0x10000)
    {
        c -= 0x10000;
        return {static_cast<wchar_t>(0xD800 + (c >> 10)), static_cast<wchar_t>(0xDC00 + (c & 0x3FF))};
    }
    return std::wstring(1, static_cast<wchar_t>(c));
}

TEST(TextConvert, EveryEncodingLengthRoundTrips)
{
    // The edges of each UTF-8 length, and a spread of code points between.
    std::vector<char32_t> points = {0x7F, 0x80, 0x7FF, 0x800, 0xD7FF, 0xE000, 0xFFFD, 0xFFFF, 0x10000, 0x10FFFF};
    for (char32_t c = 1; c < 0x110000; c += 997)
        if (c < 0xD800 || c > 0xDFFF)
            points.push_back(c);
    for (char32_t c : points)
    {
        std::wstring wide = FromCodePoint(c);
        std::string utf8 = ToUtf8(wide);
        size_t expectedLength = c < 0x80 ? 1 : c < 0x800 ? 2 : c < 0x10000 ? 3 : 4;
        ASSERT_EQ(utf8.size(), expectedLength) << std::hex << static_cast<uint32_t>(c);
        ASSERT_EQ(ToWide(utf8), wide) << std::hex << static_cast<uint32_t>(c);
    }
}

TEST(TextConvert, MalformedInputIsReplacedNotRefused)
{
    EXPECT_EQ(ToWide("\xFF"), L"\uFFFD");
    EXPECT_EQ(ToWide("a\xFF" "b"), L"a\uFFFD" L"b");
    // A lead byte whose continuation is missing.
    std::wstring cut = ToWide("x\xC3");
    ASSERT_FALSE(cut.empty());
    EXPECT_EQ(cut.front(), L'x');
    EXPECT_EQ(cut.back(), L'\uFFFD');
    // A lone surrogate has no UTF-8 form.
    const wchar_t lone[] = {L'a', static_cast<wchar_t>(0xD800), L'b', 0};
    EXPECT_EQ(ToUtf8(lone), "a\xEF\xBF\xBD" "b");
}

TEST(TextConvert, TextEndsAtFirstZeroAndNullIsEmpty)
{
    EXPECT_EQ(ToWide(std::string("ab\0cd", 5)), L"ab");
    EXPECT_EQ(ToUtf8(std::wstring(L"ab\0cd", 5)), "ab");
    EXPECT_EQ(ToWide(static_cast<const char*>(nullptr)), L"");
    EXPECT_EQ(ToUtf8(static_cast<const wchar_t*>(nullptr)), "");
}

TEST(TextConvert, ToLowerInPlaceLowersLettersOnly)
{
    std::wstring s = L"-STUB_LOG -forceLauncherPath 1234 !?./\\";
    ToLowerInPlace(s);
    EXPECT_EQ(s, L"-stub_log -forcelauncherpath 1234 !?./\\");
    std::wstring empty;
    ToLowerInPlace(empty);
    EXPECT_EQ(empty, L"");
}

struct SplitCase
{
    std::wstring path;
    bool ok;
    std::wstring parent;
    std::wstring name;
};

TEST(Paths, ParentAndFileName)
{
    const SplitCase cases[] = {
        {L"C:\\a\\b.txt", true, L"C:\\a", L"b.txt"},
        {L"C:\\a\\", true, L"C:\\a", L""},
        {L"D:\\PlayGame.exe", true, L"D:", L"PlayGame.exe"},
        {L"\\x", true, L"", L"x"},
        {L"b.txt", false, L"", L""},
        {L"", false, L"", L""},
        {L"C:/a/b.txt", false, L"", L""}, // only "\" separates
    };
    for (const auto& c : cases)
    {
        std::wstring parent = L"unchanged";
        std::wstring name = L"unchanged";
        EXPECT_EQ(GetParentPath(c.path, parent), c.ok);
        EXPECT_EQ(GetFileNamePart(c.path, name), c.ok);
        EXPECT_EQ(parent, c.ok ? c.parent : L"unchanged");
        EXPECT_EQ(name, c.ok ? c.name : L"unchanged");
    }
}

TEST(Paths, JoinPutsExactlyOneSeparator)
{
    const std::wstring cases[][3] = {
        {L"a", L"b", L"a\\b"},   {L"a\\", L"b", L"a\\b"}, {L"a", L"\\b", L"a\\b"},
        {L"a\\", L"\\b", L"a\\b"}, {L"", L"b", L"b"},      {L"a", L"", L"a\\"},
        {L"", L"\\b", L"b"},     {L"C:\\x", L"y\\z.txt", L"C:\\x\\y\\z.txt"},
    };
    for (const auto& c : cases)
    {
        std::wstring base = c[0];
        JoinPath(base, c[1]);
        EXPECT_EQ(base, c[2]) << c[0] << L" + " << c[1];
        std::wstring result = L"old";
        JoinPath(c[0], c[1], result);
        EXPECT_EQ(result, c[2]);
    }
    // The copying form may write into its own base.
    std::wstring self = L"a";
    JoinPath(self, L"b", self);
    EXPECT_EQ(self, L"a\\b");
}

std::vector<std::wstring> Prefixes(const std::wstring& path)
{
    std::vector<std::wstring> seen;
    ForEachPathPrefix(path, [&](const std::wstring& prefix) { seen.push_back(prefix); });
    return seen;
}

TEST(PathCheck, PrefixesFromTheRoot)
{
    using V = std::vector<std::wstring>;
    EXPECT_EQ(Prefixes(L"C:\\Users\\Name\\file.log"),
              (V{L"C:", L"C:\\Users", L"C:\\Users\\Name", L"C:\\Users\\Name\\file.log"}));
    EXPECT_EQ(Prefixes(L""), V{});
    EXPECT_EQ(Prefixes(L"\\x"), (V{L"", L"\\x"}));
    EXPECT_EQ(Prefixes(L"C:\\\\x"), (V{L"C:", L"C:\\", L"C:\\\\x"}));
    EXPECT_EQ(Prefixes(L"a/b\\c"), (V{L"a", L"a/b", L"a/b\\c"}));
    // A trailing separator: the last prefix is the path without it.
    EXPECT_EQ(Prefixes(L"C:\\dir\\"), (V{L"C:", L"C:\\dir"}));
}
} // namespace
