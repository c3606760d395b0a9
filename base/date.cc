#include "base/date.h"

#include <array>
#include <chrono>
#include <cmath>
#include <cstdio>

namespace ulix {
namespace {

constexpr std::int64_t kMillisecondsPerDay = 86'400'000;
constexpr std::chrono::sys_days kDateOrigin = std::chrono::year{1899} / 12 / 30;

}  // namespace

Date DateFromCivil(const CivilTime& time) {
  const std::chrono::sys_days day = std::chrono::year{time.year} / time.month / time.day;
  const auto whole = static_cast<double>((day - kDateOrigin).count());
  const std::int64_t of_day = ((time.hour * 60LL + time.minute) * 60LL + time.second) * 1000LL + time.millisecond;
  const double fraction = static_cast<double>(of_day) / static_cast<double>(kMillisecondsPerDay);
  return whole < 0 ? whole - fraction : whole + fraction;
}

CivilTime CivilFromDate(Date date) {
  const double whole = std::trunc(date);
  auto of_day = std::llround(std::fabs(date - whole) * static_cast<double>(kMillisecondsPerDay));
  auto days = static_cast<std::int64_t>(whole);
  if (of_day == kMillisecondsPerDay) {
    of_day = 0;
    ++days;
  }
  const std::chrono::year_month_day ymd{kDateOrigin + std::chrono::days{days}};
  CivilTime time{};
  time.year = static_cast<int>(ymd.year());
  time.month = static_cast<int>(static_cast<unsigned>(ymd.month()));
  time.day = static_cast<int>(static_cast<unsigned>(ymd.day()));
  time.millisecond = static_cast<int>(of_day % 1000);
  time.second = static_cast<int>(of_day / 1000 % 60);
  time.minute = static_cast<int>(of_day / 60'000 % 60);
  time.hour = static_cast<int>(of_day / 3'600'000);
  return time;
}

std::string IsoTime(Date date) {
  const CivilTime t = CivilFromDate(date);
  std::array<char, 80> text;
  const int length = std::snprintf(text.data(), text.size(), "%04d-%02d-%02dT%02d:%02d:%02d.%03d", t.year, t.month,
                                   t.day, t.hour, t.minute, t.second, t.millisecond);
  return {text.data(), static_cast<std::size_t>(length)};
}

}  // namespace ulix
