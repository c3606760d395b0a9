// Lines at the end of a terminal that are drawn again in place.
#pragma once

#include <cstddef>
#include <string>
#include <vector>

namespace ulix::cli {

class ScreenBlock {
 public:
  // In place of the lines that were shown before. What does not fit on the terminal cannot be drawn again: the caller
  // gives fewer lines than it has.
  void Show(const std::vector<std::string>& lines);
  // What comes next stands below.
  void Leave() { drawn_ = 0; }

 private:
  std::size_t drawn_ = 0;
};

}  // namespace ulix::cli
