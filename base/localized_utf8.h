// Localized texts of rooms whose texts are UTF-8: they come from and go to files and pages, never to an instrument.
#pragma once

#include "base/text.h"

namespace ulix {

inline const char* Utf8Of(const LocalizedText& text, Language language) {
  return language == Language::kFrench ? text.fr : text.en;
}

}  // namespace ulix
