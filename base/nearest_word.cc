#include "base/nearest_word.h"

#include <algorithm>
#include <vector>

#include "base/text.h"

namespace ulix {
namespace {

constexpr std::size_t kMaxLetters = 64;
constexpr std::size_t kBeginning = 3;  // so many letters are enough to recognise a word by its beginning

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

std::string Folded(std::string_view word) {
  std::string folded = AsciiUpper(word);
  std::ranges::replace_if(
      folded, [](char c) { return c == '_' || c == ' '; }, '-');
  return folded;
}

}  // namespace

std::string NearestWord(std::string_view typed, std::span<const std::string> candidates) {
  if (typed.empty() || typed.size() > kMaxLetters) return {};
  const std::string word = Folded(typed);
  std::string nearest;
  std::size_t smallest = std::max<std::size_t>(1, word.size() / 3) + 1;
  for (const std::string& candidate : candidates) {
    const std::string other = Folded(candidate);
    if (word.size() >= kBeginning && other.starts_with(word)) return candidate;
    const std::size_t distance = Distance(word, other);
    if (distance >= smallest) continue;
    smallest = distance;
    nearest = candidate;
  }
  return nearest;
}

}  // namespace ulix
