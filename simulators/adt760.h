// A simulated Additel ADT760: six pressure modules, a pressure controller, an electrical input and a current source.
// One thread.
#pragma once

#include <array>
#include <deque>
#include <optional>
#include <string>
#include <string_view>

#include "simulators/line_simulator.h"
#include "simulators/properties.h"
#include "simulators/thermal_model.h"

namespace ulix {

class Adt760Simulator final : public LineSimulator {
 public:
  explicit Adt760Simulator(Clock& clock);

  // Empty: a refused request has no reply. The error queue holds the error.
  std::string Refusal() const override { return {}; }
  bool Place(Surroundings& place) override {
    controller_.place = &place;
    return true;
  }
  HRESULT Set(std::string_view key, std::string_view value) override;
  std::vector<std::pair<std::string, std::string>> Properties() const override { return properties_.Texts(); }

  bool venting() const { return venting_; }
  double set_point() const { return controller_.set_point; }
  double current() const { return current_; }

 private:
  static constexpr std::size_t kModules = 6;
  SimulatedReply Answer(std::string_view request) override;
  std::optional<std::string> AnswerQuery(std::string_view query);
  std::optional<double> Measure(std::string_view query);
  // Whether the calibrator knows the command. An error in a known command goes to the error queue.
  bool Execute(std::string_view command);
  void Source(double& target, double value, double lowest, double highest);
  void QueueError(std::string_view error);
  std::string NextError();

  ThermalModel controller_;                  // The pressure that the modules measure, mbar.
  std::array<double, kModules> offsets_{};   // Offset of each module, in mbar.
  std::string function_ = "CURRENT";         // Function of the electrical input.
  double voltage_ = 5.25;                    // At the electrical input, V.
  double current_input_ = 12.5;              // At the electrical input, mA.
  double switch_ = 1;                        // Switch at the electrical input; 1 is closed.
  double current_ = 4;                       // Of the source, mA.
  double lowest_ = -1000, highest_ = 20000;  // Accepted pressure set points, mbar.
  bool venting_ = false;
  std::string identity_ = "Additel,HPC-HOST,211H17660013,V1.07";
  std::string reading_text_;     // When not empty, the answer to every measurement.
  std::string measuring_error_;  // When not empty, added to the error queue by every measurement.
  std::deque<std::string> errors_;
  PropertyTable properties_;
};

}  // namespace ulix
