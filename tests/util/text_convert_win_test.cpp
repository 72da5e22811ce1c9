// What the system conversion does with malformed input, which the portable
// table leaves open: never refused, never turned into something that looks valid.
#include "util/text_convert.h"

#include <gtest/gtest.h>

TEST(TextConvertWin, MalformedSequencesGiveReplacements)
{
    const struct
    {
        const char* utf8;
        const wchar_t* allowed; // the characters the result may hold
        const wchar_t* wide;    // the exact result, where Windows and Wine agree
    } cases[] = {
        {"\xC0\xAF", L"\uFFFD", L"\uFFFD\uFFFD"}, // overlong "/"
        {"\x80z", L"\uFFFDz", L"\uFFFDz"},        // stray continuation byte
        {"\xED\xA0\x80", L"\uFFFD", nullptr},     // encoded surrogate: the count differs
    };
    for (const auto& c : cases)
    {
        SCOPED_TRACE(c.utf8);
        std::wstring wide = ToWide(c.utf8);
        EXPECT_FALSE(wide.empty());
        EXPECT_EQ(wide.find_first_not_of(c.allowed), std::wstring::npos);
        if (c.wide)
        {
            EXPECT_EQ(wide, c.wide);
        }
    }
}
