#include "platform/user_locale.h"

#include <langinfo.h>
#include <locale.h>

#include <cstdlib>
#include <initializer_list>
#include <string_view>

namespace ulix::platform {
namespace {

// The first variable that is set, in the order in which the C library looks them up.
const char* LocaleName(const char* category) {
  for (const char* variable : {"LC_ALL", category, "LANG"}) {
    if (const char* name = std::getenv(variable); name && *name) return name;
  }
  return "C";
}

bool IsFrench(std::string_view locale) { return locale.starts_with("fr"); }

}  // namespace

Language UserLanguage() { return IsFrench(LocaleName("LC_MESSAGES")) ? Language::kFrench : Language::kEnglish; }

char UserDecimalSeparator() {
  const char* name = LocaleName("LC_NUMERIC");
  const locale_t locale = newlocale(LC_NUMERIC_MASK, name, nullptr);
  // The data of a locale are often not installed.
  if (!locale) return IsFrench(name) ? ',' : '.';
  const char* text = nl_langinfo_l(RADIXCHAR, locale);
  const char separator = text && *text ? *text : '.';
  freelocale(locale);
  return separator;
}

}  // namespace ulix::platform
