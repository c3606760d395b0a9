#include "platform/user_locale.h"

#include <windows.h>

#include <array>

namespace ulix::platform {

Language UserLanguage() {
  return PRIMARYLANGID(GetUserDefaultUILanguage()) == LANG_FRENCH ? Language::kFrench : Language::kEnglish;
}

char UserDecimalSeparator() {
  std::array<char, 2> text{};  // the first character of a longer separator counts
  GetProfileStringA("intl", "sDecimal", ".", text.data(), text.size());
  return text[0] ? text[0] : '.';
}

}  // namespace ulix::platform
