#include "suggest.h"

#include <algorithm>

namespace kvotool
{
namespace
{
char Lower(char c)
{
    return (c >= 'A' && c <= 'Z') ? static_cast<char>(c - 'A' + 'a') : c;
}

// How far a word may be from a candidate: short words allow one edit, longer
// ones a few more, so that "qm" still finds "qn" but "xyz" finds nothing.
size_t Tolerance(size_t length)
{
    if (length <= 4)
        return 1;
    if (length <= 8)
        return 2;
    return 3;
}
} // namespace

size_t EditDistance(std::string_view a, std::string_view b)
{
    const size_t n = a.size();
    const size_t m = b.size();
    // Three rows suffice: the transposition looks two rows back.
    std::vector<size_t> prev2(m + 1), prev(m + 1), cur(m + 1);
    for (size_t j = 0; j <= m; ++j)
        prev[j] = j;
    for (size_t i = 1; i <= n; ++i)
    {
        cur[0] = i;
        for (size_t j = 1; j <= m; ++j)
        {
            const bool same = Lower(a[i - 1]) == Lower(b[j - 1]);
            size_t best = std::min({prev[j] + 1, cur[j - 1] + 1, prev[j - 1] + (same ? 0 : 1)});
            if (i > 1 && j > 1 && Lower(a[i - 1]) == Lower(b[j - 2]) && Lower(a[i - 2]) == Lower(b[j - 1]))
                best = std::min(best, prev2[j - 2] + 1);
            cur[j] = best;
        }
        std::swap(prev2, prev);
        std::swap(prev, cur);
    }
    return prev[m];
}

std::string ClosestMatch(std::string_view word, const std::vector<std::string>& candidates)
{
    const std::string* best = nullptr;
    size_t bestDistance = 0;
    for (const auto& candidate : candidates)
    {
        if (candidate == word || candidate.empty())
            continue;
        size_t d = EditDistance(word, candidate);
        if (d > Tolerance(std::max(word.size(), candidate.size())))
            continue;
        if (!best || d < bestDistance)
        {
            best = &candidate;
            bestDistance = d;
        }
    }
    return best ? *best : std::string();
}
} // namespace kvotool
