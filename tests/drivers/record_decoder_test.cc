#include "drivers/loggers/record_decoder.h"

#include <gtest/gtest.h>

#include <array>
#include <bit>
#include <cmath>

namespace ulix {
namespace {

std::string Record(unsigned kind, unsigned channel, std::array<unsigned, 6> rest) {
  std::string record{static_cast<char>(channel & 0xFFU), static_cast<char>(kind << 4U | channel >> 8U)};
  for (const unsigned byte : rest) record += static_cast<char>(byte);
  return record;
}

std::string Time(unsigned kind, std::uint32_t seconds, unsigned fraction) {
  const std::array<unsigned, 4> s = {seconds & 0xFFU, seconds >> 8U & 0xFFU, seconds >> 16U & 0xFFU, seconds >> 24U};
  if (kind == 6) return Record(kind, 0, {99, 99, s[0], s[1], s[2], s[3]});
  return Record(kind, 0, {99, s[0], s[1], s[2], s[3], fraction});
}

std::string Measurement(unsigned kind, unsigned channel, unsigned step, float value, unsigned flags = 0) {
  const auto bits = std::bit_cast<std::uint32_t>(value);
  return Record(kind, channel, {step, flags, bits & 0xFFU, bits >> 8U & 0xFFU, bits >> 16U & 0xFFU, bits >> 24U});
}

ChannelArrays Decoded(const std::string& bytes) {
  ChannelArrays out;
  RecordDecoder().Decode(bytes, out);
  return out;
}

TEST(RecordDecoder, MeasurementBeforeATimeBase_IsDropped) {
  const std::string early = Measurement(0, 1, 1, 1.0F);
  EXPECT_EQ(Decoded(early + Time(6, 0, 0) + early).size(), 0U);
  for (const unsigned kind : {1U, 2U, 3U, 4U, 5U, 6U, 8U}) {
    const auto out = Decoded(early + Time(kind, 86400, 64) + Measurement(0, 0x123, 0, 2.5F));
    ASSERT_EQ(out.size(), 1U) << kind;
    EXPECT_EQ(out.ids[0], 0x122U);
    EXPECT_EQ(out.values[0], 2.5F);
    EXPECT_EQ(IsoTime(out.times[0]), kind == 6 ? "1996-01-02T00:00:00.000" : "1996-01-02T00:00:00.500") << kind;
  }
  for (const unsigned kind : {9U, 10U, 15U}) EXPECT_EQ(Decoded(Time(kind, 86400, 0) + early).size(), 0U) << kind;
}

TEST(RecordDecoder, TimeSteps_AddUpAndCarry) {
  const auto out = Decoded(Time(1, 59, 100) + Measurement(0, 1, 27, 1) + Measurement(7, 2, 1, 2) +
                           Measurement(0, 3, 255, 3) + Measurement(0, 3, 1, 3));
  std::string seconds;
  for (const Date time : out.times) seconds += IsoTime(time).substr(14) + ' ';
  EXPECT_EQ(seconds, "00:59.992 01:00.000 01:01.992 01:02.000 ");
}

TEST(RecordDecoder, ErrorCodes_AreSigned) {
  const auto error = [](unsigned low, unsigned high, unsigned flags) {
    return Decoded(Time(6, 1, 0) + Record(7, 1, {0, flags, low, high, 0, 0})).errors.at(0);
  };
  EXPECT_EQ(error(0xFD, 0xFF, 0x10), -3);
  EXPECT_EQ(error(0x05, 0x80, 0x10), -32763);
  EXPECT_EQ(error(5, 0, 0x30), 5);
  EXPECT_EQ(error(0xFD, 0xFF, 0xEF), 0);
}

// The logger's calendar, day by day: every fourth year from 1996 on is a leap year, 2100 too.
TEST(RecordDecoder, Calendar_HasALeapDayEveryFourthYear) {
  constexpr std::array kLengths = {31, 28, 31, 30, 31, 30, 31, 31, 30, 31, 30, 31};
  std::uint32_t days = 0;
  for (int year = 1996; year < 2132; ++year) {
    for (int month = 1; month <= 12; ++month) {
      const int length = kLengths[static_cast<std::size_t>(month - 1)] + (month == 2 && year % 4 == 0 ? 1 : 0);
      for (int day = 1; day <= length; ++day, ++days) {
        const bool exists = year != 2100 || month != 2 || day != 29;
        const CivilTime civil = exists ? CivilTime{year, month, day} : CivilTime{2100, 3, 1};
        ASSERT_EQ(DateOfDays(days), DateFromCivil(civil)) << year << '-' << month << '-' << day;
      }
    }
  }
  EXPECT_EQ(IsoTime(DateOf({0xFFFFFFFF, 127})), "2132-02-06T06:28:15.992");
}

}  // namespace
}  // namespace ulix
