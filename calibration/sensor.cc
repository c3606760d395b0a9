#include "calibration/sensor.h"

#include <algorithm>
#include <array>
#include <map>
#include <optional>

#include "base/numbers.h"
#include "calibration/thermocouples.h"
#include "calibration/thermometry.h"
#include "resources/texts.h"

namespace ulix::calibration {

class Sensor::Function {
 public:
  virtual ~Function() = default;
  virtual std::string_view unit() const = 0;
  virtual Result<double> Celsius(double electrical) const = 0;
  virtual Result<double> Electrical(double celsius) const = 0;
};

namespace {

class ResistanceSensor : public Sensor::Function {
 public:
  std::string_view unit() const override { return "ohm"; }
};

// CallendarVanDusen or StandardThermometer.
template <typename Probe>
class PlatinumSensor : public ResistanceSensor {
 public:
  explicit PlatinumSensor(const Probe& probe) : probe_(probe) {}
  Result<double> Celsius(double ohms) const override { return probe_.Celsius(ohms); }
  Result<double> Electrical(double celsius) const override { return probe_.Ohms(celsius); }

 private:
  Probe probe_;
};

class Thermocouple : public Sensor::Function {
 public:
  Thermocouple(ThermocoupleType type, double junction) : type_(type), junction_(junction) {}
  std::string_view unit() const override { return "mV"; }
  Result<double> Celsius(double mv) const override { return ThermocoupleCelsius(type_, mv, junction_); }
  Result<double> Electrical(double celsius) const override { return ThermocoupleMillivolts(type_, celsius, junction_); }

 private:
  ThermocoupleType type_;
  double junction_;
};

using FunctionResult = Result<std::shared_ptr<const Sensor::Function>>;

// The keys and values after the ':' of a sensor's text. Each is taken once; remaining ones are an error.
class Parameters {
 public:
  static Result<Parameters> Parse(std::string_view sensor, std::string_view text);

  // Sets `value` if the key is there.
  void Take(const std::string& key, double& value);
  std::optional<std::string> TakeText(const std::string& key);
  // The first problem, including unknown keys.
  std::optional<Problem> Fault() const;
  bool empty() const { return values_.empty(); }

