// Live values in a browser: one page that this program serves, for reading only. The page loads nothing from elsewhere.
// It needs cpp-httplib; a build without it refuses.
//
//   auto address = ParseLiveAddress("8080");
//   auto page = LivePage::Serve(*address, {.title = "Oven", .columns = {"State"}});
//   LiveFrame frame{.headline = "scanning"};
//   frame.series.push_back({.name = "T1", .unit = "°C", .value = 20.5, .cells = {{"stable"}}});
//   if (page) (*page)->Show(frame);
#pragma once

#include <functional>
#include <map>
#include <memory>
#include <optional>
#include <string>
#include <vector>

#include <tl/expected.hpp>

#include "base/date.h"
#include "base/text.h"

namespace ulix {

enum class LiveQuality {
  kGood,
  kDoubtful,  // shown and drawn, and marked
  kFailed,    // shown as a failure, left out of the curves
};

// A further cell of a row, such as a state or a spread.
struct LiveCell {
  std::string text;
  bool alarm = false;  // shown in red: a limit is exceeded, a reading failed
};

// One named series of values, in one row of the page's table. Texts are UTF-8.
struct LiveSeries {
  std::string name, unit;
  std::optional<double> value;  // nullopt: there is no value, and the curve has a gap
  LiveQuality quality = LiveQuality::kGood;
  Date time = 0;                // local time of the value; 0: that of the frame
  std::vector<LiveCell> cells;  // under LivePageOptions::columns
};

// Everything that the page shows at one moment.
struct LiveFrame {
  double seconds = 0;            // since the beginning: the time axis of the curves. It does not go back.
  Date time = 0;                 // local time
  std::string headline, detail;  // two lines above the table
  std::vector<LiveSeries> series;
  std::vector<std::string> lines;  // below the curves: the newest messages
};

// Where a page is served.
struct LiveAddress {
  std::string address;  // "127.0.0.1", "localhost", "0.0.0.0", "::1" ...
  int port = 0;         // 0: a free port
  bool loopback() const { return address == "127.0.0.1" || address == "localhost" || address == "::1"; }
};
// Reads "8080" (this machine only) or "ADDRESS:8080"; an IPv6 address stands in brackets. nullopt for another text.
std::optional<LiveAddress> ParseLiveAddress(const std::string& text);

// Another document of the same server, such as a list of values for a monitoring system.
struct LiveDocument {
  std::string type;                      // "text/plain; version=0.0.4"
  std::function<std::string()> content;  // called on a thread of the server for each request
};

struct LivePageOptions {
  std::string title;
  std::vector<std::string> columns;  // heads of LiveSeries::cells
  Language language = Language::kEnglish;
  std::map<std::string, LiveDocument> documents;  // by path: "/metrics"
};

class LivePage {
 public:
  // Begins to serve. The error is a sentence in the language of the options: the port cannot be opened, or the program
  // was built without its HTTP library.
  static tl::expected<std::unique_ptr<LivePage>, std::string> Serve(const LiveAddress& where, LivePageOptions options);
  // Tells the open pages that the program has ended, closes their connections and waits for the server's threads.
  virtual ~LivePage() = default;

  // What the page shows from now on. Any thread; waits for no reader. Memory is bounded: the newest 600 frames and at
  // most 1200 frames since the beginning are kept.
  virtual void Show(LiveFrame frame) = 0;
  // "http://localhost:8080/".
  virtual std::string url() const = 0;
};

}  // namespace ulix
