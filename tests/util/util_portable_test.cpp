#include "util/files.h"
#include "util/path_check.h"
#include "util/text_convert.h"

#include <gtest/gtest.h>

#include <vector>

namespace
{
// Pairs that convert into each other both ways.
const std::pair<const char*, std::wstring> kRoundTrips[] = {
    {"", L""},
    {"plain ASCII 123", L"plain ASCII 123"},
    {"C:\\Spiele\\\xC3\xBC\xE2\x82\xAC", L"C:\\Spiele\\\u00FC\u20AC"},
    {"\xF0\x9F\x98\x80", L"\U0001F600"}, // outside the BMP: a surrogate pair on Windows
};

TEST(TextConvert, RoundTrips)
{
    for (const auto& c : kRoundTrips)
    {
        EXPECT_EQ(ToWide(c.first), c.second) << c.first;
        EXPECT_EQ(ToUtf8(c.second.c_str()), c.first) << c.first;
    }
}

TEST(TextConvert, MalformedInputIsReplacedNotRefused)
{
    EXPECT_EQ(ToWide("\xFF"), L"\uFFFD");
    EXPECT_EQ(ToWide("a\xFF"
                     "b"),
              L"a\uFFFD"
              L"b");
    // A lead byte whose continuation is missing.
    std::wstring cut = ToWide("x\xC3");
    ASSERT_FALSE(cut.empty());
    EXPECT_EQ(cut.front(), L'x');
    EXPECT_EQ(cut.back(), L'\uFFFD');
    // A lone surrogate has no UTF-8 form.
    const wchar_t lone[] = {L'a', static_cast<wchar_t>(0xD800), L'b', 0};
    EXPECT_EQ(ToUtf8(lone), "a\xEF\xBF\xBD"
                            "b");
}

TEST(TextConvert, TextEndsAtFirstZeroAndNullIsEmpty)
{
    EXPECT_EQ(ToWide(std::string("ab\0cd", 5)), L"ab");
    EXPECT_EQ(ToUtf8(std::wstring(L"ab\0cd", 5)), "ab");
    EXPECT_EQ(ToWide(static_cast<const char*>(nullptr)), L"");
    EXPECT_EQ(ToUtf8(static_cast<const wchar_t*>(nullptr)), "");
}

TEST(Paths, ParentAndFileName)
{
    // {path, parent, name}; an empty parent and name: no "\\" to split at.
    const std::wstring cases[][3] = {
        {L"C:\\a\\b.txt", L"C:\\a", L"b.txt"}, {L"\\x", L"", L"x"}, {L"C:/a/b.txt", L"", L""}};
    for (const auto& c : cases)
    {
        std::wstring parent = L"unchanged", name = L"unchanged";
        bool ok = !c[2].empty();
        EXPECT_EQ(GetParentPath(c[0], parent), ok);
        EXPECT_EQ(GetFileNamePart(c[0], name), ok);
        EXPECT_EQ(parent, ok ? c[1] : L"unchanged");
        EXPECT_EQ(name, ok ? c[2] : L"unchanged");
    }
}

TEST(Paths, JoinPutsExactlyOneSeparator)
{
    const std::wstring cases[][3] = {
        {L"a", L"b", L"a\\b"},
        {L"a\\", L"\\b", L"a\\b"},
        {L"", L"\\b", L"b"},
        {L"a", L"", L"a\\"},
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
    EXPECT_EQ(Prefixes(L"C:\\\\x"), (V{L"C:", L"C:\\", L"C:\\\\x"}));
    EXPECT_EQ(Prefixes(L"a/b\\c"), (V{L"a", L"a/b", L"a/b\\c"}));
    // A trailing separator: the last prefix is the path without it.
    EXPECT_EQ(Prefixes(L"C:\\dir\\"), (V{L"C:", L"C:\\dir"}));
}
} // namespace
