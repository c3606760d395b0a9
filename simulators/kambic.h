// A simulated Kambic bath. Requests are lines.
#pragma once

#include <string>
#include <string_view>

#include "simulators/line_simulator.h"
#include "simulators/properties.h"
#include "simulators/thermal_model.h"

namespace ulix {

class KambicSimulator final : public LineSimulator {
 public:
  explicit KambicSimulator(Clock& clock);

  bool Place(Surroundings& place) override {
    bath_.place = &place;
    return true;
  }
  std::string Refusal() const override { return "COMMAND ERROR\r\n"; }
  HRESULT Set(std::string_view key, std::string_view value) override;
  std::vector<std::pair<std::string, std::string>> Properties() const override { return properties_.Texts(); }

  const ThermalModel& bath() const { return bath_; }

 private:
  SimulatedReply Answer(std::string_view request) override;
  std::string SetPoint(std::string_view request);

  ThermalModel bath_;
  double lowest_ = -40;  // Limits of accepted set points.
  double highest_ = 150;
  std::string identity_ = "ID=OB-22/2 ULT,SN 14021,V2.31";
  std::string reading_text_;    // When not empty, the answer to "TXD".
  std::string set_point_text_;  // When not empty, the answer to an accepted set point.
  PropertyTable properties_;
};

}  // namespace ulix
