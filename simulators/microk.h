// A simulated microK bridge with its scanners, or a milliK thermometer with a database of probes. Requests are lines.
#pragma once

#include <optional>
#include <string>
#include <string_view>

#include "simulators/line_simulator.h"
#include "simulators/noise.h"
#include "simulators/properties.h"
#include "simulators/surroundings.h"

namespace ulix {

// A bath whose temperature swings slowly. Every channel has a probe in it, each a little warmer than the one before.
class MicrokModel {
 public:
  explicit MicrokModel(Clock& clock) : clock_(clock), started_(clock.Now()) {}

  double temperature = 25;  // Centre of the swing, degrees Celsius.
  double amplitude = 0.5;   // Of the swing, degrees.
  double period = 60;       // Of the swing, seconds; 0 or less: no swing.
  double step = 0.01;       // From one channel number to the next, degrees.
  double noise = 0.0005;    // Greatest deviation of one measurement, degrees.
  bool remote = false;
  Surroundings* place = nullptr;  // The shared world; null: the bath is not shared.

  // One measurement in degrees Celsius.
  double Measure(unsigned channel);

 private:
  Clock& clock_;
  MonotonicTime started_;
  Noise random_;
};

class MicrokSimulator final : public LineSimulator {
 public:
  explicit MicrokSimulator(Clock& clock);

  std::string Refusal() const override { return IsMillik() ? "Error 102: Syntax error\r" : "Channel not valid\r"; }
  bool Place(Surroundings& place) override {
    model_.place = &place;
    return true;
  }
  HRESULT Set(std::string_view key, std::string_view value) override;
  std::vector<std::pair<std::string, std::string>> Properties() const override { return properties_.Texts(); }

  const MicrokModel& model() const { return model_; }

 private:
  SimulatedReply Answer(std::string_view request) override;
  bool IsMillik() const;
  std::string Identity() const;
  std::optional<std::string> Ask(std::string_view request);
  std::optional<std::string> AskMicrok(std::string_view request);
  std::optional<std::string> AskMillik(std::string_view request);
  std::optional<std::string> AskProbes(std::string_view request) const;
  std::optional<std::string> Measure(std::string_view request);
  std::string Measured(double value) const;
  bool HasChannel(unsigned channel) const;

  MicrokModel model_;
  std::string face_ = "microK";
  std::string identity_;                        // When not empty, the answer to "*IDN?".
  double scanners_ = 4;                         // Connected scanners, of 8 channels each.
  std::string not_enabled_;                     // Channel numbers, separated by commas.
  std::string probes_ = "PRT-A,PRT-B,SPRT-25";  // Names in the database.
  std::string measure_text_;                    // When not empty, the answer to every measurement.
  PropertyTable properties_;
};

}  // namespace ulix
