// convert: converts ohms and millivolts of a sensor to temperature, and back.
#include <CLI/CLI.hpp>
#include <nlohmann/json.hpp>

#include <cmath>
#include <memory>
#include <string>
#include <vector>

#include "base/numbers.h"
#include "calibration/sensor.h"
#include "links/local_number.h"
#include "tools/ulix/connection.h"
#include "tools/ulix/failures.h"
#include "tools/ulix/output.h"
#include "tools/ulix/texts.h"
#include "tools/ulix/verbs.h"

namespace ulix::cli {
namespace {

using calibration::Sensor;

constexpr char kCelsius[] = "°C";
constexpr int kDecimals = 6;

struct ConvertOptions {
  ConnectionOptions connection;  // Only its language is used.
  std::string sensor;
  std::vector<std::string> values;
  std::vector<std::string> millivolts;
  std::vector<std::string> ohms;
  std::vector<std::string> celsius;
  std::string junction;
  bool json = false;
};

double TypedValue(const std::string& argument, const std::string& text) {
  const auto value = TypedNumber(text);
  if (!value) throw UsageError(argument, Shown(TextId::kNotAValue, {text}));
  return *value;
}

template <typename T>
T OrUsageError(const std::string& argument, calibration::Result<T> result) {
  if (!result) throw UsageError(argument, result.error().In(ShownLanguage()));
  return std::move(*result);
}

Sensor SensorOf(const ConvertOptions& options) {
  std::string text = options.sensor;
  if (!options.junction.empty()) {
    const double junction = TypedValue("--junction", options.junction);
    text += (text.find(':') == std::string::npos ? ":junction=" : ",junction=") + FormatGeneral(junction, 17);
  }
  return OrUsageError("SENSOR", Sensor::Parse(text));
}

// A negative zero is shown without its sign.
std::string ShownValue(double value) {
  const bool zero = std::abs(value) < 0.5e-6;
  return ShownNumber(FormatFixed(zero ? 0 : value, kDecimals));
}

class Conversion {
 public:
  explicit Conversion(const ConvertOptions& options) : sensor_(SensorOf(options)) {}

  void ToCelsius(const std::string& argument, const std::vector<std::string>& values) {
    for (const std::string& text : values) {
      const double electrical = TypedValue(argument, text);
      Add(electrical, Unit(), OrUsageError(argument, sensor_.Celsius(electrical)), kCelsius);
    }
  }
  void FromCelsius(const std::vector<std::string>& values) {
    for (const std::string& text : values) {
      const double celsius = TypedValue("--celsius", text);
      Add(celsius, kCelsius, OrUsageError("--celsius", sensor_.Electrical(celsius)), Unit());
    }
  }
  std::string Unit() const { return std::string(sensor_.unit()); }
  void Print(bool json) const { json ? PrintJson(array_) : table_.Print(); }

 private:
  void Add(double from, const std::string& from_unit, double to, const std::string& to_unit) {
    array_.push_back({{"from", from}, {"from-unit", from_unit}, {"to", to}, {"to-unit", to_unit}});
    table_.Add({ShownValue(from), from_unit, ShownValue(to), to_unit});
  }

  Sensor sensor_;
  Json array_ = Json::array();
  Table table_{std::vector<std::string>(4)};
};

void CheckUnit(const char* argument, const std::vector<std::string>& values, const char* unit, const Conversion& of) {
  if (values.empty() || of.Unit() == unit) return;
  throw UsageError(argument, Shown(TextId::kSensorValuesIn, {of.Unit()}));
}

int Convert(const ConvertOptions& options) {
  if (options.values.empty() && options.millivolts.empty() && options.ohms.empty() && options.celsius.empty()) {
    throw UsageError("VALUE", Shown(TextId::kNothingToConvert));
  }
  Conversion conversion(options);
  CheckUnit("--mv", options.millivolts, "mV", conversion);
  CheckUnit("--ohm", options.ohms, "ohm", conversion);
  conversion.ToCelsius("VALUE", options.values);
  conversion.ToCelsius("--mv", options.millivolts);
  conversion.ToCelsius("--ohm", options.ohms);
  conversion.FromCelsius(options.celsius);
  conversion.Print(options.json);
  return 0;
}

}  // namespace

Action DefineConvert(CLI::App& verb) {
  const auto options = std::make_shared<ConvertOptions>();
  verb.add_option("SENSOR", options->sensor, Shown(TextId::kHelpSensor))->required()->type_name("");
  verb.add_option("VALUE", options->values, Shown(TextId::kHelpElectrical))->type_name("");
  verb.add_option("--mv", options->millivolts, Shown(TextId::kHelpMillivolts))->type_name("VALUE...");
  verb.add_option("--ohm", options->ohms, Shown(TextId::kHelpOhms))->type_name("VALUE...");
  verb.add_option("--celsius", options->celsius, Shown(TextId::kHelpCelsius))->type_name("VALUE...");
  verb.add_option("--junction", options->junction, Shown(TextId::kHelpJunction))->type_name("CELSIUS");
  verb.add_flag("--json", options->json, Shown(TextId::kHelpJsonArray));
  AddLanguage(verb, options->connection);
  verb.footer(Shown(TextId::kHelpSensorNotes));
  return [=] { return Convert(*options); };
}

}  // namespace ulix::cli
