// A long operation on a terminal: a bar that Ctrl-C stops.
#pragma once

#include <atomic>
#include <string>

#include "tools/ulix/terminal_user.h"
#include "tools/ulix/words.h"

namespace ulix::cli {

// "Reading...  [########............]  40 %  Reading measurement bloc 2 from 5", at most `width` columns.
std::string ProgressLine(const ProgressStep& step, std::size_t width);

// Draws on a terminal only, and leaves its line empty at the end. From its making on the first Ctrl-C stops
// the operation.
class ProgressBar final : public TerminalUser {
 public:
  // `title` is what people are told who read another language than that of the operation's own texts, English.
  ProgressBar(CliWord title, Language language);
  bool interrupted() const { return interrupted_; }

  bool Progress(int) override { return !interrupted_; }
  bool ShowProgress(const ProgressStep& step) override;

 private:
  std::string title_;
  Language language_;
  const std::atomic<bool>& interrupted_;
  std::string drawn_;
};

}  // namespace ulix::cli
