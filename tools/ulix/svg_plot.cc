#include "tools/ulix/svg_plot.h"

#include <algorithm>
#include <array>
#include <cmath>
#include <limits>

#include "base/markup.h"
#include "base/numbers.h"
#include "tools/ulix/output.h"
#include "tools/ulix/texts.h"
#include "tools/ulix/time_axis.h"

namespace ulix::cli {
namespace {

// Lengths in pixels.
constexpr double kWidth = 960;
constexpr double kMinLeft = 56;
constexpr double kMinRight = 36;  // margin at the right edge
constexpr double kTitleLine = 30;
constexpr double kTitleHeight = 44;
constexpr double kAbove = 8;  // margin above a drawing in a page, which has no title
constexpr double kLegendStep = 20;
constexpr double kPanelGap = 12;
constexpr double kBelow = 66;
constexpr double kTick = 5;
constexpr double kTitleCharacter = 9.4;
constexpr double kCrossHalf = 4;  // half the width of a cross
constexpr double kMarkStep = 10;
constexpr std::size_t kMarkRows = 12;
constexpr double kNameStep = 13;         // distance between names at the end of curves
constexpr std::size_t kMaxEndName = 14;  // characters
constexpr std::size_t kMaxOfAName = 60;  // characters

// An upper bound of the text's width in any usual font, so that texts do not overlap.
double TextWidth(const std::string& text) {
  constexpr double kNarrow = 7.2, kCapital = 9.2, kWidest = 12;
  double width = 0;
  for (const char c : text) {
    const auto byte = static_cast<unsigned char>(c);
    if ((byte & 0xC0U) == 0x80U) continue;
    const bool capital = (c >= 'A' && c <= 'Z') || c == 'm' || c == 'w';
    width += byte >= 0x80U || c == 'W' || c == 'M' || c == '@' || c == '%' ? kWidest : capital ? kCapital : kNarrow;
  }
  return width;
}

// Colours that colour-blind readers can distinguish as well. After one round of colours the dash pattern changes.
constexpr std::array kColours = {"#0072b2", "#d55e00", "#009e73", "#cc79a7",
                                 "#e69f00", "#56b4e9", "#6a3d9a", "#333333"};
constexpr std::array kDashes = {"", "6 3", "2 3", "8 3 2 3"};

// Maps a range of values to a range of pixels.
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

// A run of successive failed readings of one curve.
struct Outage {
  double from = 0;  // pixels
  double to = 0;
};

struct Panel {
  std::string unit;
  std::vector<std::size_t> curves;           // indices in the list of curves
  std::vector<std::vector<Outage>> outages;  // for each of these curves
  Axis y;
  bool has_values = false;
  int exponent = 0;  // a label times 10^exponent is the value
  std::vector<std::pair<double, std::string>> labels;
  double top = 0;           // top of the legend
  bool right_axis = false;  // drawn over the previous panel, with its axis on the right

