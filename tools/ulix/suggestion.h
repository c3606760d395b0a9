// Suggestions for misspelt words.
#pragma once

#include <span>
#include <string>
#include <string_view>

namespace ulix::cli {

// A phrase such as "; did you mean 'kelvo10'?"; empty when no candidate is near.
std::string DidYouMean(std::string_view typed, std::span<const std::string> candidates);

}  // namespace ulix::cli
