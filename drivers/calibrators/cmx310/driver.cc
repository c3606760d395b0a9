#include "drivers/calibrators/range_calibrator/driver.h"

#include <utility>

#include "drivers/calibrators/cmx310/tables.h"
#include "drivers/catalogue.h"

namespace ulix::cmx310 {
namespace {

std::unique_ptr<Driver> Create(DriverServices services) {
  return std::make_unique<range_calibrator::RangeCalibratorDriver>(kModel, std::move(services));
}

}  // namespace

const CatalogueEntry kEntry{&kCard, Create};

}  // namespace ulix::cmx310
