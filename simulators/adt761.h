// A simulated Additel ADT761: one measured item, a pressure controller and a current source. Requests are frames.
#pragma once

#include <optional>
#include <string>
#include <string_view>

#include "simulators/line_simulator.h"
#include "simulators/properties.h"
#include "simulators/thermal_model.h"

namespace ulix {

class Adt761Simulator final : public LineSimulator {
 public:
  explicit Adt761Simulator(Clock& clock);

  std::string Refusal() const override { return std::string(":E:") + '\0'; }
  bool Place(Surroundings& place) override {
    controller_.place = &place;
    return true;
  }
  HRESULT Set(std::string_view key, std::string_view value) override;
  std::vector<std::pair<std::string, std::string>> Properties() const override { return properties_.Texts(); }

  bool keypad_locked() const { return keypad_locked_; }

 private:
  SimulatedReply Answer(std::string_view request) override;
  // The answer without its NUL; none for a frame that the calibrator does not know.
  std::optional<std::string> Tell(std::string_view name);
  std::optional<std::string> TellPressure(std::string_view name);
  double Pressure();
  bool Take(std::string_view name, std::string_view value);
  bool TakeSwitch(std::string_view name, bool on);

  ThermalModel controller_;  // The pressure, in `pressure-unit`.
  std::uint8_t prefix_ = 1;  // The byte before every request.
  std::string type_ = "Additel 761";
  std::string item_ = "LPM";   // The measured item: MA, V, SW, HPM, LPM, EPM, HART.
  std::string unit_ = "KPA";   // Of the pressures.
  double value_ = 12.5;        // The measured value while the item is not a pressure.
  double atmosphere_ = 101.3;  // kPa
  double source_ = 4;          // mA
  bool source_power_ = false;
  bool loop_power_ = false;
  bool keypad_locked_ = true;
  double run_kind_ = 0;
  std::string set_point_text_;  // When not empty, the set point in answers.
  std::string refused_;         // The start of the names of refused requests.
  PropertyTable properties_;
};

}  // namespace ulix
