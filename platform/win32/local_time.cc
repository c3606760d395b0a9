#include "platform/local_time.h"

#include <windows.h>

namespace ulix::platform {

Date LocalTimeNow() {
  SYSTEMTIME local{};
  GetLocalTime(&local);
  return DateFromCivil({.year = local.wYear,
                        .month = local.wMonth,
                        .day = local.wDay,
                        .hour = local.wHour,
                        .minute = local.wMinute,
                        .second = local.wSecond,
                        .millisecond = local.wMilliseconds});
}

}  // namespace ulix::platform
