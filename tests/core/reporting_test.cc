#include "core/reporting.h"

#include <gtest/gtest.h>

namespace ulix {
namespace {

using std::chrono::milliseconds;

TEST(Reporting, BoundsOfTheDeadBandAreOutside) {
  const GroupSettings absolute{.dead_band_abs = 0.5F};
  EXPECT_TRUE(LeavesDeadBand(9.5F, 10.0F, absolute));
  EXPECT_TRUE(LeavesDeadBand(10.5F, 10.0F, absolute));
  EXPECT_FALSE(LeavesDeadBand(9.6F, 10.0F, absolute));
  EXPECT_FALSE(LeavesDeadBand(10.4F, 10.0F, absolute));
  EXPECT_TRUE(LeavesDeadBand(10.0F, 10.0F, {}));
  EXPECT_TRUE(LeavesDeadBand(0.3F + 0.1F, 0.3F, {.dead_band_abs = 0.1F})) << "rounded in float after each step";
}

TEST(Reporting, RelativeBandFollowsTheSizeOfTheLastValue) {
  const GroupSettings both{.dead_band_percent = 10.0F, .dead_band_abs = 1.0F};
  EXPECT_FALSE(LeavesDeadBand(-102.9F, -100.0F, both));
  EXPECT_FALSE(LeavesDeadBand(-110.9F, -100.0F, both));
  EXPECT_TRUE(LeavesDeadBand(-111.0F, -100.0F, both));
  EXPECT_TRUE(LeavesDeadBand(-89.0F, -100.0F, both));
}

TEST(Reporting, SilenceCountsWholeSeconds) {
  EXPECT_TRUE(SilenceIsOver(std::nullopt, 0xFFFFFFFF));
  EXPECT_FALSE(SilenceIsOver(milliseconds(999), 0));
  EXPECT_TRUE(SilenceIsOver(milliseconds(1000), 0));
  EXPECT_FALSE(SilenceIsOver(milliseconds(10'999), 10));
  EXPECT_TRUE(SilenceIsOver(milliseconds(11'000), 10));
  EXPECT_FALSE(SilenceIsOver(milliseconds(4'294'967'295'999), 0xFFFFFFFF));
  EXPECT_TRUE(SilenceIsOver(milliseconds(4'294'967'296'000), 0xFFFFFFFF));
}

TEST(Reporting, BeatsKeepTheirPhase) {
  const MonotonicTime start{};
  const milliseconds period(100);
  EXPECT_EQ(NextBeat(start, period, start), start + period);
  EXPECT_EQ(NextBeat(start, period, start + milliseconds(99)), start + period);
  EXPECT_EQ(NextBeat(start, period, start + milliseconds(130)), start + period) << "late, given at once";
  EXPECT_EQ(NextBeat(start, period, start + milliseconds(1030)), start + milliseconds(1000)) << "one for all missed";
  MonotonicTime due = start;
  for (int i = 0; i < 315'360; ++i) due = NextBeat(due, period, due + milliseconds(i % 90));
  EXPECT_EQ(due, start + 315'360 * period);
}

}  // namespace
}  // namespace ulix
