#include "tools/ulix/with_mqtt/fleet_table.h"

#include <algorithm>
#include <array>

#include "platform/clock.h"
#include "tools/ulix/output.h"
#include "tools/ulix/texts.h"

namespace ulix::cli {
namespace {

using fleet::Quality;
using fleet::SeenBench;
using fleet::SeenBenches;
using fleet::SeenChannel;
using fleet::SeenInstrument;

constexpr double kMsPerDay = 86'400'000;
constexpr std::size_t kTimeAt = 11, kTimeSize = 8;  // in a date's text
constexpr std::size_t kMaxName = 24;
constexpr std::size_t kColumns = 7;
constexpr std::size_t kValueColumn = 3;
using Cells = std::array<std::string, kColumns>;

std::string GoneNote(const SeenBench& bench, const SeenInstrument& instrument, Language language) {
  if (!bench.connected) return Shown(TextId::kFleetBenchGone, language);
  return instrument.connected ? "" : Shown(TextId::kFleetInstrumentGone, language);
}

void AddRows(std::vector<FleetRow>& rows, const std::string& name, const SeenBench& bench, Language language) {
  if (bench.instruments.empty()) {
    const TextId note = bench.connected ? TextId::kFleetNoInstrument : TextId::kFleetBenchGone;
    rows.push_back({.bench = name, .note = Shown(note, language)});
  }
  for (const auto& [instrument_name, instrument] : bench.instruments) {
    const std::string gone = GoneNote(bench, instrument, language);
    if (instrument.channels.empty()) rows.push_back({.bench = name, .instrument = instrument_name, .note = gone});
    for (const auto& [channel_name, channel] : instrument.channels) {
      rows.push_back(
          {name, instrument_name, channel_name, channel, true, gone.empty() ? StateNote(channel, language) : gone});
    }
  }
}

Cells CellsOf(const FleetRow& row) {
  const SeenChannel& seen = row.state;
  const std::string time = seen.time == 0 ? "" : IsoTime(LocalDateOf(seen.time)).substr(kTimeAt, kTimeSize);
  const std::string value = seen.value ? ShownNumber(fleet::NumberText(*seen.value)) : row.has_value ? "--" : "";
  return {Cut(row.bench, kMaxName),
          Cut(row.instrument, kMaxName),
          Cut(row.channel, kMaxName),
          value,
          seen.unit,
          time,
          row.note};
}

std::string LineOf(const Cells& cells, const std::array<std::size_t, kColumns>& widths) {
  std::string line;
  for (std::size_t k = 0; k < kColumns; ++k) {
    const std::size_t shown = DisplayWidth(cells[k]);
    const std::string blanks(shown < widths[k] ? widths[k] - shown : 0, ' ');
    line += k == kValueColumn ? blanks + cells[k] : cells[k] + blanks;
    line += k == kValueColumn ? " " : "  ";
  }
  return line.substr(0, line.find_last_not_of(' ') + 1);
}

}  // namespace

Date LocalDateOf(fleet::UnixMs time) {
  const double age_ms = static_cast<double>(fleet::UnixNow()) - static_cast<double>(time);
  return SystemClock().LocalTime() - age_ms / kMsPerDay;
}

std::string StateNote(const SeenChannel& channel, Language language) {
  if (channel.quality == Quality::kGood) return {};
  if (channel.quality == Quality::kStale) return Shown(TextId::kFleetStale, language);
  const std::string bad = Shown(TextId::kFleetBad, language);
  return channel.error == 0 ? bad : bad + ": " + FailureLine(channel.error, channel.error_text);
}

std::vector<FleetRow> FleetRows(const SeenBenches& benches, Language language) {
  std::vector<FleetRow> rows;
  for (const auto& [name, bench] : benches) AddRows(rows, name, bench, language);
  return rows;
}

FleetCounts CountsOf(const SeenBenches& benches) {
  FleetCounts counts{.benches = benches.size()};
  for (const auto& [name, bench] : benches) {
    if (bench.connected) ++counts.connected;
    for (const auto& [instrument_name, instrument] : bench.instruments) {
      for (const auto& [channel_name, channel] : instrument.channels) {
        ++(channel.quality == Quality::kGood  ? counts.good
           : channel.quality == Quality::kBad ? counts.bad
                                              : counts.stale);
      }
    }
  }
  return counts;
}

std::string CountsText(const FleetCounts& counts, Language language) {
  if (counts.benches == 0) return Shown(TextId::kFleetWaiting, language);
  return Shown(TextId::kFleetBenches, language, {std::to_string(counts.connected), std::to_string(counts.benches)}) +
         ", " +
         Shown(TextId::kFleetChannels, language,
               {std::to_string(counts.good), std::to_string(counts.bad), std::to_string(counts.stale)});
}

std::vector<std::string> FleetLines(std::vector<FleetRow> rows, std::size_t width, std::size_t max_rows,
                                    Language language) {
  const std::size_t all = rows.size();
  if (all > max_rows) {
    std::stable_partition(rows.begin(), rows.end(), [](const FleetRow& row) { return !row.note.empty(); });
    rows.resize(max_rows > 0 ? max_rows - 1 : 0);
  }
  const auto heads = Heads({TextId::kFleetBenchHead, TextId::kFleetInstrumentHead, TextId::kChannelHead,
                            TextId::kValueHead, TextId::kUnitHead, TextId::kFleetTimeHead, TextId::kFleetStateHead},
                           language);
  std::vector<Cells> table(1);
  std::copy(heads.begin(), heads.end(), table.front().begin());
  std::transform(rows.begin(), rows.end(), std::back_inserter(table), CellsOf);
  std::array<std::size_t, kColumns> widths{};
  for (const Cells& cells : table) {
    for (std::size_t k = 0; k < kColumns; ++k) widths[k] = std::max(widths[k], DisplayWidth(cells[k]));
  }
  std::vector<std::string> lines{Bold(Cut(LineOf(table.front(), widths), width))};
  for (std::size_t k = 0; k < rows.size(); ++k) {
    const std::string line = Cut(LineOf(table[k + 1], widths), width);
    lines.push_back(rows[k].note.empty() ? line : Red(line));
  }
  if (all > rows.size()) {
    lines.push_back(Cut(Shown(TextId::kMoreChannels, language, {std::to_string(all - rows.size())}), width));
  }
  return lines;
}

}  // namespace ulix::cli
