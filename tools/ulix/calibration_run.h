// A calibration plan from its file to its results.
#pragma once

#include <cstdint>
#include <optional>
#include <string>

#include "base/text.h"

namespace ulix::cli {

struct CalibrationOptions {
  std::string plan_file;
  bool dry_run = false;
  bool resume = false;
  std::string folder;           // of the run; empty: one beside the others, named after the plan and the time
  std::optional<double> speed;  // of simulated instruments; none: as time passes
  std::string sign;             // "KEY,CERT"; empty: certificates are not signed
  char csv_separator = ',';
  std::optional<Language> language;  // none: the plan's, else the user's
};

// Exit status. UsageError for a plan that cannot run, after all that is wrong with it has been printed.
int CheckPlanFile(const CalibrationOptions& options);
int RunPlanFile(const CalibrationOptions& options);
// Writes report, table and certificates of a run anew.
int ReportRun(const CalibrationOptions& options);

}  // namespace ulix::cli
