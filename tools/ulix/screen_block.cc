#include "tools/ulix/screen_block.h"

#include <iostream>

namespace ulix::cli {

void ScreenBlock::Show(const std::vector<std::string>& lines) {
  std::string text;
  if (drawn_ > 0) text = "\x1b[" + std::to_string(drawn_) + "A";
  for (const std::string& line : lines) text += "\r" + line + "\x1b[K\n";
  // Removes the remaining lines of a previous, longer block.
  if (lines.size() < drawn_) text += "\x1b[J";
  std::cout << text << std::flush;
  drawn_ = lines.size();
}

}  // namespace ulix::cli
