#include "simulators/flukehydra.h"

#include <algorithm>
#include <cmath>
#include <iterator>
#include <numbers>

#include "base/numbers.h"
#include "simulators/platinum.h"

namespace ulix {
namespace {

constexpr double kOverload = 1e9;
constexpr double kOpenThermocouple = 9e9;
constexpr const char* kImpossible = "=!\r\n";

// The configuration of the first channels. The others are thermocouples at room temperature.
const FlukeHydraModel::Channel kFirstChannels[] = {
    {"VDC,2", 1.5}, {"VDC,1", 0.25}, {"VAC,4", 230}, {"OHMS,2,2", 1000}, {"FREQ,AUTO", 50}, {"TEMP,PT,4", 21.5},
};

// Formats as "+001.50E+0": five digits and an exponent that is a multiple of three.
std::string Engineering(double value) {
  if (value >= kOpenThermocouple) return "+009.00E+9";
  if (std::abs(value) >= kOverload) return value < 0 ? "-001.00E+9" : "+001.00E+9";
  int exponent = -3;
  double mantissa = std::abs(value) * 1000;
  for (; mantissa >= 999.995 && exponent < 6; exponent += 3) mantissa /= 1000;
  const int decimals = mantissa < 9.99995 ? 4 : mantissa < 99.9995 ? 3 : 2;
  return (value < 0 ? "-" : "+") + FormatFixed(mantissa, decimals) + "E" + (exponent < 0 ? "-" : "+") +
         std::to_string(std::abs(exponent));
}

std::optional<std::size_t> ChannelNumber(std::string_view text) {
  const auto number = ParseDecimal(text);
  for (std::size_t channel = 0; channel < FlukeHydraModel::kChannels; ++channel) {
    if (number == static_cast<double>(channel)) return channel;
  }
  return std::nullopt;
}

}  // namespace

FlukeHydraModel::FlukeHydraModel(Clock& clock) : clock_(clock), started_(clock.Now()) {
  for (std::size_t channel = 0; channel < kChannels; ++channel) {
    channels[channel] = channel < std::size(kFirstChannels) ? kFirstChannels[channel]
                                                            : Channel{"TEMP,K", 15 + static_cast<double>(channel)};
  }
}

void FlukeHydraModel::Scan(bool on) {
  if (on) stopped_.reset();
  if (!on && !stopped_) stopped_ = clock_.Now();
}

std::optional<double> FlukeHydraModel::OfPlace(std::size_t channel) const {
  if (!place) return std::nullopt;
  const auto connected = place->Input(static_cast<unsigned>(channel));
  return connected && channels[channel].function.starts_with("OHMS") ? PlatinumOhms(*connected) : connected;
}

std::optional<double> FlukeHydraModel::Last(std::size_t channel) const {
  if (channels[channel].function == "OFF") return std::nullopt;
  if (const auto measured = OfPlace(channel)) return measured;
  if (period <= 0) return channels[channel].value;
  const double seconds = std::chrono::duration<double>(stopped_.value_or(clock_.Now()) - started_).count();
  const double turns = seconds / period - 0.05 * static_cast<double>(channel);
  return channels[channel].value * (1 + swing / 100 * std::sin(2 * std::numbers::pi * turns));
}

FlukeHydraSimulator::FlukeHydraSimulator(Clock& clock)
    : LineSimulator('\n'),
      model_(clock),
      properties_{{"identity", &identity_},
                  {"swing", &model_.swing},
                  {"period", &model_.period},
                  {"temperature-config", &temperature_config_},
                  {"measuring-rate", &measuring_rate_},
                  {"scan-interval", &scan_interval_},
                  {"last-text", &last_text_},
                  {"prompt", &prompt_}} {
  for (std::size_t channel = 0; channel < FlukeHydraModel::kChannels; ++channel) {
    const std::string number = std::to_string(channel);
    properties_.Add({"function." + number, &model_.channels[channel].function});
    properties_.Add({"value." + number, &model_.channels[channel].value});
  }
}

SimulatedReply FlukeHydraSimulator::Answer(std::string_view request) {
  const bool whole = request.ends_with('\r');
  const auto answer = whole ? Execute(request.substr(0, request.size() - 1)) : std::nullopt;
  if (!answer) NoteUnknown(request);
  return {answer.value_or(Refusal()), true};
}

std::optional<std::string> FlukeHydraSimulator::Execute(std::string_view command) {
  if (command == "*IDN?") return Result(identity_);
  if (command == "TEMP_CONFIG?") return Result(temperature_config_);
  if (command == "RATE?") return Result(measuring_rate_);
  if (command == "INTVL?") return Result(scan_interval_);
  if (auto executed = ExecuteSwitch(command)) return executed;
  return AnswerChannel(command);
}

std::optional<std::string> FlukeHydraSimulator::ExecuteSwitch(std::string_view command) {
  const bool on = command.ends_with(" 1");
  if (command == "PRINT 0" || command == "PRINT 1") {
    printing_ = on;
  } else if (command == "SCAN 0" || command == "SCAN 1") {
    model_.Scan(on);
  } else {
    return std::nullopt;
  }
  return Prompt();
}

std::optional<std::string> FlukeHydraSimulator::AnswerChannel(std::string_view command) {
  const bool last = command.starts_with("LAST? ");
  if (!last && !command.starts_with("FUNC? ")) return std::nullopt;
  const auto channel = ChannelNumber(command.substr(6));
  if (!channel) return std::nullopt;
  if (!last) return Result(model_.channels[*channel].function);
  const auto value = model_.Last(*channel);
  if (!value) return kImpossible;
  return Result(last_text_.empty() ? Engineering(*value) : last_text_);
}

std::unique_ptr<Simulator> flukehydra::MakeSimulator(Clock& clock) {
  return std::make_unique<FlukeHydraSimulator>(clock);
}

}  // namespace ulix
