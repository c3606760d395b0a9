// A scan or a memory block as a page to print and to keep: one HTML file that needs nothing else.
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

// A label and what there is to say under it, in UTF-8 and in the language of the report.
using Fact = std::pair<std::string, std::string>;

// What is known before the first reading.
struct ReportFacts {
  std::string title;
  std::vector<Fact> instrument;
  std::vector<Fact> measurement;
  std::vector<Fact> settings;          // those that are not at their default
  std::vector<Fact> default_settings;  // the others
};

// What the instrument of a connected session is and how it is set; asks it for its identification. A title has a '%'
// for the instrument's name.
ReportFacts FactsOf(Session& session, const std::string& title, Language language);
// The same of a measurement that was read back from its file.
ReportFacts FactsOf(const CsvMeasurement& measurement, const std::string& title, Language language);
// What the person says of the measurement; a title takes the place of the usual one.
void AddNotes(ReportFacts& facts, const MeasurementNotes& notes, Language language);
// How readings are taken.
std::vector<Fact> FactsOf(const GroupSettings& settings, Language language);

// The whole page.
std::string ReportHtml(const ReportFacts& facts, const Recording& recording, const ErrorText& error_text,
                       Language language);

// What a report needs besides the readings.
struct ReportPlan {
  std::string path;
  ReportFacts facts;
  ErrorText error_text;
  Language language = Language::kEnglish;
};
void WriteReport(const ReportPlan& plan, const Recording& recording);

}  // namespace ulix::cli
