#include "tools/ulix/progress_bar.h"

#include <algorithm>
#include <iostream>

#include "platform/terminal.h"
#include "tools/ulix/interrupt.h"
#include "tools/ulix/output.h"

namespace ulix::cli {
namespace {

constexpr std::size_t kBar = 20;

}  // namespace

std::string ProgressLine(const ShownProgress& step, std::size_t width) {
  const auto done = static_cast<std::size_t>(std::clamp(step.percent, 0, 100)) * kBar / 100;
  std::string percent = std::to_string(step.percent);
  percent.insert(0, 3 - std::min<std::size_t>(percent.size(), 3), ' ');
  const std::string line =
      step.title + "  [" + std::string(done, '#') + std::string(kBar - done, '.') + "] " + percent + " %  " + step.text;
  return Cut(Shown(line.substr(0, line.find_last_not_of(' ') + 1)), width);
}

ProgressBar::ProgressBar() : interrupted_(CatchInterrupts()) {}

bool ProgressBar::ShowProgress(const ShownProgress& step) {
  if (!OnTerminal()) return !interrupted_;
  const std::string line = ProgressLine(step, static_cast<std::size_t>(std::max(platform::TerminalWidth(), 2)) - 1);
  if (line != drawn_) std::cout << '\r' << line << "\x1b[K";
  drawn_ = line;
  if (step.percent >= 100) std::cout << "\r\x1b[K";
  std::cout.flush();
  return !interrupted_;
}

}  // namespace ulix::cli
