#include "tools/ulix/with_mqtt/fleet_page.h"

#include "base/numbers.h"
#include "platform/clock.h"
#include "tools/ulix/texts.h"

namespace ulix::cli {
namespace {

constexpr std::size_t kMaxPageLines = 50;

LiveSeries SeriesOf(const FleetRow& row, const std::string& name) {
  const fleet::SeenChannel& seen = row.state;
  LiveSeries series{.name = name, .unit = seen.unit, .cells = {{row.note, !row.note.empty()}}};
  if (seen.value) series.value = ParseDecimal(fleet::NumberText(*seen.value));
  // A stale value is shown but not drawn, because it was not measured now.
  if (seen.quality != fleet::Quality::kGood) series.quality = LiveQuality::kFailed;
  if (seen.time != 0) series.time = LocalDateOf(seen.time);
  return series;
}

}  // namespace

void FleetPage::Show(const fleet::SeenBenches& benches, const std::string& trouble) {
  LiveFrame frame{.time = SystemClock().LocalTime()};
  frame.seconds = std::chrono::duration<double>(std::chrono::steady_clock::now() - began_).count();
  frame.headline = CountsText(CountsOf(benches), language_);
  if (!trouble.empty()) frame.detail = Shown(TextId::kFleetReconnecting, language_, {trouble});
  std::size_t left_out = 0;
  frame.series.resize(places_.size());
  for (const FleetRow& row : FleetRows(benches, language_)) {
    const std::string name = row.bench + (row.instrument.empty() ? "" : " / " + row.instrument) +
                             (row.channel.empty() ? "" : " / " + row.channel);
    if (!row.has_value) {
      if (frame.lines.size() < kMaxPageLines) frame.lines.push_back(name + ": " + row.note);
      continue;
    }
    const auto place = places_.size() < kMaxRows ? places_.try_emplace(name, places_.size()).first : places_.find(name);
    if (place == places_.end()) {
      ++left_out;
      continue;
    }
    if (place->second >= frame.series.size()) frame.series.resize(place->second + 1);
    frame.series[place->second] = SeriesOf(row, name);
  }
  if (left_out > 0) frame.lines.push_back(Shown(TextId::kMoreChannels, language_, {std::to_string(left_out)}));
  page_->Show(std::move(frame));
}

}  // namespace ulix::cli
