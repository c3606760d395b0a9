// A simulated Isotech calibrator: a controller that receives set points in frames of two protocols.
#pragma once

#include <string>
#include <string_view>
#include <vector>

#include "simulators/properties.h"
#include "simulators/simulator.h"
#include "simulators/surroundings.h"

namespace ulix {

// Frames that begin with EOT carry an address and a block check and are answered by one byte; frames that begin with
// STX are lines and are answered by lines. Nothing can be read back over the wire.
class IsotechSimulator final : public Simulator {
 public:
  explicit IsotechSimulator(Clock&);

  std::vector<SimulatedReply> Receive(std::string_view bytes) override;
  // The refusal in the protocol of the last frame.
  std::string Refusal() const override;
  bool Place(Surroundings& place) override {
    place_ = &place;
    return true;
  }
  HRESULT Set(std::string_view key, std::string_view value) override { return properties_.Set(key, value); }
  std::vector<std::pair<std::string, std::string>> Properties() const override { return properties_.Texts(); }

  double set_point() const { return set_point_; }
  bool output_on() const { return output_on_; }

 private:
  bool FrameIsWhole() const;
  SimulatedReply Answer(std::string_view frame);
  SimulatedReply AnswerAddressed(std::string_view frame);
  SimulatedReply AnswerLine(std::string_view frame);
  SimulatedReply Refuse(std::string_view frame);

  std::string pending_;  // The incomplete frame.
  bool last_is_line_ = false;
  Surroundings* place_ = nullptr;
  double set_point_ = 20;  // degrees Celsius
  bool output_on_ = false;
  double address_ = -1;             // The controller's address; negative: it answers every address.
  std::string stop_answer_ = "CP";  // The text between STX and CR LF in the answer to "CP".
  PropertyTable properties_;
};

}  // namespace ulix
