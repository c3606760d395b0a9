// Questions to the person at the terminal, outside forms.
#pragma once

#include <optional>
#include <string>

namespace ulix::cli {

// Whether somebody is there to be asked.
bool SomebodyIsThere();

// "y", "yes", "n" or "no", in English or French, any case; none for anything else.
std::optional<bool> YesOrNoIn(const std::string& entry);

// Asks until yes or no is answered; no when the person leaves. Only where somebody is there.
bool AskYesOrNo(const std::string& question);

}  // namespace ulix::cli
