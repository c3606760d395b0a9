// A block of lines at the end of a terminal that is redrawn in place.
#pragma once

#include <cstddef>
#include <string>
#include <vector>

namespace ulix::cli {

class ScreenBlock {
 public:
  // Replaces the lines shown before. Give fewer lines than the terminal has: others cannot be redrawn.
  void Show(const std::vector<std::string>& lines);
  // Leaves the block on the terminal. The next output is below it.
  void Leave() { drawn_ = 0; }

 private:
  std::size_t drawn_ = 0;
};

}  // namespace ulix::cli
