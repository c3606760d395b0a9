// A simulated Fluke Hydra data bucket: 21 channels, configured at the instrument. Requests are lines.
#pragma once

#include <array>
#include <optional>
#include <string>
#include <string_view>

#include "simulators/line_simulator.h"
#include "simulators/properties.h"
#include "simulators/surroundings.h"

namespace ulix {

// The device itself. While it scans, each channel swings around its own value, a little later than the channel before.
class FlukeHydraModel {
 public:
  static constexpr std::size_t kChannels = 21;
  struct Channel {
    std::string function;  // As in the reply to "FUNC?": "VDC,2", "TEMP,K", "OFF".
    double value;          // In the function's base unit; from 1e9 up overload, from 9e9 up an open thermocouple.
  };

  explicit FlukeHydraModel(Clock& clock);

  std::array<Channel, kChannels> channels;
  double swing = 1;    // Percent of a channel's value.
  double period = 20;  // Of the swing, seconds; 0 or less: no swing.
  // What is connected to the channels; a channel with nothing connected uses its own value.
  Surroundings* place = nullptr;

  bool scanning() const { return !stopped_.has_value(); }
  void Scan(bool on);
  // The last measurement of a channel; none when the channel is off.
  std::optional<double> Last(std::size_t channel) const;

 private:
  // What the place says that the channel measures, in the channel's quantity.
  std::optional<double> OfPlace(std::size_t channel) const;

  Clock& clock_;
  MonotonicTime started_;
  std::optional<MonotonicTime> stopped_;
};

class FlukeHydraSimulator final : public LineSimulator {
 public:
  explicit FlukeHydraSimulator(Clock& clock);

  std::string Refusal() const override { return "=?\r\n"; }
  bool Place(Surroundings& place) override {
    model_.place = &place;
    return true;
  }
  // Each channel N has the properties "function.N" and "value.N".
  HRESULT Set(std::string_view key, std::string_view value) override { return properties_.Set(key, value); }
  std::vector<std::pair<std::string, std::string>> Properties() const override { return properties_.Texts(); }

  const FlukeHydraModel& model() const { return model_; }
  bool printing() const { return printing_; }

 private:
  SimulatedReply Answer(std::string_view request) override;
  // The answer to a command, given without its carriage return: result and prompt, or a prompt alone. None for a
  // command that the instrument does not know.
  std::optional<std::string> Execute(std::string_view command);
  std::optional<std::string> ExecuteSwitch(std::string_view command);
  std::optional<std::string> AnswerChannel(std::string_view command);
  std::string Result(const std::string& result) const { return result + "\r\n" + Prompt(); }
  std::string Prompt() const { return prompt_ + "\r\n"; }

  FlukeHydraModel model_;
  bool printing_ = true;
  std::string identity_ = "FLUKE,2635A,0,M2.41 A4.7 D1.0 L1.2";
  std::string temperature_config_ = "2";
  std::string measuring_rate_ = "0";
  std::string scan_interval_ = "0,0,10";
  std::string last_text_;      // When not empty, the result of "LAST?".
  std::string prompt_ = "=>";  // The prompt after a command that was executed.
  PropertyTable properties_;
};

}  // namespace ulix
