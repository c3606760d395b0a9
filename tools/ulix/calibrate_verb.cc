// The verb calibrate: runs a calibration plan, checks a plan, or asks the questions for a new one.
#include <CLI/CLI.hpp>

#include <memory>
#include <string>
#include <vector>

#include "tools/ulix/arguments.h"
#include "tools/ulix/calibration_run.h"
#include "tools/ulix/connection.h"
#include "tools/ulix/csv.h"
#include "tools/ulix/failures.h"
#include "tools/ulix/live_output.h"
#include "tools/ulix/plan_prompt.h"
#include "tools/ulix/texts.h"
#include "tools/ulix/verbs.h"

namespace ulix::cli {
namespace {

constexpr float kMaxSpeed = 1e6F;

struct CalibrateOptions {
  CalibrationOptions run;
  ConnectionOptions connection;  // only language and force are used
  std::vector<std::string> words;
  double speed = 0;
};

// The words are "PLAN", "run PLAN", "check PLAN", "new [FILE]" or "report FOLDER".
int Calibrate(CalibrateOptions options) {
  CalibrationOptions& run = options.run;
  run.language = options.connection.language;
  if (options.speed > 0) run.speed = options.speed;
  const std::string& first = options.words.front();
  const std::string second = options.words.size() > 1 ? options.words[1] : "";
  if (first == "new") return AskForPlan(second.empty() ? "plan.json" : second, options.connection.force);
  const bool action = first == "run" || first == "check" || first == "report";
  if (!action && !second.empty()) throw UsageError(second, Shown(TextId::kOneWordTooMany));
  if (action && second.empty())
    throw UsageError(first, Shown(first == "report" ? TextId::kTakesRunFolder : TextId::kTakesPlanFile));
  if (first == "report") return run.folder = second, ReportRun(run);
  run.plan_file = action ? second : first;
  return first == "check" ? CheckPlanFile(run) : RunPlanFile(run);
}

}  // namespace

Action DefineCalibrate(CLI::App& verb) {
  const auto options = std::make_shared<CalibrateOptions>();
  verb.add_option("PLAN", options->words, Shown(TextId::kHelpPlan))->required()->expected(1, 2)->type_name("");
  const auto dry = verb.add_flag("--dry-run", options->run.dry_run, Shown(TextId::kHelpDryRun));
  verb.add_flag("--resume", options->run.resume, Shown(TextId::kHelpResume))->excludes(dry);
  verb.add_option("--run", options->run.folder, Shown(TextId::kHelpRunFolder))->type_name("FOLDER");
  verb.add_option("--speed", options->speed, Shown(TextId::kHelpSpeed))
      ->type_name("X")
      ->transform(Number(0.001F, kMaxSpeed));
  AddHttp(verb, options->run.http);
  verb.add_option("--sign", options->run.sign, Shown(TextId::kHelpSign))->type_name("KEY,CERT");
  AddCsvSeparator(verb, options->run.csv_separator);
  AddForce(verb, options->connection);
  AddLanguage(verb, options->connection);
  verb.footer(Shown(TextId::kHelpCalibrateNotes));
  return [=] { return Calibrate(*options); };
}

}  // namespace ulix::cli
