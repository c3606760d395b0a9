#include "tools/ulix/svg_plot.h"

#include <algorithm>
#include <array>
#include <cmath>
#include <limits>

#include "base/numbers.h"
#include "tools/ulix/output.h"

namespace ulix::cli {
namespace {

// All in pixels.
constexpr double kWidth = 960;
constexpr double kLeft = 84;
constexpr double kRight = kWidth - 24;
constexpr double kTitleLine = 30;
constexpr double kLegendLine = 54;
constexpr double kLegendStep = 20;
constexpr double kPanelGap = 22;
constexpr double kBelow = 58;
constexpr double kCharacter = 7.2;
constexpr double kSecondsPerDay = 86400;

// Told apart also by readers who see few colours; after a round of them the dashes change.
constexpr std::array kColours = {"#0072b2", "#d55e00", "#009e73", "#cc79a7",
                                 "#e69f00", "#56b4e9", "#6a3d9a", "#333333"};
constexpr std::array kDashes = {"", "6 3", "2 3", "8 3 2 3"};

// A range of values laid over a range of pixels.
struct Axis {
  double low = std::numeric_limits<double>::infinity();
  double high = -std::numeric_limits<double>::infinity();
  double from = 0;
  double to = 0;

  bool empty() const { return low > high; }
  void Include(double value) {
    low = std::min(low, value);
    high = std::max(high, value);
  }
  double Place(double value) const { return from + (value - low) / (high - low) * (to - from); }
};

struct Panel {
  std::string unit;
  std::vector<std::size_t> curves;  // places in the list of curves
  Axis y;
  bool has_values = false;
};

std::string Pixel(double value) { return FormatFixed(value, 1); }

std::string Escaped(const std::string& text) {
  std::string escaped;
  for (const char c : text) {
    switch (c) {
      case '&':
        escaped += "&amp;";
        break;
      case '<':
        escaped += "&lt;";
        break;
      case '>':
        escaped += "&gt;";
        break;
      case '"':
        escaped += "&quot;";
        break;
      default:
        // XML has no way to hold the other control characters.
        escaped += static_cast<unsigned char>(c) < 0x20U ? ' ' : c;
    }
  }
  return escaped;
}

std::string Label(double x, double y, const char* attributes, const std::string& text) {
  return "<text x=\"" + Pixel(x) + "\" y=\"" + Pixel(y) + "\" " + attributes + ">" + Escaped(text) + "</text>\n";
}

std::string Line(double x1, double y1, double x2, double y2, const char* style) {
  return "<line x1=\"" + Pixel(x1) + "\" y1=\"" + Pixel(y1) + "\" x2=\"" + Pixel(x2) + "\" y2=\"" + Pixel(y2) +
         "\" class=\"" + style + "\"/>\n";
}

std::string LineStyle(std::size_t curve) {
  const std::string dash = kDashes[curve / kColours.size() % kDashes.size()];
  return std::string("stroke=\"") + kColours[curve % kColours.size()] + "\"" +
         (dash.empty() ? "" : " stroke-dasharray=\"" + dash + "\"");
}

// What is drawn of a point: a value that is no finite number is a gap as well.
std::optional<double> Drawn(const PlotPoint& point) {
  if (!point.value || !std::isfinite(*point.value)) return std::nullopt;
  return *point.value;
}

// A range that can be drawn over: never empty, never of width 0.
void Widen(Axis& axis, double margin, double least) {
  if (axis.empty()) axis.low = axis.high = 0;
  const double around = axis.low == axis.high ? std::max(std::abs(axis.low) * 0.01, least) : 0;
  const double room = (axis.high - axis.low) * margin + around;
  axis.low -= room;
  axis.high += room;
}

Axis TimeAxis(const std::vector<PlotCurve>& curves) {
  Axis axis{.from = kLeft, .to = kRight};
  for (const PlotCurve& curve : curves) {
    for (const PlotPoint& point : curve.points) axis.Include(point.time);
  }
  if (axis.empty() || axis.low == axis.high) {
    const double middle = axis.empty() ? 0 : axis.low;
    axis.low = middle - 0.5 / kSecondsPerDay;
    axis.high = middle + 0.5 / kSecondsPerDay;
  }
  return axis;
}

std::vector<Panel> PanelsOf(const std::vector<PlotCurve>& curves) {
  std::vector<Panel> panels;
  for (std::size_t k = 0; k < curves.size(); ++k) {
    auto panel = std::find_if(panels.begin(), panels.end(), [&](const Panel& p) { return p.unit == curves[k].unit; });
    if (panel == panels.end()) panel = panels.insert(panels.end(), Panel{.unit = curves[k].unit});
    panel->curves.push_back(k);
    for (const PlotPoint& point : curves[k].points) {
      if (const auto value = Drawn(point)) panel->y.Include(*value);
    }
  }
  if (panels.empty()) panels.emplace_back();
  return panels;
}

// Stacks the panels from `top` down.
double LayOut(std::vector<Panel>& panels, double top) {
  const double height = panels.size() == 1 ? 340 : 220;
  for (Panel& panel : panels) {
    panel.has_values = !panel.y.empty();
    Widen(panel.y, 0.06, panel.has_values && panel.y.low != 0 ? 1e-9 : 1);
    panel.y.from = top + height;
    panel.y.to = top;
    top += height + kPanelGap;
  }
  return top - kPanelGap;
}

std::string TickLabel(double value, int decimals) {
  const double size = std::abs(value);
  const bool plain = size < 1e7 && decimals <= 7;
  const std::string text = plain ? FormatFixed(value, decimals) : FormatGeneral(value, 4);
  const bool negative_zero = text.starts_with('-') && text.find_first_of("123456789") == std::string::npos;
  return negative_zero ? text.substr(1) : text;
}

std::string ValueGrid(const Panel& panel) {
  std::string svg;
  const Ticks ticks = NiceTicks(panel.y.low, panel.y.high, 6);
  for (const double value : ticks.at) {
    const double y = panel.y.Place(value);
    svg += Line(kLeft, y, kRight, y, "grid");
    svg += Label(kLeft - 8, y + 4, "text-anchor=\"end\"", TickLabel(value, ticks.decimals));
  }
  return svg;
}

// Seconds between time ticks and how much of "2026-01-31T10:11:12.345" a label shows.
struct TimeStep {
  double seconds;
  std::size_t start;
  std::size_t length;
};
constexpr std::array kTimeSteps = {
    TimeStep{0.01, 11, 12}, TimeStep{0.02, 11, 12}, TimeStep{0.05, 11, 12}, TimeStep{0.1, 11, 10},
    TimeStep{0.2, 11, 10},  TimeStep{0.5, 11, 10},  TimeStep{1, 11, 8},     TimeStep{2, 11, 8},
    TimeStep{5, 11, 8},     TimeStep{10, 11, 8},    TimeStep{15, 11, 8},    TimeStep{30, 11, 8},
    TimeStep{60, 11, 5},    TimeStep{120, 11, 5},   TimeStep{300, 11, 5},   TimeStep{600, 11, 5},
    TimeStep{900, 11, 5},   TimeStep{1800, 11, 5},  TimeStep{3600, 11, 5},  TimeStep{7200, 11, 5},
    TimeStep{10800, 11, 5}, TimeStep{21600, 11, 5}, TimeStep{43200, 11, 5}, TimeStep{86400, 0, 10}};
constexpr double kTimeTicks = 7;

TimeStep TimeStepFor(double seconds) {
  const auto fits = [=](const TimeStep& step) { return seconds / step.seconds <= kTimeTicks; };
  const auto step = std::find_if(kTimeSteps.begin(), kTimeSteps.end(), fits);
  if (step != kTimeSteps.end()) return *step;
  const double days = std::ceil(seconds / kSecondsPerDay / kTimeTicks);
  return TimeStep{days * kSecondsPerDay, 0, 10};
}

std::string TimeGrid(const Axis& time, double top, double bottom) {
  std::string svg;
  const TimeStep step = TimeStepFor((time.high - time.low) * kSecondsPerDay);
  const double days = step.seconds / kSecondsPerDay;
  for (double k = std::ceil(time.low / days); k * days <= time.high; ++k) {
    const double x = time.Place(k * days);
    svg += Line(x, top, x, bottom, "grid");
    svg += Label(x, bottom + 18, "text-anchor=\"middle\"", IsoTime(k * days).substr(step.start, step.length));
  }
  const std::string day = IsoTime(time.low).substr(0, 10);
  return svg + Label((kLeft + kRight) / 2, bottom + 42, "text-anchor=\"middle\"", "Local time, " + day);
}

std::string Frame(const Panel& panel) {
  const double middle = (panel.y.from + panel.y.to) / 2;
  std::string svg = "<rect x=\"" + Pixel(kLeft) + "\" y=\"" + Pixel(panel.y.to) + "\" width=\"" +
                    Pixel(kRight - kLeft) + "\" height=\"" + Pixel(panel.y.from - panel.y.to) +
                    "\" class=\"frame\"/>\n";
  if (!panel.unit.empty()) {
    const std::string turned = "text-anchor=\"middle\" transform=\"rotate(-90 18 " + Pixel(middle) + ")\"";
    svg += Label(18, middle, turned.c_str(), panel.unit);
  }
  if (!panel.has_values) svg += Label((kLeft + kRight) / 2, middle, "text-anchor=\"middle\"", "no data");
  return svg;
}

// The curve between gaps: a path where points follow each other, a dot for a point between two gaps.
class CurvePath {
 public:
  explicit CurvePath(std::size_t curve) : curve_(curve) {}
  void Add(double x, double y) {
    run_ += (length_ == 0 ? "M" : " L") + Pixel(x) + " " + Pixel(y);
    if (length_++ == 0) dot_ = "<circle cx=\"" + Pixel(x) + "\" cy=\"" + Pixel(y) + "\" r=\"2.5\"";
  }
  void Break() {
    if (length_ == 1) svg_ += dot_ + " fill=\"" + kColours[curve_ % kColours.size()] + "\"/>\n";
    if (length_ > 1) svg_ += "<path d=\"" + run_ + "\" class=\"curve\" " + LineStyle(curve_) + "/>\n";
    run_.clear();
    length_ = 0;
  }
  const std::string& svg() const { return svg_; }

