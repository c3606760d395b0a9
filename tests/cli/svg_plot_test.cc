#include "tools/ulix/svg_plot.h"

#include <gmock/gmock.h>

#include <limits>
#include <regex>

namespace ulix::cli {
namespace {

using testing::ElementsAre;
using testing::HasSubstr;
using testing::Not;

constexpr Date kNoon = 46053.5;  // 2026-01-31T12:00
constexpr Date kSecond = 1.0 / 86400;

PlotCurve Curve(std::vector<std::optional<float>> values, std::string name = "IN", std::string unit = "V") {
  PlotCurve curve{std::move(name), std::move(unit), {}};
  for (const auto& value : values) {
    curve.points.push_back({kNoon + static_cast<double>(curve.points.size()) * kSecond, value});
  }
  return curve;
}

std::size_t Count(const std::string& text, const std::string& piece) {
  std::size_t count = 0;
  for (std::size_t at = text.find(piece); at != std::string::npos; at = text.find(piece, at + 1)) ++count;
  return count;
}

// Every element is closed in its order, every attribute quoted, and nothing is outside the root.
void ExpectWellFormed(const std::string& svg) {
  static const std::regex tag(R"re(<(/?)([a-z]+)((?: [a-zA-Z0-9-]+="[^"<&]*(?:&[a-z]+;[^"<&]*)*")*)(/?)>)re");
  std::vector<std::string> open;
  std::string outside = svg;
  for (std::sregex_iterator it(svg.begin(), svg.end(), tag), end; it != end; ++it) {
    const std::smatch& match = *it;
    if (match[1].length() > 0) {
      ASSERT_FALSE(open.empty());
      EXPECT_EQ(open.back(), match[2].str());
      open.pop_back();
    } else if (match[4].length() == 0) {
      open.push_back(match[2]);
    }
  }
  EXPECT_TRUE(open.empty());
  EXPECT_THAT(std::regex_replace(svg, tag, ""), Not(HasSubstr("<")));
  EXPECT_THAT(svg, Not(HasSubstr("nan")));
  EXPECT_THAT(svg, Not(HasSubstr("inf")));
}

std::size_t CurvesDrawn(const std::string& svg) { return Count(svg, "class=\"curve\""); }

TEST(SvgPlotTest, DrawsAxesUnitsTimesAndALegend) {
  const std::string svg = PlotSvg("Kelvo10", {Curve({1, 2, 3, 4})});
  ExpectWellFormed(svg);
  for (const auto* text : {">Kelvo10<", ">IN (V)<", ">V<", ">12:00:01.0<", "Local time, 2026-01-31", ">3<"}) {
    EXPECT_THAT(svg, HasSubstr(text));
  }
  EXPECT_EQ(CurvesDrawn(svg), 2U);  // the legend's and the curve
}

TEST(SvgPlotTest, LeavesGapsWhereReadingsFailed) {
  const std::string svg = PlotSvg("", {Curve({1, 2, std::nullopt, 3, std::nullopt, 4, 5})});
  ExpectWellFormed(svg);
  EXPECT_EQ(CurvesDrawn(svg), 1U + 2U);
  EXPECT_EQ(Count(svg, "<circle"), 1U);  // the value between two failures
}

TEST(SvgPlotTest, GivesEachUnitItsPanelAndEachCurveItsLine) {
  const std::string svg = PlotSvg("", {Curve({1, 2}, "A", "V"), Curve({3, 4}, "B", "V"), Curve({20, 21}, "T", "°C")});
  ExpectWellFormed(svg);
  EXPECT_EQ(Count(svg, "class=\"frame\""), 2U);
  EXPECT_EQ(Count(svg, "#0072b2"), 2U);
  EXPECT_EQ(Count(svg, "#d55e00"), 2U);
  EXPECT_THAT(svg, HasSubstr(">°C<"));
}

TEST(SvgPlotTest, TellsManyCurvesApart) {
  std::vector<PlotCurve> curves;
  for (int k = 0; k < 20; ++k) curves.push_back(Curve({1, 2}, "channel " + std::to_string(k)));
  const std::string svg = PlotSvg("", curves);
  ExpectWellFormed(svg);
  EXPECT_THAT(svg, HasSubstr("stroke-dasharray"));
}

TEST(SvgPlotTest, EscapesTexts) {
  const std::string svg = PlotSvg("<b>\"A\" & B\x02</b>", {Curve({1, 2}, "</text>", "<&>")});
  ExpectWellFormed(svg);
  EXPECT_THAT(svg, HasSubstr("&lt;b&gt;&quot;A&quot; &amp; B &lt;/b&gt;"));
}

TEST(SvgPlotTest, DrawsDegenerateData) {
  constexpr float kHuge = std::numeric_limits<float>::max();
  const std::vector<std::vector<PlotCurve>> plots = {
      {},
      {Curve({})},
      {Curve({5})},
      {Curve({0, 0, 0})},
      {Curve({12.345F, 12.345F})},
      {Curve({1e-30F, 1e-30F})},
      {Curve({-kHuge, kHuge})},
      {Curve({std::numeric_limits<float>::infinity(), std::numeric_limits<float>::quiet_NaN(), 1})},
      {Curve({std::nullopt, std::nullopt})}};
  for (const auto& plot : plots) ExpectWellFormed(PlotSvg("", plot));
  EXPECT_THAT(PlotSvg("", plots.back()), HasSubstr("no data"));
  EXPECT_THAT(PlotSvg("", plots[2]), HasSubstr("<circle"));
}

TEST(SvgPlotTest, KeepsTheNumberOfTimeLabelsReadable) {
  for (const double seconds : {0.02, 0.3, 7.0, 200.0, 86400.0, 86400.0 * 400}) {
    PlotCurve curve = Curve({1, 2});
    curve.points.back().time = kNoon + seconds * kSecond;
    const std::string svg = PlotSvg("", {curve});
    const std::size_t labels = Count(svg, "\" text-anchor=\"middle\">") - 1;  // less the axis's own name
    EXPECT_GE(labels, 2U) << seconds;
    EXPECT_LE(labels, 9U) << seconds;
  }
}

TEST(NiceTicksTest, StandsOnRoundValuesInsideTheRange) {
  EXPECT_THAT(NiceTicks(0.3, 10.2, 5).at, ElementsAre(2, 4, 6, 8, 10));
  EXPECT_EQ(NiceTicks(0.3, 10.2, 5).decimals, 0);
  EXPECT_THAT(NiceTicks(-1, 1, 4).at, ElementsAre(-1, -0.5, 0, 0.5, 1));
  EXPECT_EQ(NiceTicks(12.30, 12.35, 5).decimals, 2);
}

}  // namespace
}  // namespace ulix::cli
