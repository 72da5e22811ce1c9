// The system conversion never refuses malformed input, nor turns it into something that looks valid.
#include "util/text_convert.h"

#include <gtest/gtest.h>

TEST(TextConvertWin, MalformedSequencesGiveReplacements)
{
    EXPECT_EQ(ToWide("\xC0\xAF"), L"\uFFFD\uFFFD"); // overlong "/"
    EXPECT_EQ(ToWide("\x80z"), L"\uFFFDz");         // stray continuation byte
    // An encoded surrogate: Windows and Wine differ in the count of replacements.
    std::wstring wide = ToWide("\xED\xA0\x80");
    EXPECT_FALSE(wide.empty());
    EXPECT_EQ(wide.find_first_not_of(L"\uFFFD"), std::wstring::npos);
}
