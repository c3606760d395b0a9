// The benches of a laboratory in a browser, and for a monitoring system.
#pragma once

#include <chrono>
#include <map>
#include <memory>
#include <string>

#include "fleet/fleet_view.h"
#include "tools/live_page/live_page.h"
#include "tools/ulix/with_mqtt/fleet_table.h"

namespace ulix::cli {

// A channel keeps its row, because the page draws one curve for each row; new channels come last. At most kMaxRows
// channels are shown.
class FleetPage {
 public:
  static constexpr std::size_t kMaxRows = 200;

  explicit FleetPage(std::unique_ptr<LivePage> page, Language language)
      : page_(std::move(page)), language_(language), began_(std::chrono::steady_clock::now()) {}
  // `trouble` is why the broker is not connected; empty while it is.
  void Show(const fleet::SeenBenches& benches, const std::string& trouble);

 private:
  std::unique_ptr<LivePage> page_;
  const Language language_;
  const std::chrono::steady_clock::time_point began_;
  std::map<std::string, std::size_t> places_;  // row of each channel, by the name of the row
};

}  // namespace ulix::cli
