// The verb scan: reads periodically, shows the readings and writes them to files.
#include <CLI/CLI.hpp>

#include <algorithm>
#include <cstdint>
#include <limits>
#include <memory>

#include "tools/ulix/arguments.h"
#include "tools/ulix/failures.h"
#include "tools/ulix/interrupt.h"
#include "tools/ulix/live_output.h"
#include "tools/ulix/output.h"
#include "tools/ulix/scan_output.h"
#include "tools/ulix/scan_verb.h"
#include "tools/ulix/texts.h"
#include "tools/ulix/verbs.h"

namespace ulix::cli {
namespace {

// The title of the plot and of the report. A '%' stands for the instrument's name.
std::string TitleOf(Language language) { return Shown(TextId::kScanTitle, language, {"%"}); }

ReportPlan PlanReport(Session& session, const ScanOptions& options, const ErrorText& error_text) {
  const Language language = LanguageOf(options.connection);
  ReportFacts facts = FactsOf(session, TitleOf(language), language);
  facts.measurement = FactsOf(options.plan.settings, language);
  AddNotes(facts, options.notes, language);
  return {options.report_file, std::move(facts), error_text, language};
}

ScanOutputs OutputsFor(Session& session, const ScanOptions& options, std::span<const Channel> channels) {
  const ErrorText error_text = [&session](HRESULT code) { return session.Explain(code); };
  ScanOutputs outputs;
  const Language language = LanguageOf(options.connection);
  if (options.json) {
    outputs.push_back(MakeJsonLines());
  } else if (options.csv_file != kStandardOutput && (options.lines || OnTerminal())) {
    // With a trace the output is plain lines: a table redrawn in place would overwrite the trace.
    outputs.push_back(options.connection.trace ? MakePlainLines(channels, error_text, language)
                                               : MakeScreen(channels, error_text, language, options.plan));
  }
  if (!options.csv_file.empty()) {
    const std::string notes = NotesForCsv(session, channels, options.notes);
    outputs.push_back(MakeCsvFile(options.csv_file, notes, options.csv_separator, channels, error_text));
  }
  if (!options.plot_file.empty()) {
    const std::string name = Shown(session.instrument().card().display_name.In(language));
    outputs.push_back(MakePlotFile(
        options.plot_file, options.notes.title.empty() ? WithValues(TitleOf(language), {name}) : options.notes.title,
        channels, language));
  }
  if (!options.report_file.empty()) {
    outputs.push_back(MakeReportFile(PlanReport(session, options, error_text), channels));
  }
  if (!options.http.empty()) {
    const std::string name = Shown(session.instrument().card().display_name.In(language));
    LivePageOptions page{.title = WithValues(TitleOf(language), {name}), .language = language};
    outputs.push_back(MakePageOutput(ServePage(options.http, std::move(page)), channels, error_text));
  }
  return outputs;
}

// Checks the files of the scan. Called before any exchange with the instrument.
void CheckFiles(const ScanOptions& options) {
  const struct {
    const char* argument;
    const std::string& file;
    const char* extension;
  } files[] = {{"--plot", options.plot_file, ".svg"}, {"--report", options.report_file, ".html"}};
  CheckMayReplace("--csv", options.csv_file, options.connection.force);
  for (const auto& [argument, file, extension] : files) {
    CheckKind(argument, file, extension);
    CheckMayReplace(argument, file, options.connection.force);
  }
  if (!options.csv_file.empty() && options.csv_file != kStandardOutput) CheckWritable(options.csv_file);
  for (const std::string& file : {options.plot_file, options.report_file}) {
    if (!file.empty()) CheckReplaceable(file);
  }
}

// Throws when the scan brought no reading or when its last readings failed: the verb then exits with an error.
void CheckLastReadings(Session& session, std::span<const Channel> channels) {
  std::vector<ChannelId> ids;
  for (const Channel& channel : channels) ids.push_back(channel.id);
  ChannelArrays last;
  session.Check(session.instrument().GetChansVals(ids, &last));
  for (std::size_t k = 0; k < last.size(); ++k) {
    if (last.times[k] == 0) throw OperationFailed(kNoReading, Shown(TextId::kNoReadingCame, {channels[k].name}));
    session.Check(last.errors[k]);
  }
}

bool ShowsUnits(const ScanOptions& options) {
  return !options.json || !options.csv_file.empty() || !options.plot_file.empty() || !options.report_file.empty();
}

}  // namespace

int Scan(ScanOptions options) {
  // The group raises a shorter period to this one. The report must show the period that was used.
  options.plan.settings.period_ms = std::max(options.plan.settings.period_ms, kShortestPeriodMs);
  CheckFilesDiffer(options.csv_file, options.plot_file, options.report_file);
  CheckOneOutput(options.csv_file, options.json);
  Session session(options.connection);
  if (!session.instrument().card().channels_in_instrument) SelectInputs(session.Channels(), options.channels);
  CheckFiles(options);
  session.ConnectAndAsk();
  auto channels = SelectInputs(session.Channels(), options.channels);
  session.ReportUnknownUnits(channels);
  const auto& interrupted = CatchInterrupts();
  // One additional reading: this instrument sends its units with the readings, and the files need the unit.
  if (session.instrument().card().units_with_readings && ShowsUnits(options) && !interrupted) {
    ReadOnce(session, channels, options.connection.timeout_ms);
    channels = session.WithUnits(channels);
  }
  ScanOutputs outputs = OutputsFor(session, options, channels);
  RunScan(session, channels, options.plan, outputs);
  CheckLastReadings(session, channels);
  return 0;
}

namespace {

constexpr float kGreatest = std::numeric_limits<float>::max();

void AddPlan(CLI::App& verb, ScanPlan& plan) {
  GroupSettings& settings = plan.settings;
  verb.add_option("--period", settings.period_ms, Shown(TextId::kHelpPeriod))
      ->required()
      ->type_name("MS")
      ->transform(WholeNumber(1, 86400000));
  verb.add_option("--dead-band", settings.dead_band_percent, Shown(TextId::kHelpDeadBand))
      ->type_name("PCT")
      ->transform(Number(0, kGreatest));
  verb.add_option("--dead-band-abs", settings.dead_band_abs, Shown(TextId::kHelpDeadBandAbs))
      ->type_name("X")
      ->transform(Number(0, kGreatest));
  verb.add_option("--dead-time-max", settings.dead_time_max_s, Shown(TextId::kHelpDeadTime))
      ->type_name("S")
      ->transform(WholeNumber(0, UINT32_MAX));
  const auto count = verb.add_option("--count", plan.count, Shown(TextId::kHelpCount))
                         ->type_name("N")
                         ->transform(WholeNumber(1, std::int64_t{1} << 53U));
  verb.add_option("--duration", plan.duration_s, Shown(TextId::kHelpDuration))
      ->type_name("T")
      ->transform(Duration())
      ->excludes(count);
}

}  // namespace

void AddScan(CLI::App& verb, ScanOptions& options) {
  verb.add_option("CHANNEL", options.channels, Shown(TextId::kHelpChannels))->type_name("");
  AddPlan(verb, options.plan);
  AddCsvSeparator(verb, options.csv_separator);
  AddNotes(verb, options.notes);
  AddForce(verb, options.connection);
}

Action DefineScan(CLI::App& verb) {
  const auto options = std::make_shared<ScanOptions>();
  AddModel(verb, options->connection);
  AddScan(verb, *options);
  verb.add_option("--csv", options->csv_file, Shown(TextId::kHelpReportsCsv))->type_name("FILE|-");
  verb.add_option("--plot", options->plot_file, Shown(TextId::kHelpScanCurves))->type_name("FILE.svg");
  verb.add_option("--report", options->report_file, Shown(TextId::kHelpScanPage))->type_name("FILE.html");
  verb.add_flag("--json", options->json, Shown(TextId::kHelpJsonLines));
  AddHttp(verb, options->http);
  AddConnection(verb, options->connection);
  verb.footer(Shown(TextId::kHelpScanNotes));
  return [=] { return Scan(*options); };
}

}  // namespace ulix::cli
