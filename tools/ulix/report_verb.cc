// report: a scan or a memory block as a page for printing and for the archive.
#include <CLI/CLI.hpp>

#include <memory>

#include "tools/ulix/arguments.h"
#include "tools/ulix/csv_measurement.h"
#include "tools/ulix/failures.h"
#include "tools/ulix/memory_verb.h"
#include "tools/ulix/report.h"
#include "tools/ulix/scan_verb.h"
#include "tools/ulix/texts.h"
#include "tools/ulix/verbs.h"

namespace ulix::cli {
namespace {

struct ReportOptions {
  ScanOptions scan;
  std::optional<std::string> block;
  std::uint32_t max_records = 0;
  std::string from_file;
};

// Makes the report from the CSV file only, without an instrument. The first argument is then not a model but may be the
// name of the page.
int ReportOfFile(const ReportOptions& options) {
  const ScanOptions& scan = options.scan;
  const std::string page = scan.report_file.empty() ? scan.connection.model : scan.report_file;
  if (page.empty()) throw UsageError("FILE", Shown(TextId::kPageFileMissing));
  CheckKind("FILE", page, ".html");
  CheckMayReplace("FILE", page, scan.connection.force);
  const CsvMeasurement measurement = ReadCsvMeasurement(options.from_file);
  const Language language = LanguageOf(scan.connection);
  const std::string instrument = measurement.Note("instrument");
  const std::string name = instrument.empty() ? options.from_file : instrument;
  ReportFacts facts = FactsOf(measurement, Shown(TextId::kScanTitle, language, {name}), language);
  AddNotes(facts, scan.notes, language);
  const ErrorText error_text = [&](HRESULT code) {
    const auto found = measurement.error_texts.find(code);
    return found == measurement.error_texts.end() ? std::string() : found->second;
  };
  WriteReport({page, std::move(facts), error_text, language}, measurement.recording);
  return 0;
}

int ReportBlock(const ReportOptions& options) {
  MemoryOptions memory;
  memory.connection = options.scan.connection;
  memory.action = "read";
  memory.block = *options.block;
  memory.max_records = options.max_records;
  memory.report_file = options.scan.report_file;
  memory.csv_file = options.scan.csv_file;
  memory.lines = false;
  return Memory(memory);
}

int Report(const ReportOptions& options) {
  if (!options.from_file.empty()) return ReportOfFile(options);
  CheckModel(options.scan.connection.model);
  if (options.scan.report_file.empty()) throw UsageError("FILE", Shown(TextId::kPageFileMissing));
  if (!options.block && options.max_records > 0) throw UsageError("--max", Shown(TextId::kEffectWith, {"--block"}));
  return options.block ? ReportBlock(options) : Scan(options.scan);
}

}  // namespace

Action DefineReport(CLI::App& verb) {
  const auto options = std::make_shared<ReportOptions>();
  options->scan.lines = false;
  verb.add_option("MODEL", options->scan.connection.model, Shown(TextId::kHelpReportModel))->type_name("");
  verb.add_option("FILE", options->scan.report_file, Shown(TextId::kHelpReportFile))->type_name("");
  verb.add_option("--from", options->from_file, Shown(TextId::kHelpFrom))->type_name("FILE.csv");
  AddScan(verb, options->scan);
  const auto period = verb.get_option("--period")->required(false);
  const auto block =
      verb.add_option("--block", options->block, Shown(TextId::kHelpReportBlock))->type_name("BLOCK")->excludes(period);
  for (const char* name : {"CHANNEL", "--count", "--duration"}) block->excludes(verb.get_option(name));
  verb.add_option("--max", options->max_records, Shown(TextId::kHelpReportNewest))
      ->type_name("N")
      ->transform(WholeNumber(0, UINT32_MAX));
  verb.add_option("--csv", options->scan.csv_file, Shown(TextId::kHelpReadingsToo))->type_name("FILE");
  AddConnection(verb, options->scan.connection);
  verb.footer(Shown(TextId::kHelpReportNotes));
  return [=] {
    if (options->from_file.empty() && !options->block && period->empty())
      throw UsageError("--period", Shown(TextId::kPeriodMissing));
    return Report(*options);
  };
}

}  // namespace ulix::cli
