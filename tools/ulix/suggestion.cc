#include "tools/ulix/suggestion.h"

#include "base/nearest_word.h"
#include "tools/ulix/texts.h"

namespace ulix::cli {

std::string DidYouMean(std::string_view typed, std::span<const std::string> candidates) {
  const std::string nearest = NearestWord(typed, candidates);
  return nearest.empty() ? nearest : Shown(TextId::kDidYouMean, {nearest});
}

}  // namespace ulix::cli
