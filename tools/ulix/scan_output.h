// Where reports go besides the live table.
#pragma once

#include <memory>
#include <span>
#include <string>

#include "tools/ulix/csv.h"
#include "tools/ulix/output.h"
#include "tools/ulix/report.h"
#include "tools/ulix/scan.h"

namespace ulix::cli {

// {"group":1,"time":"...","channels":[...]}: one line a report.
Json ScanJson(const ScanReport& report);
std::unique_ptr<ScanOutput> MakeJsonLines();

// "2026-01-31T10:11:12.345  IN 12.345 V  ..."
std::string ScanText(std::span<const Channel> channels, const ScanReport& report, const ErrorText& error_text);
std::unique_ptr<ScanOutput> MakePlainLines(std::span<const Channel> channels, ErrorText error_text);

// The live table on a terminal, plain lines elsewhere.
std::unique_ptr<ScanOutput> MakeScreen(std::span<const Channel> channels, ErrorText error_text, Language language,
                                       const ScanPlan& plan);

// Lines are written as they come, behind those of `notes`; OperationFailed when the file takes no more.
std::unique_ptr<ScanOutput> MakeCsvFile(const std::string& path, const std::string& notes, char separator,
                                        std::span<const Channel> channels, ErrorText error_text);

// The drawing is written at the end.
std::unique_ptr<ScanOutput> MakePlotFile(const std::string& path, const std::string& title,
                                         std::span<const Channel> channels, Language language);

// As is the page.
std::unique_ptr<ScanOutput> MakeReportFile(ReportPlan plan, std::span<const Channel> channels);

}  // namespace ulix::cli
