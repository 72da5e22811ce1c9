// Closest-keyword suggestions for misspelt keys, keywords and feature names.
#pragma once

#include <cstddef>
#include <string>
#include <string_view>
#include <vector>

namespace kvotool
{
// Edit distance with adjacent transpositions counting as one edit ("optimal
// string alignment"), compared without regard to ASCII letter case: makers
// most often get the case wrong or swap two letters.
size_t EditDistance(std::string_view a, std::string_view b);

// The candidate closest to `word`, or an empty text when none is close enough
// to be a plausible intent. Ties go to the earlier candidate. The word itself
// is never suggested.
std::string ClosestMatch(std::string_view word, const std::vector<std::string>& candidates);
} // namespace kvotool
