#include "tools/ulix/question.h"

#include <iostream>

#include "base/text.h"
#include "platform/terminal.h"
#include "tools/ulix/interrupt.h"
#include "tools/ulix/output.h"
#include "tools/ulix/texts.h"

namespace ulix::cli {

bool SomebodyIsThere() { return platform::InputIsTerminal() && OnTerminal(); }

std::optional<bool> YesOrNoIn(const std::string& entry) {
  for (const Language language : {Language::kEnglish, Language::kFrench}) {
    for (const bool yes : {true, false}) {
      const std::string word = Localized(yes ? TextId::kYes : TextId::kNo, language);
      if (EqualIgnoringCase(entry, word) || EqualIgnoringCase(entry, word.substr(0, 1))) return yes;
    }
  }
  return std::nullopt;
}

bool AskYesOrNo(const std::string& question) {
  const std::atomic<bool>& interrupted = CatchInterrupts();
  for (;;) {
    std::cout << question << " [" << Shown(TextId::kTakesYesOrNo) << "]: " << std::flush;
    const auto line = platform::ReadTypedLine(interrupted);
    if (!line) return false;
    if (const auto answer = YesOrNoIn(std::string(Trimmed(*line)))) return *answer;
    std::cout << Shown(TextId::kTakesCheckBox) << '\n';
  }
}

}  // namespace ulix::cli
