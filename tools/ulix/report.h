// The report of a scan or of a memory block: one self-contained HTML page, for printing and for the archive.
#pragma once

#include <string>
#include <utility>
#include <vector>

#include "tools/ulix/connection.h"
#include "tools/ulix/csv.h"
#include "tools/ulix/csv_measurement.h"
#include "tools/ulix/measurement_notes.h"
#include "tools/ulix/recording.h"
#include "tools/ulix/scan.h"

namespace ulix::cli {

// A label and its value, in UTF-8 and in the language of the report.
using Fact = std::pair<std::string, std::string>;

// What is known before the first reading.
struct ReportFacts {
  std::string title;
  std::vector<Fact> instrument;
  std::vector<Fact> measurement;
  std::vector<Fact> settings;          // settings that differ from their default
  std::vector<Fact> default_settings;  // settings at their default
};

// The facts of a connected session: the instrument and its settings. Asks the instrument for its identification. A '%'
// in the title stands for the instrument's name.
ReportFacts FactsOf(Session& session, const std::string& title, Language language);
// The facts of a measurement that was read back from its file. A '%' in the title stays as it is.
ReportFacts FactsOf(const CsvMeasurement& measurement, const std::string& title, Language language);
// Adds the user's notes. A title among them replaces the default title.
void AddNotes(ReportFacts& facts, const MeasurementNotes& notes, Language language);
// How the readings were taken: the settings of the acquisition group.
std::vector<Fact> FactsOf(const GroupSettings& settings, Language language);

// The complete HTML page.
std::string ReportHtml(const ReportFacts& facts, const Recording& recording, const ErrorText& error_text,
                       Language language);

// Everything that a report needs besides the readings.
struct ReportPlan {
  std::string path;
  ReportFacts facts;
  ErrorText error_text;
  Language language = Language::kEnglish;
};
void WriteReport(const ReportPlan& plan, const Recording& recording);

}  // namespace ulix::cli