 private:
  explicit Parameters(std::string_view sensor) : sensor_(sensor) {}
  std::string sensor_;
  std::map<std::string, std::string> values_;
  std::optional<Problem> fault_;
};

std::string AsciiLower(std::string_view text) {
  std::string lower(text);
  std::transform(lower.begin(), lower.end(), lower.begin(),
                 [](char c) { return c >= 'A' && c <= 'Z' ? static_cast<char>(c + ('a' - 'A')) : c; });
  return lower;
}

Result<Parameters> Parameters::Parse(std::string_view sensor, std::string_view text) {
  Parameters parameters(sensor);
  for (const std::string_view field : SplitWords(text, ",")) {
    const std::size_t equals = field.find('=');
    if (equals == std::string_view::npos)
      return Refused(TextId::kSensorNoAssignment, {std::string(sensor), std::string(field)});
    const std::string key = AsciiLower(Trimmed(field.substr(0, equals)));
    if (!parameters.values_.emplace(key, Trimmed(field.substr(equals + 1))).second) {
      return Refused(TextId::kSensorTwice, {std::string(sensor), key});
    }
  }
  return parameters;
}

std::optional<std::string> Parameters::TakeText(const std::string& key) {
  const auto found = values_.extract(key);
  return found.empty() ? std::nullopt : std::optional(found.mapped());
}

void Parameters::Take(const std::string& key, double& value) {
  const auto text = TakeText(key);
  if (!text) return;
  const auto number = ParseDecimal(*text);
  if (!number && !fault_) fault_ = Bilingual(TextId::kSensorNoNumber, {sensor_, key + "=" + *text});
  value = number.value_or(value);
}

std::optional<Problem> Parameters::Fault() const {
  if (fault_ || values_.empty()) return fault_;
  return Bilingual(TextId::kSensorUnknownKey, {sensor_, values_.begin()->first});
}

FunctionResult MakeIndustrial(CallendarVanDusen probe, Parameters parameters) {
  parameters.Take("r0", probe.r0);
  parameters.Take("a", probe.a);
  parameters.Take("b", probe.b);
  parameters.Take("c", probe.c);
  if (const auto fault = parameters.Fault()) return tl::unexpected(*fault);
  if (const auto fault = probe.Fault()) return tl::unexpected(*fault);
  return std::make_shared<const PlatinumSensor<CallendarVanDusen>>(probe);
}

FunctionResult MakeThermocouple(ThermocoupleType type, Parameters parameters) {
  double junction = 0;
  parameters.Take("junction", junction);
  if (const auto fault = parameters.Fault()) return tl::unexpected(*fault);
  const auto voltage = ThermocoupleMillivolts(type, junction);
  if (!voltage) return tl::unexpected(voltage.error());
  return std::make_shared<const Thermocouple>(type, junction);
}

struct RangeName {
  std::string_view name;
  Its90SubRange sub_range;
};

constexpr std::array kRangeNames = {
    RangeName{"argon", Its90SubRange::kArgonToWater},
    RangeName{"mercury", Its90SubRange::kMercuryToGallium},
    RangeName{"gallium", Its90SubRange::kWaterToGallium},
    RangeName{"indium", Its90SubRange::kWaterToIndium},
    RangeName{"tin", Its90SubRange::kWaterToTin},
    RangeName{"zinc", Its90SubRange::kWaterToZinc},
    RangeName{"aluminium", Its90SubRange::kWaterToAluminium},
    RangeName{"silver", Its90SubRange::kWaterToSilver},
};

// The deviation function whose keys begin with `prefix`; none if there is no range with this prefix.
Result<std::optional<Its90Deviation>> TakeDeviation(Parameters& parameters, const std::string& prefix) {
  const auto name = parameters.TakeText(prefix + "range");
  if (!name) return std::nullopt;
  const auto row = std::find_if(kRangeNames.begin(), kRangeNames.end(),
                                [&](const RangeName& range) { return range.name == AsciiLower(*name); });
  if (row == kRangeNames.end()) return Refused(TextId::kSensorUnknownRange, {"its90", *name});
  Its90Deviation deviation{.sub_range = row->sub_range};
  parameters.Take(prefix + "a", deviation.a);
  parameters.Take(prefix + "b", deviation.b);
  if (row->sub_range >= Its90SubRange::kWaterToAluminium) parameters.Take(prefix + "c", deviation.c);
  if (row->sub_range == Its90SubRange::kWaterToSilver) {
    parameters.Take(prefix + "d", deviation.d);
    parameters.Take(prefix + "w-aluminium", deviation.aluminium_ratio);
  }
  return deviation;
}

FunctionResult MakeStandard(Parameters parameters) {
  double ohms = 0;
  parameters.Take("r", ohms);
  const auto above = TakeDeviation(parameters, "");
  const auto below = TakeDeviation(parameters, "low-");
  for (const auto* side : {&above, &below}) {
    if (!*side) return tl::unexpected(side->error());
  }
  if (const auto fault = parameters.Fault()) return tl::unexpected(*fault);
  return StandardThermometer::Make(ohms, *below, *above).map([](const StandardThermometer& probe) {
    return std::shared_ptr<const Sensor::Function>(std::make_shared<const PlatinumSensor<StandardThermometer>>(probe));
  });
}

struct NominalRow {
  std::string_view name;
  double r0;
};

constexpr std::array kNominal = {NominalRow{"pt25", 25}, NominalRow{"pt100", 100}, NominalRow{"pt500", 500},
                                 NominalRow{"pt1000", 1000}};

FunctionResult MakeFunction(const std::string& name, const Parameters& parameters) {
  const auto nominal =
      std::find_if(kNominal.begin(), kNominal.end(), [&](const NominalRow& row) { return row.name == name; });
  if (nominal != kNominal.end()) return MakeIndustrial({.r0 = nominal->r0}, parameters);
  if (name == "cvd" && parameters.empty()) return Refused(TextId::kSensorNoCoefficients);
  if (name == "cvd") return MakeIndustrial({}, parameters);
  if (name == "its90") return MakeStandard(parameters);
  if (const auto type = ThermocoupleTypeOf(name)) return MakeThermocouple(*type, parameters);
  return Refused(TextId::kSensorUnknownSensor, {name});
}

}  // namespace

Result<Sensor> Sensor::Parse(std::string_view text) {
  const std::size_t colon = std::min(text.find(':'), text.size());
  const std::string name = AsciiLower(Trimmed(text.substr(0, colon)));
  const auto parameters = Parameters::Parse(name, colon < text.size() ? text.substr(colon + 1) : std::string_view());
  if (!parameters) return tl::unexpected(parameters.error());
  return MakeFunction(name, *parameters).map([](const std::shared_ptr<const Function>& made) { return Sensor(made); });
}

std::string_view Sensor::unit() const { return function_->unit(); }
Result<double> Sensor::Celsius(double electrical) const { return function_->Celsius(electrical); }
Result<double> Sensor::Electrical(double celsius) const { return function_->Electrical(celsius); }

Result<double> Sensor::Sensitivity(double celsius) const {
  constexpr double kStep = 1e-3;
  auto here = Electrical(celsius);
  if (!here) return here;
  const auto above = Electrical(celsius + kStep);
  const auto below = Electrical(celsius - kStep);
  const double steps = (above ? 1 : 0) + (below ? 1 : 0);
  return (above.value_or(*here) - below.value_or(*here)) / (steps * kStep);
}

}  // namespace ulix::calibration
