#include "base/numbers.h"
#include "core/version.h"
#include "forms/words.h"
#include "platform/clock.h"
#include "platform/machine.h"
#include "tools/ulix/failures.h"
#include "tools/ulix/output.h"
#include "tools/ulix/report.h"
#include "tools/ulix/words.h"

namespace ulix::cli {
namespace {

std::string Label(Word word, Language language) { return Shown(ulix::Say(word, language)); }

// What the instrument answers, or why it does not.
std::string Identification(Session& session) {
  std::string text;
  const HRESULT result = session.instrument().Identify(&text);
  return Failed(result) ? FailureLine(result, session.Explain(result)) : Shown(text);
}

std::vector<Fact> InstrumentFacts(Session& session, Language language) {
  const ModelCard& card = session.instrument().card();
  std::string link;
  session.instrument().GetCommInfo(&link);
  return {{Say(CliWord::kDisplayName, language), Shown(card.display_name.In(language))},
          {Say(CliWord::kModelWord, language), card.word},
          {Label(Word::kIdentification, language), Identification(session)},
          {Label(Word::kLink, language), Shown(link)},
          {Label(Word::kLibraryVersion, language), VersionText()},
          {Say(CliWord::kComputer, language), platform::MachineName()},
          {Say(CliWord::kMadeOn, language), ShownTime(SystemClock().LocalTime(), language)}};
}

std::vector<Fact> SettingFacts(Session& session, Language language) {
  const Settings& settings = session.instrument().settings();
  std::vector<Fact> facts;
  for (const SettingRow& row : settings.rows()) {
    const std::string text = Shown(settings.TextOf(row));
    const bool real = row.type == VariantType::kR4;
    facts.emplace_back(Shown(row.label.In(language)), real ? InLanguage(text, language) : text);
  }
  return facts;
}

}  // namespace

ReportFacts FactsOf(Session& session, const std::string& title, Language language) {
  const std::string name = Shown(session.instrument().card().display_name.In(language));
  return {Filled(title, {name}), InstrumentFacts(session, language), {}, SettingFacts(session, language)};
}

std::vector<Fact> FactsOf(const GroupSettings& settings, Language language) {
  std::vector<Fact> facts{{Label(Word::kPeriod, language), std::to_string(settings.period_ms) + " ms"}};
  const auto add = [&](Word word, float value, const char* unit) {
    if (value > 0) facts.emplace_back(Label(word, language), InLanguage(FormatShortest(value), language) + unit);
  };
  add(Word::kDeadBandPercent, settings.dead_band_percent, " %");
  add(Word::kDeadBandAbs, settings.dead_band_abs, "");
  add(Word::kSilence, static_cast<float>(settings.dead_time_max_s), " s");
  return facts;
}

}  // namespace ulix::cli
