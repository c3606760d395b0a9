#include "tools/ulix/texts.h"

#include "links/local_number.h"
#include "platform/user_locale.h"
#include "tools/ulix/output.h"

namespace ulix::cli {
namespace {

// The language of the program. It is set before the first text is shown.
Language& Chosen() {
  static Language language = platform::UserLanguage();
  return language;
}

}  // namespace

std::string Shown(TextId id, Language language, std::initializer_list<std::string> values) {
  return Utf8Of(id, language, values);
}

std::string Shown(TextId id, std::initializer_list<std::string> values) { return Shown(id, ShownLanguage(), values); }

Language ShownLanguage() { return Chosen(); }
void ShowIn(Language language) {
  Chosen() = language;
  SetLocalDecimalSeparator(DecimalSeparatorOf(language));
}

std::vector<std::string> Heads(std::initializer_list<TextId> texts, Language language) {
  std::vector<std::string> heads;
  for (const TextId text : texts) heads.push_back(Shown(text, language));
  return heads;
}

}  // namespace ulix::cli
