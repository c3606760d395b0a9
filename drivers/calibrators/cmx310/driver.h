// The CMX310: the range calibrators' driver with its tables.
#pragma once

#include <utility>

#include "drivers/calibrators/cmx310/tables.h"
#include "drivers/calibrators/range_calibrator/driver.h"

namespace ulix::cmx310 {

inline std::unique_ptr<Driver> Create(DriverServices services) {
  return std::make_unique<range_calibrator::RangeCalibratorDriver>(kModel, std::move(services));
}

}  // namespace ulix::cmx310
