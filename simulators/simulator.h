// A simulated instrument: the device's state, and the commands of its protocol.
#pragma once

#include <memory>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

#include "base/result.h"
#include "platform/clock.h"

namespace ulix {

class Surroundings;

// The reply to one request.
struct SimulatedReply {
  std::string bytes;      // Empty when the instrument does not answer this request.
  bool expected = false;  // The request is a query, so that an answer is expected.
};

// The functions are called by one thread at a time.
class Simulator {
 public:
  virtual ~Simulator() = default;
  // Takes bytes as they come on the line. Returns one reply for every request that they complete.
  virtual std::vector<SimulatedReply> Receive(std::string_view bytes) = 0;
  // Selects the frames of a network in place of those of a line, for protocols that have both. Call it before Receive.
  virtual void OnNetwork() {}
  // Connects the device to a world that it shares with others. Call it before the first byte; `place` must outlive the
  // simulator. False for a model that neither produces nor measures a quantity of the world.
  virtual bool Place(Surroundings& /*place*/) { return false; }
  // The instrument's own refusal, for the fault `refuse`.
  virtual std::string Refusal() const = 0;
  // Sets a property of the simulated device, such as "input" or "identity". E_INVALIDARG for an unknown property or a
  // bad value.
  virtual HRESULT Set(std::string_view key, std::string_view value) = 0;
  // The properties and their present values, for help texts.
  virtual std::vector<std::pair<std::string, std::string>> Properties() const = 0;
  // The first kMaxUnknown requests that the real instrument does not know, as they came.
  const std::vector<std::string>& unknown_requests() const { return unknown_requests_; }

 protected:
  void NoteUnknown(std::string_view request) {
    if (unknown_requests_.size() < kMaxUnknown) unknown_requests_.emplace_back(request);
  }

 private:
  static constexpr std::size_t kMaxUnknown = 100;
  std::vector<std::string> unknown_requests_;
};

using SimulatorFactory = std::unique_ptr<Simulator> (*)(Clock& clock);

// Each model's simulator defines its factory.
#define ULIX_MODEL(model)                                 \
  namespace model {                                       \
  std::unique_ptr<Simulator> MakeSimulator(Clock& clock); \
  }
#include "drivers/models.def"
#undef ULIX_MODEL

// The factory of a model id, in upper or lower case. Null when there is none.
SimulatorFactory FindSimulator(std::string_view model);

}  // namespace ulix
