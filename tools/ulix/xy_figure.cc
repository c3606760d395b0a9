#include "tools/ulix/xy_figure.h"

#include <algorithm>
#include <array>
#include <cmath>
#include <limits>

#include "base/markup.h"
#include "base/numbers.h"
#include "tools/ulix/output.h"
#include "tools/ulix/svg_plot.h"

namespace ulix::cli {
namespace {

// All in pixels.
constexpr double kFigureWidth = 460, kHeight = 230;
constexpr double kLeft = 62, kRight = kFigureWidth - 10, kTop = 26, kBottom = kHeight - 38;
constexpr double kCharacter = 6.2;

constexpr std::array kSeriesColours = {"#333333", "#0072b2", "#d55e00", "#009e73", "#cc79a7", "#e69f00", "#56b4e9"};

struct Range {
  double low = std::numeric_limits<double>::infinity();
  double high = -std::numeric_limits<double>::infinity();
  void Include(double value) {
    if (!std::isfinite(value)) return;
    low = std::min(low, value);
    high = std::max(high, value);
  }
  void Widen(double share) {
    const double room = high > low ? (high - low) * share : std::max(std::abs(high) * 0.01, 1e-6);
    low -= room;
    high += room;
  }
  double Place(double value, double from, double to) const { return from + (value - low) / (high - low) * (to - from); }
};

class Drawing {
 public:
  Drawing(const XyFigure& figure, Language language) : figure_(figure), language_(language) {}
  std::string Svg();

 private:
  bool FindRanges();
  double X(double value) const { return x_.Place(value, kLeft, kRight); }
  double Y(double value) const { return y_.Place(value, kBottom, kTop); }
  void AddAxes();
  void AddLegend();
  void AddSeries(const XySeries& series);
  void AddText(double x, double y, const std::string& text, const char* anchor, const std::string& more = {});
  void AddLine(double x1, double y1, double x2, double y2, const std::string& stroke);

