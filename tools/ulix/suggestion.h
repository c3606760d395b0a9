// Suggestions for misspelt words.
#pragma once

#include <span>
#include <string>
#include <string_view>

namespace ulix::cli {

// The candidate nearest to the typed word, ignoring case; empty when none is near. A candidate is near when at most one
// letter in three is wrong, missing, added or swapped with its neighbour.
std::string NearestOf(std::string_view typed, std::span<const std::string> candidates);

// A phrase such as "; did you mean 'kelvo10'?"; empty when no candidate is near.
std::string DidYouMean(std::string_view typed, std::span<const std::string> candidates);

}  // namespace ulix::cli
