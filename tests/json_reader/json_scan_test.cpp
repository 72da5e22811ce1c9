// The scan's value and token ends; fuzz/json_reader compares the block-wise
// container scan with the byte-wise one on every input and alignment.
#include "json/json_scan.h"

#include <gtest/gtest.h>

#include <string>
#include <vector>

namespace
{
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
