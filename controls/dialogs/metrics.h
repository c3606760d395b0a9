// Sizes in units of the system's message font, and therefore of the resolution of the screen.
#pragma once

#include <windows.h>

#include <string>

namespace ulix::controls {

class Metrics {
 public:
  // `dpi` is the resolution in dots per inch; 0 stands for the resolution of the screen.
  explicit Metrics(int dpi = 0);
  ~Metrics();
  Metrics(const Metrics&) = delete;
  Metrics& operator=(const Metrics&) = delete;

  HFONT font() const { return font_; }
  // Convert a width in average characters and a height in lines of text to pixels.
  int Across(double characters) const { return static_cast<int>(characters * width_); }
  int Down(double lines) const { return static_cast<int>(lines * height_); }
  int WidthOf(const std::wstring& text) const;
  // The number of lines of a text broken at `width` pixels; at least one.
  int LinesOf(const std::wstring& text, int width) const;

 private:
  HFONT font_;
  int width_ = 0;
  int height_ = 0;
};

}  // namespace ulix::controls
