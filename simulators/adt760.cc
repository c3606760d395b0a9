#include "simulators/adt760.h"

#include <utility>

#include "base/numbers.h"

namespace ulix {
namespace {

constexpr std::size_t kLongestQueue = 20;
constexpr int kDecimals = 5;
constexpr double kLowestCurrent = 0, kHighestCurrent = 24;
constexpr const char* kNoError = "0,\"No error\"";
constexpr const char* kUndefinedHeader = "-113,\"Undefined header\"";
constexpr const char* kOutOfRange = "-222,\"Data out of range\"";
constexpr const char* kSettingsConflict = "-221,\"Settings conflict\"";

}  // namespace

Adt760Simulator::Adt760Simulator(Clock& clock)
    : LineSimulator('\n'),
      controller_(clock),
      properties_{{"identity", &identity_},
                  {"pressure", &controller_.temperature},
                  {"set-point", &controller_.set_point},
                  {"time-constant", &controller_.time_constant},
                  {"noise", &controller_.noise},
                  {"function", &function_},
                  {"voltage", &voltage_},
                  {"current-input", &current_input_},
                  {"switch", &switch_},
                  {"current", &current_},
                  {"venting", &venting_},
                  {"lowest", &lowest_},
                  {"highest", &highest_},
                  {"reading-text", &reading_text_},
                  {"measuring-error", &measuring_error_}} {
  controller_.temperature = controller_.set_point = 1000;
  controller_.time_constant = 3;
  controller_.noise = 0.005;
  for (std::size_t module = 0; module < kModules; ++module) {
    properties_.Add({"offset." + std::to_string(module + 1), &offsets_[module]});
  }
}

HRESULT Adt760Simulator::Set(std::string_view key, std::string_view value) {
  controller_.Advance();
  return properties_.Set(key, value);
}

SimulatedReply Adt760Simulator::Answer(std::string_view request) {
  if (request.ends_with('?')) {
    if (const auto answer = AnswerQuery(request)) return {*answer + "\n", true};
  } else if (Execute(request)) {
    return {};
  }
  NoteUnknown(request);
  QueueError(kUndefinedHeader);
  return {};
}

std::optional<std::string> Adt760Simulator::AnswerQuery(std::string_view query) {
  if (query == "*IDN?") return identity_;
  if (query == "SYST:ERR?") return NextError();
  if (query == "SENS:ELEC:FUNC?") return function_;
  if (query == "OUTP:MODE?") return venting_ ? "VENT" : "MEASURE";
  const auto value = Measure(query);
  if (!value) return std::nullopt;
  if (!measuring_error_.empty()) QueueError(measuring_error_);
  return reading_text_.empty() ? FormatFixed(*value, kDecimals) : reading_text_;
}

std::optional<double> Adt760Simulator::Measure(std::string_view query) {
  if (query == "SOUR:PRES?") return controller_.set_point;
  if (query == "CURR:SOUR?") return current_;
  for (std::size_t module = 0; module < kModules; ++module) {
    if (query != "MEAS:PRES" + std::to_string(module + 1) + "?") continue;
    const auto connected =
        controller_.place ? controller_.place->Input(static_cast<unsigned>(module + 1)) : std::nullopt;
    return connected ? *connected : controller_.Measure() + offsets_[module];
  }
  struct Input {
    std::string_view query;
    std::string_view function;
    double value;
  };
  const Input inputs[] = {{"MEAS:VOLT?", "VOLTAGE", voltage_},
                          {"MEAS:CURR?", "CURRENT", current_input_},
                          {"MEAS:SWIT:REG?", "SWITCH:REGULAR", switch_},
                          {"MEAS:SWIT:PNP?", "SWITCH:PNP", switch_},
                          {"MEAS:SWIT:NPN?", "SWITCH:NPN", switch_}};
  for (const Input& input : inputs) {
    if (query != input.query) continue;
    if (function_ != input.function) QueueError(kSettingsConflict);
    return input.value;
  }
  return std::nullopt;
}

bool Adt760Simulator::Execute(std::string_view command) {
  if (command == "*CLS") {
    errors_.clear();
    return true;
  }
  if (command == "OUTP:MODE VENT") {
    controller_.SetPoint(0);
    return venting_ = true;
  }
  const bool pressure = command.starts_with("SOUR:PRES ");
  if (!pressure && !command.starts_with("CURR:SOUR ")) return false;
  const std::string_view number = command.substr(10);
  const auto value = ParseDecimal(number);
  if (!value || FormatFixed(*value, kDecimals) != number) return false;
  if (!pressure) {
    Source(current_, *value, kLowestCurrent, kHighestCurrent);
  } else {
    double wanted = controller_.set_point;
    Source(wanted, *value, lowest_, highest_);
    controller_.SetPoint(wanted);
  }
  return true;
}

void Adt760Simulator::Source(double& target, double value, double lowest, double highest) {
  if (value < lowest || value > highest) return QueueError(kOutOfRange);
  target = value;
}

void Adt760Simulator::QueueError(std::string_view error) {
  if (errors_.size() < kLongestQueue) errors_.emplace_back(error);
}

std::string Adt760Simulator::NextError() {
  if (errors_.empty()) return kNoError;
  std::string error = std::move(errors_.front());
  errors_.pop_front();
  return error;
}

std::unique_ptr<Simulator> adt760::MakeSimulator(Clock& clock) { return std::make_unique<Adt760Simulator>(clock); }

}  // namespace ulix
