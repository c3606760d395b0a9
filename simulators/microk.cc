#include "simulators/microk.h"

#include <algorithm>
#include <charconv>
#include <cmath>
#include <numbers>
#include <span>
#include <vector>

#include "base/numbers.h"
#include "base/text.h"
#include "simulators/platinum.h"

namespace ulix {
namespace {

using Names = std::span<const std::string_view>;

constexpr std::string_view kConversions[] = {"IEC60751(3-WIRE)", "IEC60751(4-WIRE)"};
constexpr std::string_view kThermocouples[] = {"TYPE B", "TYPE E", "TYPE J", "TYPE K",     "TYPE L",    "TYPE N",
                                               "TYPE R", "TYPE S", "TYPE T", "TYPE AU-PT", "TYPE PT-PD"};
constexpr std::string_view kProbeUnits[] = {"K", "C", "F"};
constexpr std::string_view kRanges[] = {"115", "460", "500000"};
constexpr std::string_view kCurrents[] = {"NORM", "ROOT2"};
constexpr std::string_view kJunctions[] = {"INT", "NON"};
constexpr std::string_view kProbeNumber[] = {"#"};  // Stands for the number of a probe in the database.

enum class Quantity { kOhms, kVolts, kMilliamperes, kTemperature };

// A query and its options, in this order.
struct Query {
  std::string_view head;
  bool numbered;  // A channel number follows the head.
  Quantity quantity;
  std::vector<Names> options;
};

const Query kQueries[] = {
    {"MEAS:RES", true, Quantity::kOhms, {kRanges, kCurrents}},
    {"MEAS:TEMP", true, Quantity::kTemperature, {kConversions, kProbeUnits, kRanges, kCurrents}},
    {"MEAS:TEMP", true, Quantity::kTemperature, {kProbeNumber, kProbeUnits, kRanges, kCurrents}},
    {"MEAS:TEMP", true, Quantity::kTemperature, {kThermocouples, kProbeUnits, kJunctions}},
    {"MEAS:TEMP3? ", false, Quantity::kTemperature, {kProbeNumber, kProbeUnits}},
    {"MEAS:VOLT", true, Quantity::kVolts, {kJunctions}},
    {"MEAS:CURR? ", false, Quantity::kMilliamperes, {}},
};
constexpr unsigned kCurrentInput = 3;

std::optional<unsigned> WholeNumber(std::string_view text) {
  unsigned number = 0;
  const auto [end, error] = std::from_chars(text.data(), text.data() + text.size(), number);
  return error == std::errc() && end == text.data() + text.size() ? std::optional(number) : std::nullopt;
}

// The number between two fixed texts; none when the request has another form.
std::optional<unsigned> NumberIn(std::string_view request, std::string_view before, std::string_view after) {
  if (!request.starts_with(before) || !request.ends_with(after)) return std::nullopt;
  request.remove_prefix(before.size());
  if (request.size() < after.size()) return std::nullopt;
  return WholeNumber(request.substr(0, request.size() - after.size()));
}

bool IsOption(std::string_view text, Names allowed, std::size_t probes) {
  if (allowed.data() != kProbeNumber) return std::find(allowed.begin(), allowed.end(), text) != allowed.end();
  const auto number = WholeNumber(text);
  return number && *number >= 1 && *number <= probes;
}

// The fields between commas; none for an empty text.
std::vector<std::string_view> Fields(std::string_view text) {
  std::vector<std::string_view> fields;
  while (!text.empty()) {
    const std::size_t end = std::min(text.find(','), text.size());
    fields.push_back(text.substr(0, end));
    if (end + 1 == text.size()) fields.emplace_back();
    text.remove_prefix(std::min(end + 1, text.size()));
  }
  return fields;
}

bool AreOptions(std::string_view text, const Query& query, std::size_t probes) {
  const auto fields = Fields(text);
  return std::equal(fields.begin(), fields.end(), query.options.begin(), query.options.end(),
                    [&](std::string_view field, Names allowed) { return IsOption(field, allowed, probes); });
}

// The channel in a request, when the request is this query; else none.
std::optional<unsigned> ChannelOf(std::string_view request, const Query& query, std::size_t probes) {
  if (!request.starts_with(query.head)) return std::nullopt;
  request.remove_prefix(query.head.size());
  if (!query.numbered) return AreOptions(request, query, probes) ? std::optional(kCurrentInput) : std::nullopt;
  const std::size_t mark = request.find("? ");
  if (mark == request.npos || !AreOptions(request.substr(mark + 2), query, probes)) return std::nullopt;
  return WholeNumber(request.substr(0, mark));
}

double InUnit(double celsius, std::string_view request) {
  if (request.find(",K") != request.npos) return celsius + 273.15;
  return request.find(",F") != request.npos ? celsius * 1.8 + 32 : celsius;
}

double ValueOf(Quantity quantity, double celsius, std::string_view request) {
  switch (quantity) {
    case Quantity::kOhms:
      return PlatinumOhms(celsius);
    case Quantity::kVolts:
      return celsius * 40e-6;
    case Quantity::kMilliamperes:
      return 4 + celsius * 0.16;
    default:
      return InUnit(celsius, request);
  }
}

bool IsListed(std::string_view list, unsigned number) {
  const auto words = SplitWords(list, ", ");
  return std::any_of(words.begin(), words.end(), [&](std::string_view word) { return WholeNumber(word) == number; });
}

}  // namespace

double MicrokModel::Measure(unsigned channel) {
  const auto connected = place ? place->Input(channel) : std::nullopt;
  if (connected) return *connected;
  const double seconds = std::chrono::duration<double>(clock_.Now() - started_).count();
  const double swing = period > 0 ? amplitude * std::sin(2 * std::numbers::pi * seconds / period) : 0;
  return temperature + swing + step * channel + random_.Next(noise);
}

MicrokSimulator::MicrokSimulator(Clock& clock)
    : LineSimulator('\r'),
      model_(clock),
      properties_{{"model", &face_},
                  {"identity", &identity_},
                  {"temperature", &model_.temperature},
                  {"amplitude", &model_.amplitude},
                  {"period", &model_.period},
                  {"step", &model_.step},
                  {"noise", &model_.noise},
                  {"scanners", &scanners_},
                  {"not-enabled", &not_enabled_},
                  {"probes", &probes_},
                  {"measure-text", &measure_text_}} {}

HRESULT MicrokSimulator::Set(std::string_view key, std::string_view value) {
  if (!EqualIgnoringCase(key, "model")) return properties_.Set(key, value);
  if (value == "0" || EqualIgnoringCase(value, "microK")) return properties_.Set(key, "microK");
  if (value == "1" || EqualIgnoringCase(value, "milliK")) return properties_.Set(key, "milliK");
  return E_INVALIDARG;
}

bool MicrokSimulator::IsMillik() const { return face_ == "milliK"; }

std::string MicrokSimulator::Identity() const {
  if (!identity_.empty()) return identity_;
  return IsMillik() ? "milliK,1.20" : "microK 400 with microsKanner, version 2.05";
}

SimulatedReply MicrokSimulator::Answer(std::string_view request) {
  if (IsMillik() && request == "REM") {
    model_.remote = true;
    return {};
  }
  const auto answer = Ask(request);
  if (!answer) NoteUnknown(request);
  return answer ? SimulatedReply{*answer + '\r', true} : SimulatedReply{};
}

std::optional<std::string> MicrokSimulator::Ask(std::string_view request) {
  if (request == "*IDN?") return Identity();
  return IsMillik() ? AskMillik(request) : AskMicrok(request);
}

std::optional<std::string> MicrokSimulator::AskMicrok(std::string_view request) {
  const auto channel = NumberIn(request, "read", "?");
  if (!channel) return std::nullopt;
  if (!HasChannel(*channel)) return "Channel not valid";
  if (IsListed(not_enabled_, *channel)) return "Channel not enabled";
  return Measured(PlatinumOhms(model_.Measure(*channel)));
}

std::optional<std::string> MicrokSimulator::AskMillik(std::string_view request) {
  const auto answer = AskProbes(request);
  return answer ? answer : Measure(request);
}

std::optional<std::string> MicrokSimulator::AskProbes(std::string_view request) const {
  const auto names = SplitWords(probes_, ",");
  if (request == "PROB:COUN?") return std::to_string(names.size());
  const auto number = NumberIn(request, "PROB:NAM", "?");
  if (!number) return std::nullopt;
  return *number >= 1 && *number <= names.size() ? std::string(names[*number - 1]) : "Error 114: No such probe";
}

std::optional<std::string> MicrokSimulator::Measure(std::string_view request) {
  const std::size_t probes = SplitWords(probes_, ",").size();
  for (const Query& query : kQueries) {
    const auto channel = ChannelOf(request, query, probes);
    if (!channel) continue;
    if (!HasChannel(*channel)) return "Error 114: No such channel";
    return Measured(ValueOf(query.quantity, model_.Measure(*channel), request));
  }
  return std::nullopt;
}

std::string MicrokSimulator::Measured(double value) const {
  return measure_text_.empty() ? FormatFixed(value, 7) : measure_text_;
}

bool MicrokSimulator::HasChannel(unsigned channel) const {
  if (channel < 10) return channel >= 1 && channel <= 3;
  const unsigned scanner = channel / 10;
  return channel % 10 < 8 && scanner <= 4 && scanner <= scanners_;
}

std::unique_ptr<Simulator> microk::MakeSimulator(Clock& clock) { return std::make_unique<MicrokSimulator>(clock); }

}  // namespace ulix
