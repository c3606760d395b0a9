#include "platform/local_time.h"

#include <chrono>
#include <ctime>

namespace ulix::platform {

Date LocalTimeNow() {
  const auto now = std::chrono::floor<std::chrono::milliseconds>(std::chrono::system_clock::now());
  const auto seconds = std::chrono::floor<std::chrono::seconds>(now);
  const std::time_t time = std::chrono::system_clock::to_time_t(seconds);
  std::tm local{};
  localtime_r(&time, &local);
  return DateFromCivil({.year = local.tm_year + 1900,
                        .month = local.tm_mon + 1,
                        .day = local.tm_mday,
                        .hour = local.tm_hour,
                        .minute = local.tm_min,
                        .second = local.tm_sec > 59 ? 59 : local.tm_sec,
                        .millisecond = static_cast<int>((now - seconds).count())});
}

}  // namespace ulix::platform
