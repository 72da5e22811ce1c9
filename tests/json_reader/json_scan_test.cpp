// The block-wise container scan must give exactly what the byte-wise scan
// gives, on well-formed and broken text alike.
#include "json/json_scan.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cstddef>
#include <random>
#include <string>
#include <vector>

namespace
{
// `shift` moves the text against the 64-byte blocks of the vector scan.
void ExpectSameEnd(const std::string& s, int32_t start = 0, size_t shift = 0)
{
    std::vector<char> storage(shift + s.size()); // no NUL after the last byte
    std::copy(s.begin(), s.end(), storage.begin() + static_cast<std::ptrdiff_t>(shift));
    const char* text = storage.data() + shift;
    const int32_t end = static_cast<int32_t>(s.size());
    bool deepFast = false;
    bool deepSlow = false;
    const int32_t fast = jsonscan::ContainerEnd(text, end, start, deepFast);
    const int32_t slow = jsonscan::ContainerEndBytewise(text, end, start, deepSlow);
    ASSERT_EQ(fast, slow) << s;
    ASSERT_EQ(deepFast, deepSlow) << s;
    bool deepBaseline = false;
    ASSERT_EQ(jsonscan::ContainerEndBaseline(text, end, start, deepBaseline), slow) << s;
    ASSERT_EQ(deepBaseline, deepSlow) << s;
}

TEST(JsonScan, BlockScanMatchesBytewiseOnCraftedInput)
{
    const std::string pad(70, ' ');
    std::vector<std::string> cases = {
        "[" + pad + "]",
        "{" + pad + "\"}\"" + pad + "}",
        "{" + pad + "\"a\\\"}\"" + pad + "}" + pad,
        "{" + std::string(61, ' ') + "\"\\" + std::string(3, '\\') + "\"}\"}",
        "{" + pad + "a\\\"}" + pad + "\"}",   // backslash outside a string escapes nothing
        "{" + pad + "\\\\\"}\"" + pad + "}",
        "[" + pad + std::string(31, '[') + std::string(32, ']'),
        "[" + pad + std::string(32, '[') + std::string(33, ']'),
        "[" + pad + std::string(32, '['),
        "[" + pad + std::string(31, '[') + std::string(31, ']') + "]" + pad,
        "{" + pad + std::string(100, '[') + std::string(100, ']') + "}",
        "{" + pad + std::string("\"\0\"", 3) + "}" + pad,
        "{" + pad + "\"unterminated" + pad,
        "{" + pad + "{" + pad + "}" + pad,
    };
    // A block read byte by byte (it has a backslash outside any string) that
    // ends with the opener passing the limit; the limit hits in the next block.
    cases.push_back("[\\" + std::string(31, ' ') + std::string(32, '[') + std::string(40, ']') + pad);
    cases.push_back("[\\" + std::string(31, ' ') + std::string(32, '[') + std::string(40, ']') + pad + "]");
    for (int shift = 0; shift < 70; ++shift)
        cases.push_back("[" + std::string(shift, ' ') + "\"\\\\\\\"]\" ]" + std::string(70, ']'));
    for (const auto& c : cases)
        for (size_t shift = 0; shift < 64; ++shift)
            ExpectSameEnd(c, 0, shift);
}

TEST(JsonScan, BlockScanMatchesBytewiseOnRandomInput)
{
    std::mt19937 rng(12345);
    const char alphabet[] = "{}[]\"\\\\ ax,:";
    for (int round = 0; round < 4000; ++round)
    {
        const size_t n = 1 + rng() % 400;
        std::string s(n, ' ');
        for (auto& c : s)
            c = alphabet[rng() % (sizeof alphabet - 1)];
        if (rng() % 8 == 0)
            s[rng() % n] = '\0';
        s[0] = (rng() & 1) ? '{' : '[';
        ExpectSameEnd(s, 0, rng() % 64);
    }
}

TEST(JsonScan, ValueEndStopsAtTheLength)
{
    const std::string s = "\"abc\\\"def\"";
    for (int32_t end = 1; end <= static_cast<int32_t>(s.size()); ++end)
    {
        std::vector<char> bytes(s.begin(), s.begin() + end);
        EXPECT_EQ(jsonscan::ValueEnd(bytes.data(), end, 0), end == 10 ? 10 : -1) << end;
    }
    std::string longer = "\"" + std::string(40, 'x') + "\\\"" + std::string(40, 'y') + "\"";
    EXPECT_EQ(jsonscan::ValueEnd(longer.data(), static_cast<int32_t>(longer.size()), 0),
              static_cast<int32_t>(longer.size()));
    EXPECT_EQ(jsonscan::TokenEnd("abc,d", 5, 0), 3);
    EXPECT_EQ(jsonscan::TokenEnd(",", 1, 0), 1);
    EXPECT_EQ(jsonscan::SkipSpace("  \f", 3, 0), 2);
    EXPECT_EQ(jsonscan::SkipSpace("   ", 3, 0), -1);
}
} // namespace
