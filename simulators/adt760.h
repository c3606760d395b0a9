// A simulated Additel ADT760: six pressure modules, a pressure controller, an electrical input and a current source.
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

  // A request that it refuses is not answered; its error queue tells of it.
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
  // Whether the calibrator knows the command; what it does not like about it goes to the error queue.
  bool Execute(std::string_view command);
  void Source(double& target, double value, double lowest, double highest);
  void QueueError(std::string_view error);
  std::string NextError();

  ThermalModel controller_;                  // the pressure that the modules see, mbar
  std::array<double, kModules> offsets_{};   // of each module's reading, mbar
  std::string function_ = "CURRENT";         // of the electrical input
  double voltage_ = 5.25;                    // at the electrical input, V
  double current_input_ = 12.5;              // the same, mA
  double switch_ = 1;                        // the same, closed
  double current_ = 4;                       // of the source, mA
  double lowest_ = -1000, highest_ = 20000;  // pressure set points that are taken
  bool venting_ = false;
  std::string identity_ = "Additel,HPC-HOST,211H17660013,V1.07";
  std::string reading_text_;     // answered to every measurement when not empty
  std::string measuring_error_;  // goes to the error queue with every measurement when not empty
  std::deque<std::string> errors_;
  PropertyTable properties_;
};

}  // namespace ulix
