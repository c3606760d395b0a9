// A simulated NewClass. It has one measured value; requests are lines.
#pragma once

#include <string>
#include <string_view>

#include "simulators/line_simulator.h"
#include "simulators/properties.h"

namespace ulix {

class NewClassSimulator final : public LineSimulator {
 public:
  explicit NewClassSimulator(Clock&);

  std::string Refusal() const override { return "ERROR\n"; }
  HRESULT Set(std::string_view key, std::string_view value) override { return properties_.Set(key, value); }
  std::vector<std::pair<std::string, std::string>> Properties() const override { return properties_.Texts(); }

 private:
  SimulatedReply Answer(std::string_view request) override;

  std::string identity_ = "ULIX,NEW_MODEL,123456,V1.00";
  double input_ = 1.5;  // volts
  std::string rate_ = "SLOW";
  PropertyTable properties_;
};

}  // namespace ulix
