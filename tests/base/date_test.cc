#include "base/date.h"

#include <gtest/gtest.h>

namespace ulix {
namespace {

TEST(DateTest, CivilTime_BecomesDaysSince1899AndIsoText) {
  struct Row {
    CivilTime civil;
    Date date;
    const char* iso;
  };
  const Row rows[] = {{{1899, 12, 30, 0, 0, 0, 0}, 0.0, "1899-12-30T00:00:00.000"},
                      {{1899, 12, 30, 6, 0, 0, 0}, 0.25, "1899-12-30T06:00:00.000"},
                      {{1899, 12, 29, 6, 0, 0, 0}, -1.25, "1899-12-29T06:00:00.000"},
                      {{1900, 3, 1, 0, 0, 0, 0}, 61.0, "1900-03-01T00:00:00.000"},
                      {{2000, 2, 29, 18, 0, 0, 0}, 36585.75, "2000-02-29T18:00:00.000"},
                      {{9999, 12, 31, 12, 0, 0, 0}, 2958465.5, "9999-12-31T12:00:00.000"}};
  for (const Row& row : rows) {
    EXPECT_EQ(DateFromCivil(row.civil), row.date) << row.iso;
    EXPECT_EQ(IsoTime(row.date), row.iso);
  }
}

TEST(DateTest, ConversionThereAndBack_KeepsEveryMillisecond) {
  for (const int year : {1899, 2026, 9999}) {
    for (int ms = 0; ms < 86'400'000; ms += 79'999) {
      const CivilTime time{year, 12, 29, ms / 3'600'000, ms / 60'000 % 60, ms / 1000 % 60, ms % 1000};
      const CivilTime back = CivilFromDate(DateFromCivil(time));
      ASSERT_EQ(((back.hour * 60 + back.minute) * 60 + back.second) * 1000 + back.millisecond, ms) << year;
      ASSERT_EQ(back.day, 29);
    }
  }
}

TEST(DateTest, FractionOfAMillisecondBeforeMidnight_RoundsToTheNextDay) {
  constexpr double kTenthOfMs = 0.1 / 86'400'000;
  EXPECT_EQ(IsoTime(2.0 - kTenthOfMs), "1900-01-01T00:00:00.000");
  EXPECT_EQ(IsoTime(36526.0 - kTenthOfMs), "2000-01-01T00:00:00.000");
  EXPECT_EQ(IsoTime(-(2.0 - kTenthOfMs)), "1899-12-30T00:00:00.000");
  EXPECT_EQ(IsoTime(2.0 - 10 * kTenthOfMs), "1899-12-31T23:59:59.999");
}

}  // namespace
}  // namespace ulix
