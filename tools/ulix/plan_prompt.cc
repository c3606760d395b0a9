#include "tools/ulix/plan_prompt.h"

#include <nlohmann/json.hpp>

#include <algorithm>
#include <functional>
#include <iostream>
#include <map>
#include <vector>

#include "base/text.h"
#include "calibration/plan_loader.h"
#include "calibration/plan_sensor.h"
#include "drivers/catalogue.h"
#include "links/local_number.h"
#include "platform/terminal.h"
#include "tools/ulix/arguments.h"
#include "tools/ulix/failures.h"
#include "tools/ulix/interrupt.h"
#include "tools/ulix/output.h"
#include "tools/ulix/suggestion.h"
#include "tools/ulix/texts.h"

namespace ulix::cli {
namespace {

struct Left {};  // thrown when the user leaves

std::optional<std::string> NextLine() {
  static const std::atomic<bool>& interrupted = CatchInterrupts();
  return platform::ReadTypedLine(interrupted);
}

// Checks an entry. Returns the reason of the refusal; empty when the entry is accepted.
using Check = std::function<std::string(const std::string&)>;

std::string Ask(TextId question, const std::string& usual, const Check& check = {},
                std::initializer_list<std::string> values = {}) {
  for (;;) {
    std::cout << Shown(question, values) << (usual.empty() ? "" : " [" + usual + "]") << ": " << std::flush;
    const auto line = NextLine();
    if (!line) throw Left();
    std::string entry(Trimmed(*line));
    if (entry.empty()) entry = usual;
    const std::string why = check ? check(entry) : std::string();
    if (why.empty()) return entry;
    std::cout << "  " << why << '\n';
  }
}

std::string IsModel(const std::string& entry) {
  if (FindModel(entry)) return {};
  std::vector<std::string> models;
  for (const CatalogueEntry& one : Catalogue()) models.emplace_back(one.card->model_id);
  const std::string why = Shown(TextId::kAskNoModel);
  return why + DidYouMean(entry, models);
}

std::string IsNumber(const std::string& entry) { return TypedNumber(entry) ? "" : Shown(TextId::kAskNoNumber); }
std::string IsThere(const std::string& entry) { return entry.empty() ? Shown(TextId::kAskMissing) : ""; }

Check IsOneOf(std::vector<std::string> words) {
  return [words = std::move(words)](const std::string& entry) {
    if (std::count(words.begin(), words.end(), entry) > 0) return std::string();
    std::string all;
    for (const std::string& word : words) all += (all.empty() ? "" : ", ") + word;
    return Shown(TextId::kAskNoChoice, {all});
  };
}

std::string IsSensor(const std::string& entry) {
  if (entry == "none") return {};
  calibration::SensorSpec sensor;
  sensor.type = entry;
  return calibration::SensorOf(sensor) ? "" : Shown(TextId::kAskNoSensor);
}

std::string IsDuration(const std::string& entry) {
  const bool unit = !entry.empty() && std::string("smhd").find(entry.back()) != std::string::npos;
  return TypedNumber(unit ? entry.substr(0, entry.size() - 1) : entry) ? "" : Shown(TextId::kAskNoDuration);
}

std::vector<std::string> ListOf(const std::string& entry) {
  std::vector<std::string> parts;
  for (const std::string_view part : SplitWords(entry, " ;")) parts.emplace_back(part);
  return parts;
}

std::string AreNumbers(const std::string& entry) {
  const auto parts = ListOf(entry);
  const bool good = !parts.empty() && std::all_of(parts.begin(), parts.end(), [](const std::string& part) {
    return TypedNumber(part).has_value();
  });
  return good ? "" : Shown(TextId::kAskNoNumber);
}

double AskNumber(TextId question, const std::string& usual) { return *TypedNumber(Ask(question, usual, IsNumber)); }

bool AskWhether(TextId question) { return Ask(question, "no", IsOneOf({"yes", "no"})) == "yes"; }

// The channels of a model that can be read or, with `written`, be written.
std::vector<std::string> ChannelNames(const std::string& model, bool written) {
  std::vector<std::string> names;
  for (const auto& channel : FindModel(model)->card->channels) {
    const bool fits = written ? channel.direction != ChanIn : channel.direction != ChanOut;
    if (fits) names.push_back(Shown(channel.name));
  }
  return names;
}

class PlanPrompt {
 public:
  Json Run();

 private:
  struct Place {
    std::string instrument, model;
  };
  Place AskInstrument(const std::string& role);
  static std::string AskChannel(const Place& place, bool written);
  void AddSensor(Json& to, const Place& place);
  void AskSource();
  void AskReference();
  void AskUnits();
  void AskCourse();

