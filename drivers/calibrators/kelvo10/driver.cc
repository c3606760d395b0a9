#include "drivers/calibrators/range_calibrator/driver.h"

#include <utility>

#include "drivers/calibrators/kelvo10/tables.h"
#include "drivers/catalogue.h"

namespace ulix::kelvo10 {
namespace {

std::unique_ptr<Driver> Create(DriverServices services) {
  return std::make_unique<range_calibrator::RangeCalibratorDriver>(kModel, std::move(services));
}

}  // namespace

const CatalogueEntry kEntry{&kCard, Create};

}  // namespace ulix::kelvo10
