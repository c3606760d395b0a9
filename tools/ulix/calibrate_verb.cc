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
  verb.add_option("PLAN", options->words, "A plan's file; or: check PLAN, new [FILE], report FOLDER")
      ->required()
      ->expected(1, 2)
      ->type_name("");
  const auto dry = verb.add_flag("--dry-run", options->run.dry_run, "Print the time table and what would be refused");
  verb.add_flag("--resume", options->run.resume, "Go on with a run that ended early, where it was")->excludes(dry);
  verb.add_option("--run", options->run.folder,
                  "The run's folder; one named after plan and time without it, with --resume the newest of them")
      ->type_name("FOLDER");
  verb.add_option("--speed", options->speed, "Of simulated instruments: so many times as fast as time passes")
      ->type_name("X")
      ->transform(Number(0.001F, kMaxSpeed));
  AddHttp(verb, options->run.http);
  verb.add_option("--sign", options->run.sign, "Sign the certificates with xmlsec1")->type_name("KEY,CERT");
  AddCsvSeparator(verb, options->run.csv_separator);
  AddForce(verb, options->connection);
  AddLanguage(verb, options->connection);
  verb.footer(
      "  ulix calibrate new dry-block.json          asks for a plan and writes it\n"
      "  ulix calibrate check dry-block.json        what is wrong with a plan, with its lines\n"
      "  ulix calibrate dry-block.json --dry-run    the time table\n"
      "  ulix calibrate dry-block.json              runs it; Ctrl-C ends it and leaves the source safe\n"
      "  ulix calibrate dry-block.json --resume     goes on where it was, after a crash too\n"
      "  ulix calibrate report FOLDER --lang fr     writes report, table and certificates of a run anew\n"
      "The folder gets journal.jsonl, results.csv, report.html and, where the plan asks for one, a certificate a "
      "unit.\n"
      "Exit status: 0 every point was taken and the source is safe, 1 not so, 2 the plan cannot run.");
  return [=] { return Calibrate(*options); };
}

}  // namespace ulix::cli