  const XyFigure& figure_;
  Language language_;
  Range x_, y_;
  std::string svg_;
};

std::string FigurePixel(double value) { return FormatFixed(value, 1); }

void Drawing::AddText(double x, double y, const std::string& text, const char* anchor, const std::string& more) {
  svg_ += "<text x=\"" + FigurePixel(x) + "\" y=\"" + FigurePixel(y) + "\" text-anchor=\"" + anchor + "\"" + more +
          ">" + Escaped(text) + "</text>\n";
}

void Drawing::AddLine(double x1, double y1, double x2, double y2, const std::string& stroke) {
  svg_ += "<line x1=\"" + FigurePixel(x1) + "\" y1=\"" + FigurePixel(y1) + "\" x2=\"" + FigurePixel(x2) + "\" y2=\"" +
          FigurePixel(y2) + "\" stroke=\"" + stroke + "\"/>\n";
}

bool Drawing::FindRanges() {
  for (const XySeries& series : figure_.series) {
    for (std::size_t k = 0; k < series.points.size(); ++k) {
      const double half = k < series.bars.size() ? series.bars[k] : 0;
      x_.Include(series.points[k].first);
      y_.Include(series.points[k].second - half);
      y_.Include(series.points[k].second + half);
    }
  }
  if (x_.low > x_.high || y_.low > y_.high) return false;
  if (figure_.band) y_.Include(figure_.band->first), y_.Include(figure_.band->second);
  x_.Widen(figure_.series.front().marks ? 0.05 : 0);
  y_.Widen(0.06);
  return true;
}

// The label of a tick. Zero is shown without a sign.
std::string TickText(double at, int decimals, Language language) {
  const std::string text = FormatFixed(at, decimals);
  const bool zero = text.find_first_of("123456789") == std::string::npos;
  return InLanguage(zero && text.starts_with('-') ? text.substr(1) : text, language);
}

void Drawing::AddAxes() {
  if (figure_.band) {
    const double top = Y(figure_.band->second), bottom = Y(figure_.band->first);
    svg_ += "<rect x=\"" + FigurePixel(kLeft) + "\" y=\"" + FigurePixel(top) + "\" width=\"" +
            FigurePixel(kRight - kLeft) + "\" height=\"" + FigurePixel(bottom - top) + "\" fill=\"#e7f2e7\"/>\n";
  }
  const Ticks ys = NiceTicks(y_.low, y_.high, 5);
  for (const double at : ys.at) {
    AddLine(kLeft, Y(at), kRight, Y(at), "#ddd");
    AddText(kLeft - 5, Y(at) + 4, TickText(at, ys.decimals, language_), "end");
  }
  const Ticks xs = NiceTicks(x_.low, x_.high, 6);
  for (const double at : xs.at) {
    AddLine(X(at), kBottom, X(at), kBottom + 4, "#888");
    AddText(X(at), kBottom + 16, TickText(at, xs.decimals, language_), "middle");
  }
  if (figure_.line_at) AddLine(X(*figure_.line_at), kTop, X(*figure_.line_at), kBottom, "#999");
  svg_ += "<rect x=\"" + FigurePixel(kLeft) + "\" y=\"" + FigurePixel(kTop) + "\" width=\"" +
          FigurePixel(kRight - kLeft) + "\" height=\"" + FigurePixel(kBottom - kTop) +
          "\" fill=\"none\" stroke=\"#888\"/>\n";
  AddText((kLeft + kRight) / 2, kHeight - 6, figure_.x_label, "middle");
  const std::string middle = FigurePixel((kTop + kBottom) / 2);
  AddText(14, (kTop + kBottom) / 2, figure_.y_label, "middle", " transform=\"rotate(-90 14 " + middle + ")\"");
}

// Adds as many names as there is room for.
void Drawing::AddLegend() {
  double x = kLeft;
  for (const XySeries& series : figure_.series) {
    if (series.name.empty() || series.points.empty()) continue;
    const double width = 24 + kCharacter * static_cast<double>(DisplayWidth(series.name));
    if (x + width > kFigureWidth) return AddText(x, 16, "…", "start");
    svg_ += "<rect x=\"" + FigurePixel(x) + "\" y=\"9\" width=\"12\" height=\"5\" fill=\"" +
            kSeriesColours[series.colour % kSeriesColours.size()] + "\"/>\n";
    AddText(x + 16, 16, series.name, "start");
    x += width + 8;
  }
}

void Drawing::AddSeries(const XySeries& series) {
  const std::string colour = kSeriesColours[series.colour % kSeriesColours.size()];
  std::string path;
  for (std::size_t k = 0; k < series.points.size(); ++k) {
    const auto& [x, y] = series.points[k];
    if (!std::isfinite(x) || !std::isfinite(y)) continue;
    if (k < series.bars.size()) AddLine(X(x), Y(y - series.bars[k]), X(x), Y(y + series.bars[k]), colour);
    if (series.marks) {
      svg_ += "<circle cx=\"" + FigurePixel(X(x)) + "\" cy=\"" + FigurePixel(Y(y)) + "\" r=\"2.5\" fill=\"" + colour +
              "\"/>\n";
    }
    path += (path.empty() ? "M" : " L") + FigurePixel(X(x)) + " " + FigurePixel(Y(y));
  }
  const std::string thin = series.marks ? " stroke-opacity=\"0.4\"" : "";
  svg_ += "<path d=\"" + path + "\" fill=\"none\" stroke=\"" + colour + "\"" + thin + "/>\n";
}

std::string Drawing::Svg() {
  if (figure_.series.empty() || !FindRanges()) return {};
  svg_ = "<svg viewBox=\"0 0 " + FigurePixel(kFigureWidth) + " " + FigurePixel(kHeight) +
         "\" font-family=\"Helvetica,Arial,sans-serif\" font-size=\"11\" fill=\"#333\" stroke-width=\"1.2\">\n";
  AddAxes();
  AddLegend();
  for (const XySeries& series : figure_.series) AddSeries(series);
  return svg_ + "</svg>\n";
}

}  // namespace

std::string FigureSvg(const XyFigure& figure, Language language) { return Drawing(figure, language).Svg(); }

}  // namespace ulix::cli
