// The options of a scan, for every verb that runs one.
#pragma once

#include <string>
#include <vector>

#include "tools/ulix/connection.h"
#include "tools/ulix/measurement_notes.h"
#include "tools/ulix/scan.h"

namespace CLI {
class App;
}

namespace ulix::cli {

struct ScanOptions {
  ConnectionOptions connection;
  std::vector<std::string> channels;
  ScanPlan plan;
  std::string csv_file;
  char csv_separator = ',';
  MeasurementNotes notes;
  std::string plot_file;
  std::string report_file;
  std::string http;  // address of the live page; empty: no page
  bool json = false;
  bool lines = true;  // print plain lines when there is no live table
};

// Adds the options for channels, period and end.
void AddScan(CLI::App& verb, ScanOptions& options);

// Runs the scan and writes its files. Returns the exit status.
int Scan(ScanOptions options);

}  // namespace ulix::cli
