#include "simulators/new_model.h"

#include "base/numbers.h"

namespace ulix {
namespace {

SimulatedReply Line(const std::string& text) { return {text + '\n', true}; }

}  // namespace

NewClassSimulator::NewClassSimulator(Clock&)
    : LineSimulator('\n'), properties_{{"identity", &identity_}, {"input", &input_}} {}

SimulatedReply NewClassSimulator::Answer(std::string_view request) {
  if (request == "*IDN?") return Line(identity_);
  if (request == "MEAS?") return Line(FormatFixed(input_, 4));
  if (request == "RATE?") return Line(rate_);
  if (request == "RATE SLOW" || request == "RATE FAST") {
    rate_ = request.substr(request.find(' ') + 1);
  } else {
    NoteUnknown(request);
  }
  return {};
}

std::unique_ptr<Simulator> new_model::MakeSimulator(Clock& clock) { return std::make_unique<NewClassSimulator>(clock); }

}  // namespace ulix
