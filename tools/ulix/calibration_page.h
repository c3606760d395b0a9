// A calibration run in a browser.
#pragma once

#include <memory>

#include "tools/live_page/live_page.h"
#include "tools/ulix/calibration_view.h"

namespace ulix::cli {

// Title, columns and language of the page of a run.
LivePageOptions CalibrationPageOptions(const calibration::Plan& plan, Language language);

// A view that shows the run on the page and passes everything to `other`. `plan` must outlive the view.
std::unique_ptr<CalibrationView> MakeCalibrationPage(const calibration::Plan& plan, Language language,
                                                     std::unique_ptr<LivePage> page,
                                                     std::unique_ptr<CalibrationView> other);

}  // namespace ulix::cli
