#include "drivers/calibrators/range_calibrator/driver.h"
#include "drivers/calibrators/cmx310/tables.h"
#include "drivers/catalogue.h"

namespace ulix::cmx310 {

const CatalogueEntry kEntry{&kCard, range_calibrator::MakeRangeCalibrator<kModel>};

}  // namespace ulix::cmx310
