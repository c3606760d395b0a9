#include "tools/ulix/suggestion.h"

#include <algorithm>
#include <vector>

#include "base/text.h"
#include "tools/ulix/texts.h"

namespace ulix::cli {
namespace {

// The number of letters that are wrong, missing, added or swapped with their neighbour.
std::size_t Distance(std::string_view a, std::string_view b) {
  std::vector<std::vector<std::size_t>> rows(a.size() + 1, std::vector<std::size_t>(b.size() + 1));
  for (std::size_t i = 0; i <= a.size(); ++i) {
    for (std::size_t j = 0; j <= b.size(); ++j) {
      if (i == 0 || j == 0) {
        rows[i][j] = i + j;
        continue;
      }
      const std::size_t wrong = a[i - 1] == b[j - 1] ? 0 : 1;
      rows[i][j] = std::min({rows[i - 1][j] + 1, rows[i][j - 1] + 1, rows[i - 1][j - 1] + wrong});
      const bool swapped = i > 1 && j > 1 && a[i - 1] == b[j - 2] && a[i - 2] == b[j - 1];
      if (swapped) rows[i][j] = std::min(rows[i][j], rows[i - 2][j - 2] + 1);
    }
  }
  return rows[a.size()][b.size()];
}

}  // namespace

std::string NearestOf(std::string_view typed, std::span<const std::string> candidates) {
  constexpr std::size_t kLongestWord = 64;
  if (typed.empty() || typed.size() > kLongestWord) return {};
  std::string nearest;
  std::size_t smallest = std::max<std::size_t>(1, typed.size() / 3) + 1;
  constexpr std::size_t kBeginning = 3;  // so many letters are enough to recognise a word by its beginning
  for (const std::string& candidate : candidates) {
    const bool begun = typed.size() >= kBeginning && AsciiUpper(candidate).starts_with(AsciiUpper(typed));
    if (begun) return candidate;
    const std::size_t distance = Distance(AsciiUpper(typed), AsciiUpper(candidate));
    if (distance >= smallest) continue;
    smallest = distance;
    nearest = candidate;
  }
  return nearest;
}

std::string DidYouMean(std::string_view typed, std::span<const std::string> candidates) {
  const std::string nearest = NearestOf(typed, candidates);
  return nearest.empty() ? nearest : Shown(TextId::kDidYouMean, {nearest});
}

}  // namespace ulix::cli
