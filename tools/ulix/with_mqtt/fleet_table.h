// The benches of a laboratory as lines of a table and as rows of a page.
#pragma once

#include <cstddef>
#include <string>
#include <vector>

#include "base/date.h"
#include "base/text.h"
#include "fleet/fleet_view.h"

namespace ulix::cli {

// One row: a channel, or a bench or an instrument without channels.
struct FleetRow {
  std::string bench, instrument, channel;
  fleet::SeenChannel state;
  bool has_value = false;  // whether there is a channel
  std::string note;        // what is wrong; empty for a good value
};

struct FleetCounts {
  std::size_t connected = 0, benches = 0;
  std::size_t good = 0, bad = 0, stale = 0;  // channels
};

std::vector<FleetRow> FleetRows(const fleet::SeenBenches& benches, Language language);
FleetCounts CountsOf(const fleet::SeenBenches& benches);
// The summary: "4 of 5 benches connected, 7 channels good, 0 bad, 1 stale".
std::string CountsText(const FleetCounts& counts, Language language);

// The remark about a value: empty for a good one, else bad or stale, and why.
std::string StateNote(const fleet::SeenChannel& channel, Language language);

// The headings and at most `max_rows` rows, `width` columns wide. When there are more rows, those that are not good
// come first, and the last line tells how many are left out.
std::vector<std::string> FleetLines(std::vector<FleetRow> rows, std::size_t width, std::size_t max_rows,
                                    Language language);

// The local time of a reading.
Date LocalDateOf(fleet::UnixMs time);

}  // namespace ulix::cli
