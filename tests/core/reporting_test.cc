#include "core/reporting.h"

#include <gtest/gtest.h>

namespace ulix {
namespace {

using std::chrono::milliseconds;

TEST(Reporting, ValueAtABoundOfTheDeadBand_LeavesIt) {
  const GroupSettings absolute{.dead_band_abs = 0.5F}, tenth{.dead_band_abs = 0.1F};
  const GroupSettings both{.dead_band_percent = 10.0F, .dead_band_abs = 1.0F};
  struct Case {
    float value, last;
    GroupSettings settings;
    bool leaves;
  };
  const Case cases[] = {
      {9.5F, 10.0F, absolute, true},   {10.5F, 10.0F, absolute, true},  {9.6F, 10.0F, absolute, false},
      {10.4F, 10.0F, absolute, false}, {10.0F, 10.0F, {}, true},        {0.3F + 0.1F, 0.3F, tenth, true},
      {-102.9F, -100.0F, both, false}, {-110.9F, -100.0F, both, false}, {-111.0F, -100.0F, both, true},
      {-89.0F, -100.0F, both, true},
  };
  for (const Case& c : cases) EXPECT_EQ(LeavesDeadBand(c.value, c.last, c.settings), c.leaves) << c.value;
}

TEST(Reporting, MaxReportInterval_CountsWholeSeconds) {
  EXPECT_TRUE(ReportIntervalIsOver(std::nullopt, 0xFFFFFFFF));
  for (const std::uint32_t max_s : {0U, 10U, 0xFFFFFFFFU}) {
    const milliseconds over(1000 * (std::int64_t{max_s} + 1));
    EXPECT_FALSE(ReportIntervalIsOver(over - milliseconds(1), max_s));
    EXPECT_TRUE(ReportIntervalIsOver(over, max_s));
  }
}

TEST(Reporting, Ticks_KeepTheirPhase) {
  const MonotonicTime start{};
  const milliseconds period(100);
  EXPECT_EQ(NextTick(start, period, start), start + period);
  EXPECT_EQ(NextTick(start, period, start + milliseconds(99)), start + period);
  EXPECT_EQ(NextTick(start, period, start + milliseconds(130)), start + period) << "a late tick is due at once";
  EXPECT_EQ(NextTick(start, period, start + milliseconds(1030)), start + milliseconds(1000))
      << "one tick for all missed ones";
  MonotonicTime due = start;
  for (int i = 0; i < 315'360; ++i) due = NextTick(due, period, due + milliseconds(i % 90));
  EXPECT_EQ(due, start + 315'360 * period);
}

}  // namespace
}  // namespace ulix
