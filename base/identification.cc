#include "base/identification.h"

#include <algorithm>
#include <vector>

#include "base/text.h"

namespace ulix {

std::string SerialNumberIn(std::string_view identification) {
  constexpr std::size_t kFields = 4, kSerialField = 2;
  std::vector<std::string_view> fields;
  for (std::size_t at = 0; at <= identification.size();) {
    const std::size_t end = std::min(identification.find(',', at), identification.size());
    fields.push_back(Trimmed(identification.substr(at, end - at)));
    at = end + 1;
  }
  if (fields.size() >= kFields && fields[kSerialField] != "0") return std::string(fields[kSerialField]);
  const auto words = SplitWords(identification, " ,;:");
  const auto mark = std::find(words.begin(), words.end(), "SN");
  return mark == words.end() || mark + 1 == words.end() ? std::string() : std::string(*(mark + 1));
}

}  // namespace ulix
