#include "tools/ulix/time_axis.h"

#include <algorithm>
#include <array>
#include <cmath>

#include "tools/ulix/output.h"
#include "tools/ulix/texts.h"

namespace ulix::cli {
namespace {

constexpr double kMaxTicks = 7;
constexpr double kMinute = 60;
constexpr double kHour = 3600;

// The possible distances between ticks, in seconds. Longer distances are multiples of the last one.
constexpr std::array kSteps = {0.001, 0.002,     0.005,       0.01,        0.02,         0.05,          0.1,
                               0.2,   0.5,       1.0,         2.0,         5.0,          10.0,          15.0,
                               30.0,  kMinute,   2 * kMinute, 5 * kMinute, 10 * kMinute, 15 * kMinute,  30 * kMinute,
                               kHour, 2 * kHour, 3 * kHour,   6 * kHour,   12 * kHour,   kSecondsPerDay};

double StepFor(double seconds) {
  const auto fits = [=](double step) { return seconds / step <= kMaxTicks; };
  const auto step = std::find_if(kSteps.begin(), kSteps.end(), fits);
  return step != kSteps.end() ? *step : std::ceil(seconds / kSecondsPerDay / kMaxTicks) * kSecondsPerDay;
}

std::string DayOf(Date date) { return IsoTime(date).substr(0, 10); }

// The part of "2026-01-31T10:11:12.345" that distinguishes ticks at this distance.
std::string LabelOf(Date date, double step, Language language) {
  constexpr std::size_t kDay = 10, kToMinutes = 5, kToSeconds = 8, kToTenths = 10, kToHundredths = 11,
                        kToMilliseconds = 12;
  const std::string time = IsoTime(date);
  if (step >= kSecondsPerDay) return time.substr(0, kDay);
  const std::size_t length = step >= kMinute ? kToMinutes
                             : step >= 1     ? kToSeconds
                             : step >= 0.1   ? kToTenths
                             : step >= 0.01  ? kToHundredths
                                             : kToMilliseconds;
  return InLanguage(time.substr(kDay + 1, length), language);
}

}  // namespace

std::vector<TimeTick> TimeTicks(Date low, Date high, Language language) {
  const double step = StepFor((high - low) * kSecondsPerDay);
  const double days = step / kSecondsPerDay;
  const bool several = DayOf(low) != DayOf(high) && step < kSecondsPerDay;
  std::vector<TimeTick> ticks;
  std::string day;
  for (double k = std::ceil(low / days); k * days <= high; ++k) {
    const Date at = k * days;
    const bool another = several && DayOf(at) != day;
    day = DayOf(at);
    ticks.push_back({at, LabelOf(at, step, language), another ? day : std::string()});
  }
  return ticks;
}

std::string TimeAxisName(Date low, Date high, Language language) {
  const std::string first = DayOf(low), last = DayOf(high);
  if (first == last) return Shown(TextId::kLocalTimeOf, language, {first});
  return Shown(TextId::kLocalTimeFromTo, language, {first, last});
}

}  // namespace ulix::cli
