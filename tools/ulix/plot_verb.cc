// plot: draws a plot from a CSV file of a measurement.
#include <CLI/CLI.hpp>

#include <memory>

#include "tools/ulix/arguments.h"
#include "tools/ulix/connection.h"
#include "tools/ulix/csv_measurement.h"
#include "tools/ulix/failures.h"
#include "tools/ulix/output.h"
#include "tools/ulix/svg_plot.h"
#include "tools/ulix/texts.h"
#include "tools/ulix/verbs.h"

namespace ulix::cli {
namespace {

struct PlotOptions {
  ConnectionOptions common;  // only its language and --force are used
  std::string csv_file;
  std::string plot_file;
  std::string title;
};

// The file of the plot: next to the CSV file, unless the user gave a name.
std::string TargetOf(const PlotOptions& options) {
  if (!options.plot_file.empty()) return options.plot_file;
  const std::string& csv = options.csv_file;
  return (csv.ends_with(".csv") ? csv.substr(0, csv.size() - 4) : csv) + ".svg";
}

std::string TitleOf(const PlotOptions& options, const CsvMeasurement& measurement) {
  if (!options.title.empty()) return options.title;
  if (std::string title = measurement.Note("title"); !title.empty()) return title;
  const std::string name = measurement.Note("instrument");
  return name.empty() ? options.csv_file : Shown(TextId::kScanTitle, LanguageOf(options.common), {name});
}

int Plot(const PlotOptions& options) {
  const std::string target = TargetOf(options);
  CheckKind("FILE.svg", target, ".svg");
  CheckMayReplace("FILE.svg", target, options.common.force);
  const CsvMeasurement measurement = ReadCsvMeasurement(options.csv_file);
  std::vector<PlotCurve> curves;
  for (const RecordedChannel& channel : measurement.recording.channels()) curves.push_back(channel.curve);
  WriteWholeFile(target, PlotSvg(TitleOf(options, measurement), curves, LanguageOf(options.common)));
  Tell(Shown(TextId::kKeptIn, {target}));
  return 0;
}

}  // namespace

Action DefinePlot(CLI::App& verb) {
  const auto options = std::make_shared<PlotOptions>();
  verb.add_option("FILE.csv", options->csv_file, Shown(TextId::kHelpCsvFile))->required()->type_name("");
  verb.add_option("FILE.svg", options->plot_file, Shown(TextId::kHelpPicture))->type_name("");
  verb.add_option("--title", options->title, Shown(TextId::kHelpOtherTitle))->type_name("TEXT");
  AddForce(verb, options->common);
  AddLanguage(verb, options->common);
  return [=] { return Plot(*options); };
}

}  // namespace ulix::cli