  bool has_outages() const {
    return std::any_of(outages.begin(), outages.end(), [](const auto& list) { return !list.empty(); });
  }
};

// A plot under construction.
struct Plot {
  const std::vector<PlotCurve>& curves;
  Language language;
  std::vector<Panel> panels;
  Axis time;
  bool has_points = false;
  double left = kMinLeft;
  double right = kWidth - kMinRight;
  double bottom = 0;  // bottom of the last panel
};

std::string Pixel(double value) { return FormatFixed(value, 1); }

std::string Label(double x, double y, const std::string& attributes, const std::string& text) {
  return "<text x=\"" + Pixel(x) + "\" y=\"" + Pixel(y) + "\"" + (attributes.empty() ? "" : " ") + attributes + ">" +
         Escaped(text) + "</text>\n";
}

std::string Line(double x1, double y1, double x2, double y2, const char* style) {
  return "<line x1=\"" + Pixel(x1) + "\" y1=\"" + Pixel(y1) + "\" x2=\"" + Pixel(x2) + "\" y2=\"" + Pixel(y2) +
         "\" class=\"" + style + "\"/>\n";
}

std::string Box(double x, double y, double width, double height, const char* style,
                const std::string& more = std::string()) {
  return "<rect x=\"" + Pixel(x) + "\" y=\"" + Pixel(y) + "\" width=\"" + Pixel(width) + "\" height=\"" +
         Pixel(height) + "\" class=\"" + style + "\"" + (more.empty() ? "" : " ") + more + "/>\n";
}

const char* ColourOf(std::size_t curve) { return kColours[curve % kColours.size()]; }

std::string LineStyle(std::size_t curve) {
  const std::string dash = kDashes[curve / kColours.size() % kDashes.size()];
  return std::string("stroke=\"") + ColourOf(curve) + "\"" + (dash.empty() ? "" : " stroke-dasharray=\"" + dash + "\"");
}

std::string Cross(double x, double y) {
  const std::string size = Pixel(2 * kCrossHalf);
  return "M" + Pixel(x - kCrossHalf) + " " + Pixel(y - kCrossHalf) + " l" + size + " " + size + " m-" + size + " 0 l" +
         size + " -" + size;
}

// --- ranges and labels ---

// Widens the range of the axis by a margin, so that it is never empty and never of width 0.
void Widen(Axis& axis, double margin) {
  if (axis.empty()) axis.low = axis.high = 0;
  const double size = std::max(std::abs(axis.low), std::abs(axis.high));
  const double around = axis.low == axis.high ? (size == 0 ? 1 : size * 0.01) : 0;
  const double room = (axis.high - axis.low) * margin + around;
  axis.low -= room;
  axis.high += room;
}

void FindTimes(Plot& plot) {
  for (const PlotCurve& curve : plot.curves) {
    for (const PlotPoint& point : curve.points) plot.time.Include(point.time);
  }
  plot.has_points = !plot.time.empty();
  if (!plot.has_points) plot.time.low = plot.time.high = 0;
  constexpr double kHalfSecond = 0.5 / kSecondsPerDay;
  const double around = plot.time.low == plot.time.high ? kHalfSecond : 0;
  plot.time.low -= around;
  plot.time.high += around;
  plot.time.from = plot.left;
  plot.time.to = plot.right;
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
  if (panels.size() == 2) panels.back().right_axis = true;
  return panels;
}

// The power of ten to take out of the labels: 0 for values that are readable as they are, else a multiple of three.
int ExponentOf(const Axis& axis) {
  constexpr double kMinPlain = 1e-3;
  constexpr double kMaxPlain = 1e6;
  const double size = std::max(std::abs(axis.low), std::abs(axis.high));
  if (size >= kMinPlain && size < kMaxPlain) return 0;
  return 3 * static_cast<int>(std::floor(std::log10(size) / 3));
}

// A number in the notation of the language; -0 becomes 0.
std::string TickLabel(double value, int decimals, Language language) {
  std::string text = FormatFixed(value, decimals);
  if (text.starts_with('-') && text.find_first_of("123456789") == std::string::npos) text.erase(0, 1);
  return InLanguage(text, language);
}

void FindLabels(Panel& panel, Language language) {
  panel.has_values = !panel.y.empty();
  Widen(panel.y, 0.06);
  if (!panel.has_values) return;
  panel.exponent = ExponentOf(panel.y);
  const double scale = std::pow(10, panel.exponent);
  const Ticks ticks = NiceTicks(panel.y.low / scale, panel.y.high / scale, 6);
  for (const double at : ticks.at) panel.labels.emplace_back(at * scale, TickLabel(at, ticks.decimals, language));
}

void FindOutages(Plot& plot, Panel& panel) {
  for (const std::size_t k : panel.curves) {
    std::vector<Outage>& outages = panel.outages.emplace_back();
    bool failed = false;
    for (const PlotPoint& point : plot.curves[k].points) {
      const double x = plot.time.Place(point.time);
      const bool fails = !Drawn(point);
      if (fails && !failed) outages.push_back({x, x});
      if (fails) outages.back().to = x;
      failed = fails;
    }
  }
}

// --- legends ---

bool HasDoubts(const Plot& plot, const Panel& panel) {
  return std::any_of(panel.curves.begin(), panel.curves.end(), [&](std::size_t k) {
    const auto& points = plot.curves[k].points;
    return std::any_of(points.begin(), points.end(), [](const PlotPoint& point) { return point.doubtful; });
  });
}

struct Entry {
  std::string text;
  std::string sign;  // SVG of the line sample, 26 pixels wide, drawn before the text with its origin at (0, 0)
};

std::vector<Entry> EntriesOf(const Plot& plot, const Panel& panel) {
  std::vector<Entry> entries;
  for (const std::size_t k : panel.curves) {
    entries.push_back(
        {Cut(plot.curves[k].name, kMaxOfAName), "<path d=\"M0 0 h26\" class=\"curve\" " + LineStyle(k) + "/>"});
  }
  if (panel.has_outages()) {
    entries.push_back({Shown(TextId::kReadingFailed, plot.language),
                       Box(0, -6, 26, 12, "key", "fill-opacity=\"0.18\"") + "<path d=\"" + Cross(13, 0) +
                           "\" class=\"fail\" stroke=\"#555555\"/>"});
  }
  if (HasDoubts(plot, panel)) {
    entries.push_back({Shown(TextId::kDoubtfulReading, plot.language), Label(20, 4, "font-weight=\"bold\"", "?")});
  }
  return entries;
}

std::string UnitText(const Panel& panel, Language language) {
  std::string unit = panel.unit.empty() ? Shown(TextId::kValue, language) : panel.unit;
  if (panel.exponent == 0) return unit;
  static constexpr std::array kRaised = {"⁰", "¹", "²", "³", "⁴", "⁵", "⁶", "⁷", "⁸", "⁹"};
  std::string power = "10";
  for (const char c : std::to_string(panel.exponent))
    power += c == '-' ? "⁻" : kRaised[static_cast<std::size_t>(c - '0')];
  return power + " " + unit;
}

// Draws the legend: the unit, then the entries side by side, in as many lines as needed. Sets `bottom` to the end of
// the last line.
std::string Legend(const Plot& plot, const Panel& panel, double& bottom) {
  std::string unit = UnitText(panel, plot.language);
  const bool two_axes = plot.panels.back().right_axis;
  if (two_axes) unit = panel.right_axis ? unit + " →" : "← " + unit;
  const double start = plot.left + TextWidth(unit) + 24;
  double x = start;
  double y = panel.top + 14;
  std::string svg = Label(plot.left, y, "font-weight=\"bold\"", unit);
  for (const Entry& entry : EntriesOf(plot, panel)) {
    const double width = 34 + TextWidth(entry.text) + 18;
    if (x > start && x + width > plot.right) {
      x = start;
      y += kLegendStep;
    }
    svg += "<g transform=\"translate(" + Pixel(x) + " " + Pixel(y - 4) + ")\">" + entry.sign + "</g>";
    svg += Label(x + 34, y, "class=\"key\"", entry.text);
    x += width;
  }
  bottom = y + 8;
  return svg;
}

// --- panels ---

std::string ValueGrid(const Plot& plot, const Panel& panel) {
  std::string svg;
  for (const auto& [value, text] : panel.labels) {
    const double y = panel.y.Place(value);
    svg += panel.right_axis
               ? Line(plot.right, y, plot.right + kTick, y, "frame") + Label(plot.right + 8, y + 4, "", text)
               : Line(plot.left, y, plot.right, y, "grid") + Label(plot.left - 8, y + 4, "text-anchor=\"end\"", text);
  }
  return svg;
}

// Draws the time axis and its grid. The name of the axis is below the days, if there are days.
std::string TimeGrid(const Plot& plot) {
  std::string svg;
  if (!plot.has_points) return svg;
  double name = plot.bottom + 40;
  for (const TimeTick& tick : TimeTicks(plot.time.low, plot.time.high, plot.language)) {
    const double x = plot.time.Place(tick.at);
    for (const Panel& panel : plot.panels) {
      if (!panel.right_axis) svg += Line(x, panel.y.to, x, panel.y.from, "grid");
    }
    svg += Label(x, plot.bottom + 18, "text-anchor=\"middle\"", tick.label);
    if (tick.day.empty()) continue;
    svg += Label(x, plot.bottom + 33, "text-anchor=\"middle\" class=\"key\"", tick.day);
    name = plot.bottom + 54;
  }
  return svg + Label((plot.left + plot.right) / 2, name, "text-anchor=\"middle\"",
                     TimeAxisName(plot.time.low, plot.time.high, plot.language));
}

std::string Frame(const Plot& plot, const Panel& panel) {
  if (panel.right_axis) return {};
  const double height = panel.y.from - panel.y.to;
  std::string svg = Box(plot.left, panel.y.to, plot.right - plot.left, height, "frame");
  if (panel.has_values) return svg;
  return svg + Label((plot.left + plot.right) / 2, panel.y.to + height / 2, "text-anchor=\"middle\"",
                     Shown(TextId::kNoData, plot.language));
}

// Draws each outage as a pale band in the colour of the curve. At the bottom of the panel each curve has a row in which
// a bar that begins with a cross shows the outage.
std::string Outages(const Panel& panel) {
  std::string bands, marks;
  for (std::size_t k = 0; k < panel.outages.size(); ++k) {
    const std::string colour = ColourOf(panel.curves[k]);
    const std::string fill = "fill=\"" + colour + "\"";
    const double y = panel.y.from - 8 - static_cast<double>(panel.curves[k] % kMarkRows) * kMarkStep;
    std::string crosses;
    for (const auto& [from, to] : panel.outages[k]) {
      bands += Box(from - 1, panel.y.to, to - from + 2, panel.y.from - panel.y.to, "outage", fill);
      marks += Box(from, y - kCrossHalf, to - from, 2 * kCrossHalf, "foot", fill);
      crosses += Cross(from, y);
    }
    if (!crosses.empty()) marks += "<path d=\"" + crosses + "\" class=\"fail\" stroke=\"" + colour + "\"/>\n";
  }
  return bands + marks;
}

// Draws a curve: a path through successive points, and a dot for a single point between two gaps.
class CurvePath {
 public:
  explicit CurvePath(std::size_t curve) : curve_(curve) {}
  void Add(double x, double y) {
    run_ += (length_ == 0 ? "M" : " L") + Pixel(x) + " " + Pixel(y);
    if (length_++ == 0) dot_ = "<circle cx=\"" + Pixel(x) + "\" cy=\"" + Pixel(y) + "\" r=\"2.5\"";
  }
  void Break() {
    if (length_ == 1) svg_ += dot_ + " fill=\"" + ColourOf(curve_) + "\"/>\n";
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

std::string Curve(const Plot& plot, const Panel& panel, std::size_t k) {
  CurvePath path(k);
  for (const PlotPoint& point : plot.curves[k].points) {
    if (const auto value = Drawn(point)) {
      path.Add(plot.time.Place(point.time), panel.y.Place(*value));
    }
    if (!Drawn(point) || point.late) path.Break();
  }
  path.Break();
  return path.svg();
}

// Draws a '?' above each doubtful value, in the colour of the curve.
std::string Doubts(const Plot& plot, const Panel& panel, std::size_t k) {
  std::string svg;
  for (const PlotPoint& point : plot.curves[k].points) {
    const auto value = Drawn(point);
    if (!point.doubtful || !value) continue;
    svg += Label(plot.time.Place(point.time), panel.y.Place(*value) - 6,
                 "text-anchor=\"middle\" font-weight=\"bold\" fill=\"" + std::string(ColourOf(k)) + "\"", "?");
  }
  return svg;
}

// With more curves than colours, curves are named at their end too.
bool NamesAtEnds(const Panel& panel) { return panel.curves.size() > kColours.size() && !panel.right_axis; }

struct EndName {
  std::size_t curve = 0;
  double at = 0;  // vertical position of the curve's end
  double y = 0;   // vertical position of the name
};

// The names at the ends of the curves, from top to bottom. A name is beside the end of its curve, or as near as the
// names above it allow.
std::vector<EndName> EndNamesOf(const Plot& plot, const Panel& panel) {
  std::vector<EndName> names;
  for (const std::size_t k : panel.curves) {
    const auto& points = plot.curves[k].points;
    const auto last =
        std::find_if(points.rbegin(), points.rend(), [](const PlotPoint& p) { return Drawn(p).has_value(); });
    if (last != points.rend()) names.push_back({k, panel.y.Place(*Drawn(*last)), 0});
  }
  std::sort(names.begin(), names.end(), [](const EndName& a, const EndName& b) { return a.at < b.at; });
  double free_from = panel.y.to;
  for (EndName& name : names) {
    name.y = std::max(name.at, free_from);
    free_from = name.y + kNameStep;
  }
  double free_to = panel.y.from;
  for (std::size_t k = names.size(); k-- > 0;) {
    EndName& name = names[k];
    name.y = std::min(name.y, free_to);
    free_to = name.y - kNameStep;
  }
  return names;
}

std::string EndNames(const Plot& plot, const Panel& panel) {
  std::string svg;
  if (!NamesAtEnds(panel)) return svg;
  for (const EndName& name : EndNamesOf(plot, panel)) {
    const std::string colour = ColourOf(name.curve);
    svg += "<path d=\"M" + Pixel(plot.right) + " " + Pixel(name.at) + " L" + Pixel(plot.right + 12) + " " +
           Pixel(name.y) + "\" class=\"lead\" stroke=\"" + colour + "\"/>";
    svg +=
        Label(plot.right + 15, name.y + 4, "fill=\"" + colour + "\"", Cut(plot.curves[name.curve].name, kMaxEndName));
  }
  return svg;
}

std::string Header(double height, const std::string& title, PlotPlace place) {
  const bool file = place == PlotPlace::kFile;
  std::string svg = "<svg ";
  if (file)
    svg += "xmlns=\"http://www.w3.org/2000/svg\" width=\"" + Pixel(kWidth) + "\" height=\"" + Pixel(height) + "\" ";
  svg += "viewBox=\"0 0 " + Pixel(kWidth) + " " + Pixel(height) +
         "\" font-family=\"Helvetica, Arial, sans-serif\" font-size=\"12\" fill=\"#333333\">\n<title>" +
         Escaped(title) +
         "</title>\n<style>.grid{stroke:#dddddd;stroke-width:1}.frame{fill:none;stroke:#666666;stroke-width:1}"
         ".curve{fill:none;stroke-width:1.6;stroke-linejoin:round}.outage{fill-opacity:0.13}.foot{fill-opacity:0.55}."
         "lead{fill:none;stroke-width:0.8}"
         ".fail{fill:none;stroke-width:1.6}.key{fill:#555555}</style>\n"
         "<rect width=\"100%\" height=\"100%\" fill=\"#ffffff\"/>\n";
  const auto most = static_cast<std::size_t>((kWidth - 2 * kMinLeft) / kTitleCharacter);
  if (file) svg += Label(kMinLeft, kTitleLine, "font-size=\"16\" font-weight=\"bold\"", Cut(title, most));
  return svg;
}

// The width that the labels of an axis need.
double LabelRoom(const Panel& panel) {
  double widest = 0;
  for (const auto& label : panel.labels) widest = std::max(widest, TextWidth(label.second));
  return widest + 16;
}

double EndNameRoom(const Plot& plot, const Panel& panel) {
  double widest = 0;
  if (!NamesAtEnds(panel)) return widest;
  for (const std::size_t k : panel.curves) widest = std::max(widest, TextWidth(Cut(plot.curves[k].name, kMaxEndName)));
  return widest + 20;
}

// Determines the ranges and the labels, and from these the room for the labels.
Plot Prepare(const std::vector<PlotCurve>& curves, Language language) {
  Plot plot{.curves = curves, .language = language, .panels = PanelsOf(curves)};
  double right = kMinRight;
  for (Panel& panel : plot.panels) {
    FindLabels(panel, language);
    if (!panel.right_axis) plot.left = std::max(plot.left, LabelRoom(panel));
    right = std::max({right, panel.right_axis ? LabelRoom(panel) : 0, EndNameRoom(plot, panel)});
  }
  plot.right = kWidth - right;
  FindTimes(plot);
  for (Panel& panel : plot.panels) FindOutages(plot, panel);
  return plot;
}

// The height of a panel. It depends on whether the panel is the only one, and on the names at the ends of its curves.
double HeightOf(const Plot& plot, const Panel& panel) {
  const bool alone = plot.panels.size() == 1 || plot.panels.back().right_axis;
  const double names = NamesAtEnds(panel) ? static_cast<double>(panel.curves.size() + 1) * kNameStep : 0;
  return std::max(alone ? 340.0 : 200.0, names);
}

// Places the panels and their legends from `top` downwards. A panel with two axes has both legends above it.
std::string LayOut(Plot& plot, double top) {
  std::string legends;
  const bool two_axes = plot.panels.back().right_axis;
  double height = 0;
  for (Panel& panel : plot.panels) {
    panel.top = top;
    legends += Legend(plot, panel, top);
    height = std::max(two_axes ? height : 0, HeightOf(plot, panel));
    panel.y.to = top;
    panel.y.from = top + height;
    plot.bottom = panel.y.from;
    if (!two_axes) top = plot.bottom + kPanelGap;
  }
  if (!two_axes) return legends;
  plot.panels.front().y.to = plot.panels.back().y.to;
  plot.panels.front().y.from = plot.panels.back().y.from;
  return legends;
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

std::string PlotSvg(const std::string& title, const std::vector<PlotCurve>& curves, Language language,
                    PlotPlace place) {
  std::vector<PlotCurve> drawn = curves;
  for (PlotCurve& curve : drawn)
    curve.points = Thinned(curve.points, static_cast<std::size_t>(kWidth - kMinLeft - kMinRight));
  Plot plot = Prepare(drawn, language);
  const std::string legends = LayOut(plot, place == PlotPlace::kFile ? kTitleHeight : kAbove);
  std::string svg = Header(plot.bottom + kBelow, title, place) + legends + TimeGrid(plot);
  for (const Panel& panel : plot.panels) {
    svg += ValueGrid(plot, panel) + Outages(panel);
    for (const std::size_t k : panel.curves) svg += Curve(plot, panel, k) + Doubts(plot, panel, k);
    svg += Frame(plot, panel) + EndNames(plot, panel);
  }
  return svg + "</svg>\n";
}

}  // namespace ulix::cli
