// Questions to the user at the terminal, outside forms.
#pragma once

#include <optional>
#include <string>

namespace ulix::cli {

// Whether a user can be asked: standard input and output are terminals.
bool SomebodyIsThere();

// Yes or no from "y", "yes", "n", "no" and the same in French, in upper or lower case; none for any other text.
std::optional<bool> YesOrNoIn(const std::string& entry);

// Asks until the user answers yes or no; no at the end of the input. Call it only when SomebodyIsThere().
bool AskYesOrNo(const std::string& question);

}  // namespace ulix::cli
