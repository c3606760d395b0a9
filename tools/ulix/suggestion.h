// What a misspelt word was meant to be.
#pragma once

#include <span>
#include <string>
#include <string_view>

namespace ulix::cli {

// The candidate that is nearest to what was typed, any case; empty when none is near. One letter in three may be
// wrong, missing, added or swapped with its neighbour.
std::string NearestOf(std::string_view typed, std::span<const std::string> candidates);

// "; did you mean 'kelvo10'?", or nothing.
std::string DidYouMean(std::string_view typed, std::span<const std::string> candidates);

}  // namespace ulix::cli
