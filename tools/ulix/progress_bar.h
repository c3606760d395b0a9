// The progress of a long operation on a terminal, which Ctrl-C stops.
#pragma once

#include <atomic>
#include <string>

#include "tools/ulix/terminal_user.h"

namespace ulix::cli {

// A line such as "Reading...  [########............]  40 %  Reading measurement bloc 2 from 5", of at most `width`
// columns.
std::string ProgressLine(const ShownProgress& step, std::size_t width);

// Draws on a terminal only, and clears its line at the end. While it exists, the first Ctrl-C stops the operation.
class ProgressBar final : public TerminalUser {
 public:
  ProgressBar();
  bool interrupted() const { return interrupted_; }

  bool Progress(int) override { return !interrupted_; }
  bool ShowProgress(const ShownProgress& step) override;

 private:
  const std::atomic<bool>& interrupted_;
  std::string drawn_;
};

}  // namespace ulix::cli
