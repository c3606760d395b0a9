// The outputs of a scan: screen, CSV file, plot, report.
#pragma once

#include <memory>
#include <span>
#include <string>

#include "tools/ulix/csv.h"
#include "tools/ulix/output.h"
#include "tools/ulix/report.h"
#include "tools/ulix/scan.h"

namespace ulix::cli {

// One report as one line of JSON: {"group":1,"time":"...","channels":[...]}.
Json ScanJson(const ScanReport& report);
std::unique_ptr<ScanOutput> MakeJsonLines();

// One report as one line of text: "2026-01-31T10:11:12.345  IN 12.345 V  ...".
std::string ScanText(std::span<const Channel> channels, const ScanReport& report, const ErrorText& error_text,
                     Language language);
std::unique_ptr<ScanOutput> MakePlainLines(std::span<const Channel> channels, ErrorText error_text, Language language);

// The live table on a terminal; plain lines when the output goes elsewhere.
std::unique_ptr<ScanOutput> MakeScreen(std::span<const Channel> channels, ErrorText error_text, Language language,
                                       const ScanPlan& plan);

// Writes a CSV file: the lines of `notes`, then each report as it comes. Throws OperationFailed when the file cannot be
// written.
std::unique_ptr<ScanOutput> MakeCsvFile(const std::string& path, const std::string& notes, char separator,
                                        std::span<const Channel> channels, ErrorText error_text);

// Writes a plot at the end of the scan.
std::unique_ptr<ScanOutput> MakePlotFile(const std::string& path, const std::string& title,
                                         std::span<const Channel> channels, Language language);

// Writes an HTML report at the end of the scan.
std::unique_ptr<ScanOutput> MakeReportFile(ReportPlan plan, std::span<const Channel> channels);

}  // namespace ulix::cli
