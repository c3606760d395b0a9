#include "controls/dialogs/metrics.h"

#include <algorithm>

namespace ulix::controls {
namespace {

// The device context of the screen with a font selected.
class ScreenWith {
 public:
  explicit ScreenWith(HFONT font) : screen_(GetDC(nullptr)), before_(SelectObject(screen_, font)) {}
  ~ScreenWith() {
    SelectObject(screen_, before_);
    ReleaseDC(nullptr, screen_);
  }
  ScreenWith(const ScreenWith&) = delete;
  ScreenWith& operator=(const ScreenWith&) = delete;
  SIZE Measure(const std::wstring& text) const {
    SIZE size{};
    GetTextExtentPoint32W(screen_, text.c_str(), static_cast<int>(text.size()), &size);
    return size;
  }
  int HeightOfBroken(const std::wstring& text, int width) const {
    RECT place{0, 0, width, 0};
    DrawTextW(screen_, text.c_str(), -1, &place, DT_CALCRECT | DT_WORDBREAK | DT_NOPREFIX | DT_EDITCONTROL);
    return place.bottom;
  }

 private:
  HDC screen_;
  HGDIOBJ before_;
};

int ScreenDpi() {
  const HDC screen = GetDC(nullptr);
  const int dpi = GetDeviceCaps(screen, LOGPIXELSY);
  ReleaseDC(nullptr, screen);
  return dpi;
}

HFONT MessageFont(int dpi) {
  NONCLIENTMETRICSW metrics{};
  metrics.cbSize = sizeof(metrics);
  SystemParametersInfoW(SPI_GETNONCLIENTMETRICS, sizeof(metrics), &metrics, 0);
  if (dpi != 0) metrics.lfMessageFont.lfHeight = MulDiv(metrics.lfMessageFont.lfHeight, dpi, ScreenDpi());
  return CreateFontIndirectW(&metrics.lfMessageFont);
}

}  // namespace

Metrics::Metrics(int dpi) : font_(MessageFont(dpi)) {
  const std::wstring alphabet = L"abcdefghijklmnopqrstuvwxyzABCDEFGHIJKLMNOPQRSTUVWXYZ";
  const SIZE size = ScreenWith(font_).Measure(alphabet);
  width_ = static_cast<int>((static_cast<std::size_t>(size.cx) + alphabet.size() - 1) / alphabet.size());
  height_ = size.cy;
}

Metrics::~Metrics() { DeleteObject(font_); }

int Metrics::WidthOf(const std::wstring& text) const { return ScreenWith(font_).Measure(text).cx; }

int Metrics::LinesOf(const std::wstring& text, int width) const {
  const int height = ScreenWith(font_).HeightOfBroken(text, width);
  return std::max(1, (height + height_ - 1) / height_);
}

}  // namespace ulix::controls
