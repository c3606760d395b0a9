#include "drivers/others/microk/protocol.h"

#include <algorithm>
#include <array>
#include <cmath>

#include "base/numbers.h"
#include "base/reply_field.h"
#include "base/text.h"

namespace ulix::microk {
namespace {

constexpr int kTemperatureResolution = 4;
constexpr double kMaxProbes = 999;

struct KindRow {
  const char* head;  // the query up to the channel number
  const char* unit;  // null: the temperature unit
  int resolution;    // decimals; 0: those of the resistance range
};

constexpr std::array kKinds = {
    KindRow{"MEAS:RES", "Ohms", 0},
    KindRow{"MEAS:TEMP", nullptr, kTemperatureResolution},
    KindRow{"MEAS:VOLT", "Volts", 7},
    KindRow{"MEAS:TEMP", nullptr, kTemperatureResolution},
    // The instrument does not say in which unit it sends a current.
    KindRow{"MEAS:CURR", "", 4},
};

// The query of the current input has no channel number; with a probe it is channel 3.
constexpr const char* kCurrentQuery = "MEAS:CURR? ";
constexpr const char* kCurrentProbeQuery = "MEAS:TEMP3? ";

const KindRow* RowOf(std::uint32_t kind) { return kind < kKinds.size() ? &kKinds[kind] : nullptr; }

bool IsRejection(std::string_view reply) { return Contains(reply, "Error"); }

Expected<std::string> WithOptions(const std::string& head, const std::vector<std::string>& options) {
  return OrFailure(CommandOf(head, options), microkCtlErrBadInternalChanConfig);
}

// `word` between two fixed texts; empty when there is no word.
std::string Wrapped(const char* before, std::string_view word, const char* after) {
  return word.empty() ? std::string() : std::string(before).append(word).append(after);
}

std::string Label(std::span<const EnumLabel> labels, std::uint32_t code) { return std::string(LabelOf(labels, code)); }

std::string PrtConversion(const ChannelConfig& config, std::uint32_t probe) {
  if (config.sub_kind == kUserProbe) return std::to_string(probe);
  if (config.sub_kind != kStandard) return {};
  return Wrapped("IEC60751(", LabelOf(kWiringLabels, config.wiring), ")");
}

Expected<std::string> CurrentQuery(const ChannelConfig& config, std::uint32_t probe) {
  if (config.sub_kind == kStandard) return kCurrentQuery;
  if (config.sub_kind != kUserProbe) return Failure(microkCtlErrBadInternalChanConfig);
  return WithOptions(kCurrentProbeQuery, {std::to_string(probe), Label(kUnitLabels, config.unit)});
}

// A reply that fills the buffer was cut, perhaps inside the number.
Expected<float> ParseNumber(std::string_view reply) {
  static constexpr FieldForm kForm = {.behind = FieldForm::Behind::kUnit, .separators = " \t,"};
  const bool was_cut = reply.size() + 1 >= kReplySize;
  const auto number = was_cut ? std::nullopt : ParseFloatField(reply, kForm);
  if (number && IsOverload(*number)) return Failure(microkCtlErrMeasureNotAvailable);
  return OrFailure(number, serialCommErrUnableToReadComm);
}

}  // namespace

bool ChannelConfig::NeedsProbe() const {
  return enabled != 0 && (kind == kPrt || kind == kCurrentInput) && sub_kind == kUserProbe;
}

Model ModelIn(const std::vector<StoredValue>& record) {
  return SignedIn(record, kSettings[0]) == kMillik ? kMillik : kMicrok;
}

ChannelConfig ConfigIn(const std::vector<StoredValue>& record, ChannelId id) {
  if (id >= kChannelCount) return {.kind = kNoKind};
  const auto code = [&](Field field) { return CodeIn(record, kSettings[SettingIndex(id, field)]); };
  return {.enabled = code(kEnabled),
          .kind = code(kKind),
          .sub_kind = code(kSubKind),
          .unit = code(kUnit),
          .range = code(kRange),
          .current = code(kCurrent),
          .wiring = code(kWiring),
          .junction = code(kJunction),
          .probe = TextIn(record, kSettings[SettingIndex(id, kProbe)])};
}

bool IsOf(Model model, std::string_view reply) {
  const std::string upper = AsciiUpper(reply);
  if (model == kMillik) return Contains(upper, "MILLIK");
  return Contains(upper, "MICROK") || Contains(upper, "MICROSKANNER");
}

std::optional<double> VersionIn(Model model, std::string_view reply) {
  const std::string upper = AsciiUpper(reply);
  const std::size_t mark = upper.find(model == kMillik ? "," : "VERSION");
  if (mark == std::string::npos) return std::nullopt;
  const std::size_t at = mark + (model == kMillik ? 1 : std::string_view("VERSION ").size());
  const auto number = ParseDecimalPrefix(std::string_view(upper).substr(std::min(at, upper.size())));
  return number ? std::optional(number->value) : std::nullopt;
}

bool IsIdentification(Model model, std::string_view reply, std::string_view known) {
  if (known.empty()) return IsOf(model, reply);
  // `known` may be a probe's name that came late. A line with a version is an identification all the same.
  const bool doubtful = !VersionIn(model, known);
  return reply.ends_with(known) || (doubtful && IsOf(model, reply) && VersionIn(model, reply));
}

bool TakesRemote(std::string_view reply) { return Contains(reply, ","); }

std::string ReadQuery(ChannelId id) { return "read" + std::to_string(InstrumentChannel(id)) + "?"; }

Expected<std::string> MeasureQuery(ChannelId id, const ChannelConfig& config, std::uint32_t probe) {
  const KindRow* row = RowOf(config.kind);
  if (!row) return Failure(microkCtlErrBadInternalChanConfig);
  if (config.NeedsProbe() && probe == 0) return Failure(microkCtlErrUserProbeNotFound);
  const std::string head = row->head + std::to_string(InstrumentChannel(id)) + "? ";
  const std::string unit = Label(kUnitLabels, config.unit);
  const std::string range = Label(kRangeLabels, config.range);
  const std::string current = Label(kCurrentLabels, config.current);
  const std::string junction = Label(kJunctionLabels, config.junction);
  switch (config.kind) {
    case kResistance:
      return WithOptions(head, {range, current});
    case kPrt:
      return WithOptions(head, {PrtConversion(config, probe), unit, range, current});
    case kVoltage:
      return WithOptions(head, {junction});
    case kThermocouple:
      return WithOptions(head, {Wrapped("TYPE ", LabelOf(kThermocoupleLabels, config.sub_kind), ""), unit, junction});
    default:
      return CurrentQuery(config, probe);
  }
}

Expected<float> ParseMicrokReply(std::string_view reply) {
  const std::string upper = AsciiUpper(reply);
  if (Contains(upper, "NOT ENABLED") || Contains(upper, "NOT VALID")) return Failure(microkCtlErrMeasureNotAvailable);
  return ParseNumber(reply);
}

Expected<float> ParseMillikReply(std::string_view reply) {
  if (IsRejection(reply)) return Failure(microkCtlErrScpiCmdeError);
  return ParseNumber(reply);
}

Expected<std::uint32_t> ParseProbeCount(std::string_view reply) {
  return ParseMillikReply(reply).and_then([](float count) -> Expected<std::uint32_t> {
    if (count < 0 || count > kMaxProbes || std::trunc(count) != count) return Failure(serialCommErrUnableToReadComm);
    return static_cast<std::uint32_t>(count);
  });
}

Expected<std::string> ParseProbeName(std::string_view reply) {
  if (IsRejection(reply)) return Failure(microkCtlErrScpiCmdeError);
  if (!IsPlainText(reply) || reply.size() + 1 >= kReplySize) return Failure(serialCommErrUnableToReadComm);
  reply = Trimmed(reply);
  const bool quoted = reply.size() >= 2 && reply.front() == '"' && reply.back() == '"';
  return std::string(quoted ? reply.substr(1, reply.size() - 2) : reply);
}

std::string UnitOf(const ChannelConfig& config) {
  const KindRow* row = RowOf(config.kind);
  if (!row) return {};
  const bool through_probe = config.kind == kCurrentInput && config.sub_kind == kUserProbe;
  if (row->unit && !through_probe) return row->unit;
  return config.unit < kUnitTexts.size() ? kUnitTexts[config.unit] : "";
}

int ResolutionOf(const ChannelConfig& config) {
  const KindRow* row = RowOf(config.kind);
  if (!row) return kUnknownResolution;
  if (row->resolution != 0) return row->resolution;
  return config.range < kRangeResolutions.size() ? kRangeResolutions[config.range] : kUnknownResolution;
}

}  // namespace ulix::microk
