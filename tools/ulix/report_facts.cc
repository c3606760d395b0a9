#include <set>
#include <string>

#include "base/identification.h"
#include "base/numbers.h"
#include "core/version.h"
#include "drivers/catalogue.h"
#include "forms/instrument_forms.h"
#include "platform/clock.h"
#include "platform/machine.h"
#include "tools/ulix/arguments.h"
#include "tools/ulix/failures.h"
#include "tools/ulix/output.h"
#include "tools/ulix/report.h"
#include "tools/ulix/texts.h"

namespace ulix::cli {
namespace {

// The instrument's identification, or why it could not be read.
std::string Identification(Session& session) {
  std::string text;
  const HRESULT result = session.instrument().Identify(&text);
  return Failed(result) ? FailureLine(result, session.Explain(result)) : Shown(text);
}

// The network address, or all settings of the serial line.
std::string LinkText(Session& session, Language language) {
  if (session.simulated()) return Shown(TextId::kSimulated, language);
  std::optional<NetworkAddress> address;
  if (Succeeded(session.instrument().GetNetworkAddress(&address)) && address) {
    return Shown(address->host) + ":" + std::to_string(address->port);
  }
  std::string text;
  SerialParams params;
  if (Failed(session.instrument().GetSerialParams(&params))) {
    session.instrument().GetCommInfo(&text);
    return Shown(text);
  }
  const Form form = CommForm(session.instrument(), language);
  for (const Field& field : form.pages.front().fields) {
    if (field.key == "host" || field.key == "tcp-port") continue;
    // The number of a port with a path is valid in this process only.
    const bool path = field.key == "port" && !params.location.empty();
    text += (text.empty() ? "" : ", ") + (path ? params.location : field.value) + (field.unit.empty() ? "" : " ") +
            field.unit;
  }
  return Shown(text);
}

std::vector<Fact> InstrumentFacts(Session& session, Language language) {
  const ModelCard& card = session.instrument().card();
  const std::string identification = Identification(session);
  std::string serial_number = SerialNumberIn(identification);
  if (serial_number.empty()) serial_number = "-";
  return {{Shown(TextId::kName, language), Shown(card.display_name.In(language))},
          {Shown(TextId::kModelWord, language), card.model_id},
          {Shown(TextId::kIdentification, language), identification},
          {Shown(TextId::kSerialNumber, language), serial_number},
          {Shown(TextId::kLink, language), LinkText(session, language)},
          {Shown(TextId::kLibraryVersion, language), VersionText()},
          {Shown(TextId::kComputer, language), platform::MachineName()}};
}

// Keeps the settings that are known.
template <typename IsKnown>
void AddSettings(ReportFacts& facts, const Settings& settings, Language language, IsKnown&& is_known) {
  const Settings defaults(settings.rows());
  bool all = true;
  for (const SettingRow& row : settings.rows()) {
    all &= is_known(row);
    if (!is_known(row)) continue;
    const std::string text = Shown(settings.TextOf(row, language));
    const bool real = row.type == VariantType::kR4;
    const bool changed = settings.TextOf(row) != defaults.TextOf(row);
    (changed ? facts.settings : facts.default_settings)
        .emplace_back(Shown(row.label.In(language)), real ? InLanguage(text, language) : text);
  }
  if (!all) facts.settings.emplace_back(Shown(TextId::kOtherSettings, language), Shown(TextId::kNotAsked, language));
}

// Adds the settings in the file that its model has.
void AddSettings(ReportFacts& facts, const CsvMeasurement& measurement, Language language) {
  const CatalogueEntry* entry = FindModel(measurement.Note("model"));
  if (entry == nullptr) return;
  Settings settings(entry->card->settings);
  std::set<std::string> noted;
  for (const SettingRow& row : settings.rows()) {
    const auto text = LibraryText(measurement.Note(std::string("setting ") + row.key));
    if (text && !text->empty() && Succeeded(settings.SetText(row, *text))) noted.insert(row.key);
  }
  if (noted.empty()) return;
  const bool all = measurement.Note(kOtherSettingsNote).empty();
  AddSettings(facts, settings, language, [&](const SettingRow& row) { return all || noted.contains(row.key); });
}

}  // namespace

ReportFacts FactsOf(Session& session, const std::string& title, Language language) {
  const std::string name = Shown(session.instrument().card().display_name.In(language));
  ReportFacts facts{WithValues(title, {name}), InstrumentFacts(session, language), {}, {}, {}};
  AddSettings(facts, session.instrument().settings(), language,
              [&](const SettingRow& row) { return session.IsKnown(row); });
  return facts;
}

ReportFacts FactsOf(const CsvMeasurement& measurement, const std::string& title, Language language) {
  ReportFacts facts{title, {}, {}, {}, {}};
  const std::pair<TextId, const char*> rows[] = {{TextId::kName, "instrument"},
                                                 {TextId::kModelWord, "model"},
                                                 {TextId::kIdentification, "identification"},
                                                 {TextId::kSerialNumber, "serial-number"},
                                                 {TextId::kLibraryVersion, "ulix"}};
  for (const auto& [label, key] : rows) {
    const std::string text = measurement.Note(key);
    if (!text.empty()) facts.instrument.emplace_back(Shown(label, language), text);
  }
  AddNotes(facts, {measurement.Note("title"), measurement.Note("operator"), measurement.Note("note")}, language);
  AddSettings(facts, measurement, language);
  return facts;
}

void AddNotes(ReportFacts& facts, const MeasurementNotes& notes, Language language) {
  if (!notes.title.empty()) facts.title = notes.title;
  const auto add = [&](TextId label, const std::string& text) {
    if (!text.empty()) facts.measurement.emplace_back(Shown(label, language), text);
  };
  add(TextId::kOperator, notes.operator_name);
  add(TextId::kNote, notes.note);
}

std::vector<Fact> FactsOf(const GroupSettings& settings, Language language) {
  std::vector<Fact> facts{{Shown(TextId::kPeriod, language), std::to_string(settings.period_ms) + " ms"}};
  const auto add = [&](TextId label, float value, const char* unit) {
    if (value > 0) facts.emplace_back(Shown(label, language), InLanguage(FormatShortest(value), language) + unit);
  };
  add(TextId::kDeadBandPercent, settings.dead_band_percent, " %");
  add(TextId::kDeadBandAbs, settings.dead_band_abs, "");
  add(TextId::kDeadTimeMax, static_cast<float>(settings.dead_time_max_s), " s");
  return facts;
}

}  // namespace ulix::cli
