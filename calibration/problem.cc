#include "calibration/problem.h"

#include "base/numbers.h"

namespace ulix::calibration {

BilingualText Bilingual(TextId id, std::initializer_list<BilingualText> values) {
  std::vector<std::string> en, fr;
  for (const BilingualText& value : values) {
    en.push_back(value.en);
    fr.push_back(value.fr);
  }
  return {Utf8Of(id, Language::kEnglish, en), Utf8Of(id, Language::kFrench, fr)};
}

std::string Shortened(double value) { return FormatGeneral(value, 9); }

}  // namespace ulix::calibration
