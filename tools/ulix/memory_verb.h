// The options and the run of a memory read, for the verbs that read a memory.
#pragma once

#include <cstdint>
#include <optional>
#include <string>

#include "tools/ulix/connection.h"
#include "tools/ulix/measurement_notes.h"

namespace ulix::cli {

struct MemoryOptions {
  ConnectionOptions connection;
  std::string action;
  std::string block;
  std::optional<std::uint32_t> count;  // How many records to clear.
  std::uint32_t max_records = 0;
  bool clear = false;
  bool yes = false;  // Clear without a question.
  std::string csv_file;
  char csv_separator = ',';
  MeasurementNotes notes;
  std::string plot_file;
  std::string report_file;
  bool json = false;
  bool lines = true;  // Show the records on the screen.
};

// Runs the action and returns the exit status.
int Memory(const MemoryOptions& options);

}  // namespace ulix::cli
