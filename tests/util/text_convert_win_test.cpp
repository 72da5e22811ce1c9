// What the system conversion does with malformed input, which the portable
// table leaves open.
#include "util/text_convert.h"

#include <gtest/gtest.h>

TEST(TextConvertWin, MalformedSequencesEachGiveReplacement)
{
    struct Case
    {
        const char* utf8;
        const wchar_t* wide;
    };
    const Case cases[] = {
        {"\xC0\xAF", L"\uFFFD\uFFFD"},         // overlong "/"
        {"\x80z", L"\uFFFDz"},                  // stray continuation byte
    };
    for (const auto& c : cases)
    {
        std::wstring wide = ToWide(c.utf8);
        // Never refused, never turns into something that looks valid.
        EXPECT_FALSE(wide.empty()) << c.utf8;
        EXPECT_EQ(wide.find_first_not_of(L"\uFFFDz"), std::wstring::npos) << c.utf8;
        EXPECT_EQ(wide, c.wide) << c.utf8;
    }
}

TEST(TextConvertWin, EncodedSurrogateIsReplaced)
{
    // Windows and Wine differ in how many replacement characters they make.
    std::wstring wide = ToWide("\xED\xA0\x80");
    EXPECT_FALSE(wide.empty());
    EXPECT_EQ(wide.find_first_not_of(L'\uFFFD'), std::wstring::npos);
}
