// Shows the benches of a laboratory from their messages on a broker.
#pragma once

#include <optional>
#include <string>

#include "base/text.h"

namespace ulix::cli {

struct FleetWatchOptions {
  std::string url;  // "mqtt://[USER@]HOST[:PORT]/GROUP"
  std::string password_file;
  std::string ca_file, certificate, key;
  bool no_tls = false;
  std::string http;  // a text that --http accepts; empty: no page
  bool json = false;
  std::optional<double> duration_s;  // none: until Ctrl-C
  Language language = Language::kEnglish;
};

// Shows a table that is redrawn in place on a terminal, and elsewhere one line for each report. Throws UsageError for
// an address or a file that cannot be used, and OperationFailed when the first connection to the broker fails or when
// this program was built without its MQTT library. If the broker is lost later, connects to it again.
int WatchFleet(const FleetWatchOptions& options);

}  // namespace ulix::cli
