#include "drivers/calibrators/range_calibrator/driver.h"
#include "drivers/calibrators/kelvo10/tables.h"
#include "drivers/catalogue.h"

namespace ulix::kelvo10 {

const CatalogueEntry kEntry{&kCard, range_calibrator::MakeRangeCalibrator<kModel>};

}  // namespace ulix::kelvo10
