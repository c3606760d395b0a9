// The texts of the catalogue in UTF-8, in the language of this program.
#pragma once

#include <initializer_list>
#include <string>
#include <vector>

#include "resources/texts.h"

namespace ulix::cli {

// The text in the given language. Each value replaces one '%'.
std::string Shown(TextId id, Language language, std::initializer_list<std::string> values = {});
// The text in the language of the program: the user's language, or the one given to ShowIn.
std::string Shown(TextId id, std::initializer_list<std::string> values = {});
Language ShownLanguage();
// Sets the language of the program, for texts and for numbers, shown and typed.
void ShowIn(Language language);

// The headings of a table, in the given language.
std::vector<std::string> Heads(std::initializer_list<TextId> texts, Language language);

}  // namespace ulix::cli
