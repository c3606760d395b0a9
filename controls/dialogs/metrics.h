// Sizes that follow the system's message font, and with it the resolution of the screen.
#pragma once

#include <windows.h>

#include <string>

namespace ulix::controls {

class Metrics {
 public:
  // At a resolution in dots an inch; 0 is the screen's.
  explicit Metrics(int dpi = 0);
  ~Metrics();
  Metrics(const Metrics&) = delete;
  Metrics& operator=(const Metrics&) = delete;

  HFONT font() const { return font_; }
  // Lengths in average characters and in lines of text.
  int Across(double characters) const { return static_cast<int>(characters * width_); }
  int Down(double lines) const { return static_cast<int>(lines * height_); }
  int WidthOf(const std::wstring& text) const;
  // How many lines a text takes that is broken to fit a width; one at least.
  int LinesOf(const std::wstring& text, int width) const;

 private:
  HFONT font_;
  int width_ = 0;
  int height_ = 0;
};

}  // namespace ulix::controls
