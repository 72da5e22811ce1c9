// The block-wise container scan must give exactly what the byte-wise scan
// gives; fuzz/json_reader compares them on every input and alignment.
#include "json/json_scan.h"

#include <gtest/gtest.h>

#include <string>
#include <vector>

namespace
{
TEST(JsonScan, BlockScanMatchesBytewiseOnCraftedInput)
{
    const std::string pad(70, ' ');
    for (const std::string& s : {"{" + pad + "\"a\\\"}\"" + pad + "}" + pad,
                                 "{" + pad + "a\\\"}" + pad + "\"}", // backslash outside a string escapes nothing
                                 "[" + pad + std::string(31, '[') + std::string(32, ']'),
                                 "[" + pad + std::string(32, '[') + std::string(33, ']'),
                                 "{" + pad + std::string("\"\0\"", 3) + "}" + pad,
                                 "{" + pad + "\"unterminated" + pad})
    {
        std::vector<char> text(s.begin(), s.end()); // no NUL after the last byte
        const int32_t end = static_cast<int32_t>(s.size());
        bool deepFast = false;
        bool deepSlow = false;
        bool deepBaseline = false;
        const int32_t slow = jsonscan::ContainerEndBytewise(text.data(), end, 0, deepSlow);
        EXPECT_EQ(jsonscan::ContainerEnd(text.data(), end, 0, deepFast), slow) << s;
        EXPECT_EQ(deepFast, deepSlow) << s;
        EXPECT_EQ(jsonscan::ContainerEndBaseline(text.data(), end, 0, deepBaseline), slow) << s;
        EXPECT_EQ(deepBaseline, deepSlow) << s;
    }
}

TEST(JsonScan, ValueEndStopsAtTheLength)
{
    const std::string s = "\"abc\\\"def\"";
    for (int32_t end : {9, 10})
    {
        std::vector<char> bytes(s.begin(), s.begin() + end);
        EXPECT_EQ(jsonscan::ValueEnd(bytes.data(), end, 0), end == 10 ? 10 : -1) << end;
    }
    EXPECT_EQ(jsonscan::TokenEnd("abc,d", 5, 0), 3);
    EXPECT_EQ(jsonscan::TokenEnd(",", 1, 0), 1);
    EXPECT_EQ(jsonscan::SkipSpace("  \f", 3, 0), 2);
    EXPECT_EQ(jsonscan::SkipSpace("   ", 3, 0), -1);
}
} // namespace
