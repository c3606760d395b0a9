// The contents of a plot. The contract tests check with an XML parser that whole reports and plots are well-formed.
#include "tools/ulix/svg_plot.h"

#include <gmock/gmock.h>

#include <cmath>
#include <limits>
#include <set>

#include "tools/ulix/time_axis.h"

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

std::string Draw(const std::vector<PlotCurve>& curves, const std::string& title = "",
                 Language language = Language::kEnglish) {
  const std::string svg = PlotSvg(title, curves, language);
  EXPECT_THAT(svg, testing::AllOf(Not(HasSubstr("nan")), Not(HasSubstr("inf"))));
  return svg;
}

TEST(SvgPlotTest, Plot_HasAxesUnitsTimesAndAnEscapedLegend) {
  const std::string svg = Draw({Curve({1.25, 2, 3, 4})}, "<b>\"A\" & B\x02</b>");
  for (const auto* text : {">&lt;b&gt;&quot;A&quot; &amp; B &lt;/b&gt;<", ">IN<", ">V<", ">12:00:01.0<",
                           "Local time, 2026-01-31", ">3<"}) {
    EXPECT_THAT(svg, HasSubstr(text));
  }
  EXPECT_EQ(Count(svg, "class=\"curve\""), 2U);  // the legend's and the curve
  EXPECT_THAT(svg, Not(HasSubstr("reading failed")));
  EXPECT_THAT(Draw({Curve({1.25, 1.5})}, "", Language::kFrench), HasSubstr(">1,25<"));
}

TEST(SvgPlotTest, FailedReadings_AreGapsWithMarks) {
  const std::string svg =
      Draw({Curve({1, 2, std::nullopt, 3, std::nullopt, std::nullopt, 4, 5}), Curve({1, 2, std::nullopt})});
  EXPECT_EQ(Count(svg, "class=\"curve\""), 2U + 3U);
  EXPECT_EQ(Count(svg, "<circle"), 1U);                            // the value between two failures
  EXPECT_EQ(Count(svg, "class=\"outage\" fill=\"#0072b2\""), 2U);  // each curve has bands of its own
  EXPECT_EQ(Count(svg, "class=\"outage\" fill=\"#d55e00\""), 1U);
  EXPECT_THAT(svg, HasSubstr(">reading failed<"));
}

TEST(SvgPlotTest, LateAndDoubtfulValues_EndTheLineAndAreMarked) {
  PlotCurve curve = Curve({1, 2, 3, 4});
  curve.points[1].late = true;
  curve.points[2].doubtful = true;
  const std::string svg = Draw({curve});
  EXPECT_EQ(Count(svg, "class=\"curve\""), 1U + 2U);
  EXPECT_EQ(Count(svg, ">?<"), 2U);  // the legend's and the value's
}

TEST(SvgPlotTest, SeveralUnits_HaveAnAxisEachAndBeyondTwoAPanel) {
  std::vector<PlotCurve> curves = {Curve({1, 2}, "A", "V"), Curve({3, 4}, "B", "V"), Curve({2e-6F, 1e-6F}, "T", "mA")};
  const std::string svg = Draw(curves);
  EXPECT_EQ(Count(svg, "<rect"), 2U);  // the background and one frame
  EXPECT_THAT(svg, testing::AllOf(HasSubstr(">← V<"), HasSubstr(">10⁻⁶ mA →<")));
  curves.push_back(Curve({7, 8}, "P", "bar"));
  EXPECT_EQ(Count(Draw(curves), "<rect"), 4U);
  for (int k = 0; k < 20; ++k) curves.push_back(Curve({1, 2}, "channel " + std::to_string(k)));
  const std::string many = Draw(curves);
  EXPECT_THAT(many, HasSubstr("stroke-dasharray"));
  EXPECT_EQ(Count(many, ">channel 19<"), 2U);  // in the legend and at the curve's end
}

TEST(SvgPlotTest, DegenerateData_IsDrawn) {
  constexpr float kHuge = std::numeric_limits<float>::max(), kInfinity = std::numeric_limits<float>::infinity();
  for (const auto& values : std::vector<std::vector<std::optional<float>>>{
           {}, {0, 0, 0}, {12.345F, 12.345F}, {1e-30F, 1e-30F}, {-kHuge, kHuge}, {kInfinity, std::nanf(""), 1}}) {
    Draw({Curve(values)});
  }
  EXPECT_THAT(Draw({}) + Draw({Curve({std::nullopt, std::nullopt})}), HasSubstr("no data"));
  EXPECT_THAT(Draw({Curve({5})}), HasSubstr("<circle"));
}

TEST(SvgPlotTest, LongScan_KeepsExtremesAndFailuresInASmallDrawing) {
  PlotCurve curve = Curve({});
  for (int k = 0; k < 400'000; ++k) {
    std::optional<float> value = std::sin(static_cast<float>(k));
    if (k == 123'456) value = 50.0F;
    if (k == 234'567) value.reset();
    curve.Add({kNoon + k * 0.1 * kSecond, value});
  }
  EXPECT_LE(curve.points.size(), 100'000U);
  const auto peak = [](const PlotPoint& point) { return point.value == 50.0F; };
  EXPECT_EQ(std::count_if(curve.points.begin(), curve.points.end(), peak), 1);
  const std::string svg = Draw({curve});
  EXPECT_LE(svg.size(), 100'000U);
  EXPECT_EQ(Count(svg, "class=\"outage\""), 1U);
}

TEST(TimeAxisTest, Marks_AreFewAndDistinct) {
  for (const double seconds : {0.004, 0.02, 0.3, 7.0, 200.0, 86400.0, 86400.0 * 3, 86400.0 * 400}) {
    const auto ticks = TimeTicks(kNoon, kNoon + seconds * kSecond, Language::kEnglish);
    EXPECT_GE(ticks.size(), 2U) << seconds;
    EXPECT_LE(ticks.size(), 8U) << seconds;
    std::set<std::string> labels;
    std::string day;
    for (const TimeTick& tick : ticks) {
      if (!tick.day.empty()) day = tick.day;
      labels.insert(day + tick.label);
    }
    EXPECT_EQ(labels.size(), ticks.size()) << seconds;
  }
}

TEST(NiceTicksTest, Ticks_AreRoundValuesInsideTheRange) {
  EXPECT_THAT(NiceTicks(0.3, 10.2, 5).at, ElementsAre(2, 4, 6, 8, 10));
  EXPECT_THAT(NiceTicks(-1, 1, 4).at, ElementsAre(-1, -0.5, 0, 0.5, 1));
  EXPECT_EQ(NiceTicks(12.30, 12.35, 5).decimals, 2);
}

}  // namespace
}  // namespace ulix::cli