  Json plan_;
  Json instruments_ = Json::object();
  std::map<std::string, std::string> known_;  // key: model and port; value: the instrument's name in the plan
  bool all_simulated_ = true;
};

PlanPrompt::Place PlanPrompt::AskInstrument(const std::string& role) {
  const std::string model = FindModel(Ask(TextId::kModelWord, "", IsModel))->card->model_id;
  const std::string port = Ask(TextId::kAskPort, "sim", IsThere);
  const auto [known, is_new] = known_.emplace(model + "@" + port, role);
  if (is_new) instruments_[role] = {{"model", model}, {"port", port}};
  all_simulated_ = all_simulated_ && port == "sim";
  return {known->second, model};
}

std::string PlanPrompt::AskChannel(const Place& place, bool written) {
  const auto names = ChannelNames(place.model, written);
  std::string some;
  constexpr std::size_t kShown = 8;
  for (std::size_t k = 0; k < std::min(names.size(), kShown); ++k) some += (k == 0 ? "" : ", ") + names[k];
  if (names.size() > kShown) some += ", …";
  const auto entry = Ask(TextId::kAskChannel, names.empty() ? "" : names.front(), IsThere, {some});
  return place.instrument + "/" + entry;
}

void PlanPrompt::AddSensor(Json& to, const Place& place) {
  if (plan_["quantity"] == "pressure") return;
  const bool ohms = place.model == "microk";
  const std::string sensor = Ask(TextId::kAskSensor, ohms ? "pt100" : "none", IsSensor);
  if (sensor != "none") to["sensor"] = sensor;
}

void PlanPrompt::AskSource() {
  std::cout << '\n' << Shown(TextId::kAskSource) << '\n';
  const Place place = AskInstrument("source");
  Json source{{"set", AskChannel(place, true)}};
  source["safe"] = AskNumber(TextId::kAskSafe, plan_["quantity"] == "pressure" ? "0" : "20");
  source["min"] = AskNumber(TextId::kAskMin, "0");
  source["max"] = AskNumber(TextId::kAskMax, "100");
  source["rate"] = AskNumber(TextId::kAskRate, "5");
  plan_["source"] = std::move(source);
}

void PlanPrompt::AskReference() {
  std::cout << '\n' << Shown(TextId::kAskReference) << '\n';
  const Place place = AskInstrument("reference");
  Json reference{{"channel", AskChannel(place, false)}};
  AddSensor(reference, place);
  const std::string serial = Ask(TextId::kAskSerial, "");
  if (!serial.empty()) reference["serial-number"] = serial;
  plan_["reference"] = std::move(reference);
}

void PlanPrompt::AskUnits() {
  plan_["units"] = Json::array();
  do {
    const std::string number = std::to_string(plan_["units"].size() + 1);
    std::cout << '\n' << Shown(TextId::kAskUnitHead, {number}) << '\n';
    Json unit{{"name", Ask(TextId::kName, Shown(TextId::kAskUnitName, {number}), IsThere)}};
    const Place place = AskInstrument("unit-" + number);
    unit["channel"] = AskChannel(place, false);
    AddSensor(unit, place);
    const std::string serial = Ask(TextId::kAskSerial, "");
    if (!serial.empty()) unit["serial-number"] = serial;
    const double tolerance = AskNumber(TextId::kAskTolerance, "0");
    if (tolerance > 0) unit["tolerance"] = tolerance;
    plan_["units"].push_back(std::move(unit));
  } while (AskWhether(TextId::kAskAnother));
}

void PlanPrompt::AskCourse() {
  std::cout << '\n';
  plan_["points"] = Json::array();
  for (const std::string& part : ListOf(Ask(TextId::kAskPoints, "30 60 90", AreNumbers)))
    plan_["points"].push_back(*TypedNumber(part));
  if (AskWhether(TextId::kAskFalling)) plan_["sequence"] = "rising-falling";
  plan_["phases"] = Json::array({"as-found"});
  if (AskWhether(TextId::kAskAsLeft)) plan_["phases"].push_back("as-left");
  Json stability{{"window", Ask(TextId::kAskWindow, "10m", IsDuration)}};
  stability["spread"] = AskNumber(TextId::kAskSpread, "0.03");
  stability["drift"] = AskNumber(TextId::kAskDrift, "0.03");
  plan_["stability"] = std::move(stability);
  plan_["readings"] = {{"count", static_cast<int>(AskNumber(TextId::kAskCount, "10"))}, {"period", "5s"}};
}

Json PlanPrompt::Run() {
  std::cout << Shown(TextId::kAskIntroduction) << '\n';
  plan_["plan"] = 1;
  plan_["title"] = Ask(TextId::kAskTitle, "Calibration", IsThere);
  const std::string person = Ask(TextId::kOperator, "");
  if (!person.empty()) plan_["operator"] = person;
  plan_["quantity"] = Ask(TextId::kAskQuantity, "temperature", IsOneOf({"temperature", "pressure"}));
  if (plan_["quantity"] == "pressure") plan_["unit"] = Ask(TextId::kAskUnit, "kPa", IsThere);
  plan_["instruments"] = nullptr;  // reserves the place of this key in the file
  AskSource();
  AskReference();
  AskUnits();
  AskCourse();
  plan_["instruments"] = instruments_;
  return std::move(plan_);
}

}  // namespace

int AskForPlan(const std::string& file, bool force) {
  CheckKind("new", file, ".json");
  CheckMayReplace("new", file, force);
  CheckReplaceable(file);
  try {
    const std::string text = PlanPrompt().Run().dump(2) + "\n";
    WriteWholeFile(file, text);
    PrintLine(Shown(TextId::kAskWritten, {file}));
    for (const auto& problem : calibration::LoadPlan(text, "").problems) {
      std::cerr << file << ":" << calibration::Described(problem, ShownLanguage()) << '\n';
    }
    return 0;
  } catch (const Left&) {
    throw UsageError("new", Shown(TextId::kAskLeft));
  }
}

}  // namespace ulix::cli
