// Carries out a calibration plan, from its file to the results.
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
  std::string folder;           // folder of the run; empty: a new folder, named after the plan and the time
  std::optional<double> speed;  // speed of simulated instruments; nullopt: real time
  std::string http;             // address of the live page, "PORT" or "ADDRESS:PORT"; empty: no page
  std::string sign;             // files "KEY,CERT" to sign the certificates; empty: not signed
  char csv_separator = ',';
  std::optional<Language> language;  // nullopt: the language of the plan, else of the user
};

// Checks a plan and prints all its problems. Returns the exit status. Throws UsageError for a plan that cannot run.
int CheckPlanFile(const CalibrationOptions& options);
int RunPlanFile(const CalibrationOptions& options);
// Writes the report, the table and the certificates of a run again.
int ReportRun(const CalibrationOptions& options);

}  // namespace ulix::cli
