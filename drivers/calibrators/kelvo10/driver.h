// The Kelvo10: the range calibrators' driver with its tables.
#pragma once

#include <utility>

#include "drivers/calibrators/kelvo10/tables.h"
#include "drivers/calibrators/range_calibrator/driver.h"

namespace ulix::kelvo10 {

inline std::unique_ptr<Driver> Create(DriverServices services) {
  return std::make_unique<range_calibrator::RangeCalibratorDriver>(kModel, std::move(services));
}

}  // namespace ulix::kelvo10
