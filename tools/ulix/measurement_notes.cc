#include "tools/ulix/measurement_notes.h"

#include <CLI/CLI.hpp>

#include <algorithm>
#include <array>
#include <chrono>
#include <cmath>
#include <cstdio>

#include "base/identification.h"
#include "base/text.h"
#include "core/version.h"
#include "platform/clock.h"
#include "tools/ulix/interrupt.h"
#include "tools/ulix/output.h"
#include "tools/ulix/texts.h"

namespace ulix::cli {
namespace {

// One note as one line: line breaks in the text are removed.
std::string NoteLine(const std::string& key, std::string text) {
  if (text.empty()) return {};
  std::replace_if(
      text.begin(), text.end(), [](char c) { return c == '\n' || c == '\r'; }, ' ');
  return "# " + key + ": " + text + "\n";
}

std::string SettingLines(Session& session) {
  const Settings& settings = session.instrument().settings();
  std::string lines;
  bool all = true;
  for (const SettingRow& row : settings.rows()) {
    const bool known = session.IsKnown(row);
    if (known) lines += NoteLine(std::string("setting ") + row.key, Shown(settings.TextOf(row)));
    all = all && known;
  }
  return all ? lines : lines + NoteLine(kOtherSettingsNote, "not asked");
}

}  // namespace

void AddNotes(CLI::App& verb, MeasurementNotes& notes) {
  const struct {
    const char* option;
    std::string& text;
    std::string help;
  } rows[] = {{"--title", notes.title, Shown(TextId::kHelpTitle)},
              {"--operator", notes.operator_name, Shown(TextId::kHelpOperator)},
              {"--note", notes.note, Shown(TextId::kHelpNote)}};
  for (const auto& [option, text, help] : rows)
    verb.add_option(option, text, help)->type_name("TEXT")->group(Shown(TextId::kHelpNoteOptions));
}

std::string UtcOffset() {
  constexpr double kUnixEpoch = 25569;  // 1970-01-01 in days since 1899-12-30
  constexpr double kMinutesPerDay = 24 * 60;
  const std::chrono::duration<double, std::ratio<86400>> utc = std::chrono::system_clock::now().time_since_epoch();
  const auto minutes =
      static_cast<int>(std::lround((SystemClock().LocalTime() - kUnixEpoch - utc.count()) * kMinutesPerDay));
  std::array<char, 16> text{};
  std::snprintf(text.data(), text.size(), "%c%02d:%02d", minutes < 0 ? '-' : '+', std::abs(minutes) / 60 % 100,
                std::abs(minutes) % 60);
  return text.data();
}

std::string NotesForCsv(Session& session, std::span<const Channel> channels, const MeasurementNotes& notes) {
  const ModelCard& card = session.instrument().card();
  std::string identification;
  // When the user has stopped the scan before it began, the instrument is not queried.
  const HRESULT identified = CatchInterrupts() ? E_NOTIMPL : session.instrument().Identify(&identification);
  if (identified != E_NOTIMPL) session.Check(identified);
  identification = Shown(identification);
  std::string lines =
      NoteLine("ulix", VersionText()) + NoteLine("model", card.model_id) +
      NoteLine("instrument", Shown(card.display_name.In(Language::kEnglish))) +
      NoteLine("identification", identification) + NoteLine("serial-number", SerialNumberIn(identification)) +
      NoteLine("started", IsoTime(SystemClock().LocalTime())) + NoteLine("utc-offset", UtcOffset()) +
      NoteLine("title", notes.title) + NoteLine("operator", notes.operator_name) + NoteLine("note", notes.note);
  for (const Channel& channel : channels) {
    lines += NoteLine("channel " + std::to_string(channel.id), channel.name);
    lines += NoteLine("unit " + channel.name, channel.unit);
    if (channel.resolution != kShortest)
      lines += NoteLine("decimals " + channel.name, std::to_string(channel.resolution));
  }
  return lines + SettingLines(session);
}

}  // namespace ulix::cli
