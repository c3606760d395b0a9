// The catalogue's texts in UTF-8, in the language that this program shows.
#pragma once

#include <initializer_list>
#include <string>
#include <vector>

#include "resources/texts.h"

namespace ulix::cli {

// In the language that is asked for; the values are put in place of the '%'s.
std::string Shown(TextId id, Language language, std::initializer_list<std::string> values = {});
// In the language of the program: the user's own until another is asked for.
std::string Shown(TextId id, std::initializer_list<std::string> values = {});
Language ShownLanguage();
// From here on texts, and numbers shown and typed, are in this language.
void ShowIn(Language language);

// The headings of a table.
std::vector<std::string> Heads(std::initializer_list<TextId> texts, Language language);

}  // namespace ulix::cli
