// The recorded memory as the user asked for it, for the verbs that read it.
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
  std::optional<std::uint32_t> count;  // to clear
  std::uint32_t most = 0;
  bool clear = false;
  bool yes = false;  // clears without asking
  std::string csv_file;
  char csv_separator = ',';
  MeasurementNotes notes;
  std::string plot_file;
  std::string report_file;
  bool json = false;
  bool lines = true;  // of the records, on the screen
};

// Does the action; the exit status.
int Memory(const MemoryOptions& options);

}  // namespace ulix::cli
