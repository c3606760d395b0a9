#include "base/numbers.h"
#include "core/version.h"
#include "forms/instrument_forms.h"
#include "platform/clock.h"
#include "platform/machine.h"
#include "tools/ulix/failures.h"
#include "tools/ulix/output.h"
#include "tools/ulix/report.h"
#include "tools/ulix/texts.h"

namespace ulix::cli {
namespace {

// What the instrument answers, or why it does not.
std::string Identification(Session& session) {
  std::string text;
  const HRESULT result = session.instrument().Identify(&text);
  return Failed(result) ? FailureLine(result, session.Explain(result)) : Shown(text);
}

// The network address, or all of the serial line's settings.
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
    text += (text.empty() ? "" : ", ") + field.value + (field.unit.empty() ? "" : " ") + field.unit;
  }
  return Shown(text);
}

std::vector<Fact> InstrumentFacts(Session& session, Language language) {
  const ModelCard& card = session.instrument().card();
  return {{Shown(TextId::kName, language), Shown(card.display_name.In(language))},
          {Shown(TextId::kModelWord, language), card.model_id},
          {Shown(TextId::kIdentification, language), Identification(session)},
          {Shown(TextId::kLink, language), LinkText(session, language)},
          {Shown(TextId::kLibraryVersion, language), VersionText()},
          {Shown(TextId::kComputer, language), platform::MachineName()}};
}

std::vector<Fact> SettingFacts(Session& session, Language language) {
  const Settings& settings = session.instrument().settings();
  std::vector<Fact> facts;
  for (const SettingRow& row : settings.rows()) {
    const std::string text = Shown(settings.TextOf(row, language));
    const bool real = row.type == VariantType::kR4;
    facts.emplace_back(Shown(row.label.In(language)), real ? InLanguage(text, language) : text);
  }
  return facts;
}

}  // namespace

ReportFacts FactsOf(Session& session, const std::string& title, Language language) {
  const std::string name = Shown(session.instrument().card().display_name.In(language));
  return {WithValues(title, {name}), InstrumentFacts(session, language), {}, SettingFacts(session, language)};
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