 private:
  std::size_t curve_;
  std::string svg_;
  std::string run_;
  std::string dot_;
  std::size_t length_ = 0;
};

std::string Curve(const PlotCurve& curve, std::size_t place, const Axis& time, const Axis& y) {
  CurvePath path(place);
  for (const PlotPoint& point : curve.points) {
    if (const auto value = Drawn(point)) {
      path.Add(time.Place(point.time), y.Place(*value));
    } else {
      path.Break();
    }
  }
  path.Break();
  return path.svg();
}

// Entries side by side, in as many lines as they take. `bottom` becomes the end of the last line.
std::string Legend(const std::vector<PlotCurve>& curves, double& bottom) {
  std::string svg;
  double x = kLeft;
  double y = kLegendLine;
  for (std::size_t k = 0; k < curves.size(); ++k) {
    const std::string text = curves[k].unit.empty() ? curves[k].name : curves[k].name + " (" + curves[k].unit + ")";
    const double width = 34 + static_cast<double>(DisplayWidth(text)) * kCharacter + 18;
    if (x > kLeft && x + width > kRight) {
      x = kLeft;
      y += kLegendStep;
    }
    svg += "<path d=\"M" + Pixel(x) + " " + Pixel(y - 4) + " h26\" class=\"curve\" " + LineStyle(k) + "/>\n";
    svg += Label(x + 34, y, "class=\"key\"", text);
    x += width;
  }
  bottom = y;
  return svg;
}

std::string Header(double height, const std::string& title) {
  return "<svg xmlns=\"http://www.w3.org/2000/svg\" width=\"" + Pixel(kWidth) + "\" height=\"" + Pixel(height) +
         "\" viewBox=\"0 0 " + Pixel(kWidth) + " " + Pixel(height) +
         "\" font-family=\"Helvetica, Arial, sans-serif\" font-size=\"12\" fill=\"#333333\">\n<title>" +
         Escaped(title) +
         "</title>\n<style>.grid{stroke:#dddddd;stroke-width:1}.frame{fill:none;stroke:#666666;stroke-width:1}"
         ".curve{fill:none;stroke-width:1.6;stroke-linejoin:round}</style>\n"
         "<rect width=\"100%\" height=\"100%\" fill=\"#ffffff\"/>\n" +
         Label(kLeft, kTitleLine, "font-size=\"16\" font-weight=\"bold\"", title);
}

}  // namespace

Ticks NiceTicks(double low, double high, int wanted) {
  const double raw = (high - low) / wanted;
  const double power = std::pow(10, std::floor(std::log10(raw)));
  const auto reaches = [=](double factor) { return factor * power >= raw * (1 - 1e-9); };
  constexpr std::array kFactors = {1.0, 2.0, 5.0, 10.0};
  const double step = *std::find_if(kFactors.begin(), kFactors.end() - 1, reaches) * power;
  Ticks ticks;
  ticks.decimals = std::max(0, -static_cast<int>(std::floor(std::log10(step) + 1e-9)));
  for (double k = std::ceil(low / step - 1e-9); k * step <= high + step * 1e-9; ++k) ticks.at.push_back(k * step);
  return ticks;
}

std::string PlotSvg(const std::string& title, const std::vector<PlotCurve>& curves) {
  double top = 0;
  const std::string legend = Legend(curves, top);
  std::vector<Panel> panels = PanelsOf(curves);
  const double first = top + 14;
  const double bottom = LayOut(panels, first);
  const Axis time = TimeAxis(curves);
  std::string svg = Header(bottom + kBelow, title) + legend + TimeGrid(time, first, bottom);
  for (const Panel& panel : panels) {
    svg += ValueGrid(panel) + Frame(panel);
    for (const std::size_t k : panel.curves) svg += Curve(curves[k], k, time, panel.y);
  }
  return svg + "</svg>\n";
}

}  // namespace ulix::cli
