// The results of a calibration run as files for users: report and table.
#pragma once

#include <string>

#include "base/text.h"
#include "calibration/evaluation.h"
#include "calibration/results.h"

namespace ulix::cli {

// A run and its evaluation. `problem` says why the certificate of the reference, which the plan names, was not used.
struct CalibrationFindings {
  calibration::RunResult run;
  calibration::Evaluation evaluation;
  std::string problem;  // UTF-8; empty: none
};

// The findings of the run in `folder`, complete or not, with the readings during the approaches for the plots. Throws
// OperationFailed when the journal was changed or cannot be read.
CalibrationFindings FindingsOf(const std::string& folder, Language language);

// The HTML report: results of each unit as found and as left, plots, uncertainty budgets, instruments.
std::string CalibrationReport(const CalibrationFindings& findings, Language language);

// The table: one line for each point and unit. Numbers have a decimal point and are not rounded.
std::string CalibrationCsv(const CalibrationFindings& findings, char separator);

}  // namespace ulix::cli
