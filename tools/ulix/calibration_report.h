// What a run of a calibration plan found, as files for people.
#pragma once

#include <string>

#include "base/text.h"
#include "calibration/evaluation.h"
#include "calibration/results.h"

namespace ulix::cli {

// A run, what it means, and why the evaluation has no certificate of the reference where the plan names one.
struct CalibrationFindings {
  calibration::RunResult run;
  calibration::Evaluation evaluation;
  std::string problem;  // UTF-8; empty: none
};

// The findings of the run in `folder`, complete or not, with its approaches for plots. OperationFailed where the
// journal was changed or cannot be read.
CalibrationFindings FindingsOf(const std::string& folder, Language language);

// A page to print and to keep: results of each unit as found and as left, plots, budgets, instruments.
std::string CalibrationReport(const CalibrationFindings& findings, Language language);

// A line a point and unit; numbers with a point, not rounded.
std::string CalibrationCsv(const CalibrationFindings& findings, char separator);

}  // namespace ulix::cli
