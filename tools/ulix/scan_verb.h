// A scan as the user ordered it, for the verbs that make one.
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
  bool json = false;
  bool lines = true;  // where there is no live table
};

// Channels, period and ends.
void AddScan(CLI::App& verb, ScanOptions& options);

// Makes the scan and writes its files; the exit status.
int Scan(ScanOptions options);

}  // namespace ulix::cli
