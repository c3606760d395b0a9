// Shows the benches of a laboratory as they tell a broker of themselves.
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

// On a terminal a table that is redrawn in place, elsewhere one line for each report. Throws UsageError for an address
// or a file that cannot be used, and OperationFailed when the broker is not reached at first, or when this program was
// built without its MQTT library. A broker that is lost later is connected to again.
int WatchFleet(const FleetWatchOptions& options);

}  // namespace ulix::cli
