// A simulated HART interface unit with a heated block. Requests are lines.
#pragma once

#include <string>
#include <string_view>

#include "simulators/line_simulator.h"
#include "simulators/properties.h"
#include "simulators/thermal_model.h"

namespace ulix {

class HartSimulator final : public LineSimulator {
 public:
  explicit HartSimulator(Clock& clock);

  std::string Refusal() const override { return "?" + end_; }
  HRESULT Set(std::string_view key, std::string_view value) override;
  std::vector<std::pair<std::string, std::string>> Properties() const override { return properties_.Texts(); }

  const ThermalModel& block() const { return block_; }

 private:
  SimulatedReply Answer(std::string_view request) override;
  SimulatedReply Localized(std::string_view word, double value) const;
  bool TakeSetPoint(std::string_view number);

  ThermalModel block_;
  double lowest_ = -40;  // Limits of accepted set points; another one changes nothing.
  double highest_ = 150;
  std::string reply_text_;                 // When not empty, the answer to "t" and "s".
  std::string reply_unit_ = "C";           // After a value.
  std::string temperature_heading_ = "T";  // Before the colon and the value.
  std::string set_point_heading_ = "S";
  std::string end_ = "\r\n";  // The end of replies.
  PropertyTable properties_;
};

}  // namespace ulix
