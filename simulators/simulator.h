// A simulated instrument: a model of the device's state behind the commands of its wire.
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

// One request taken off the wire and what the instrument says to it.
struct SimulatedReply {
  std::string bytes;      // empty when the instrument answers nothing to this request
  bool expected = false;  // whether the request is one that is answered at all
};

// Called from one thread.
class Simulator {
 public:
  virtual ~Simulator() = default;
  // Takes bytes as they come off the wire and returns one reply for every whole request that they complete.
  virtual std::vector<SimulatedReply> Receive(std::string_view bytes) = 0;
  // Tells it, before any byte, that it is served on a network instead of a line: some protocols have other frames
  // there.
  virtual void OnNetwork() {}
  // Puts it, before any byte, where it shares a world with others; `place` outlives it. False for a model that is no
  // source of what the others measure and measures nothing itself.
  virtual bool Place(Surroundings& /*place*/) { return false; }
  // The instrument's own way to refuse a request, for the fault `refuse`.
  virtual std::string Refusal() const = 0;
  // Sets a property of the simulated device, such as "input" or "identity"; E_INVALIDARG for one that it does not have.
  virtual HRESULT Set(std::string_view key, std::string_view value) = 0;
  // The properties and what they are now, for help texts.
  virtual std::vector<std::pair<std::string, std::string>> Properties() const = 0;
  // Requests that the real instrument would not know, as they came; the first kMaxUnknown of them.
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

// Each model's simulator defines its own.
#define ULIX_MODEL(model)                                 \
  namespace model {                                       \
  std::unique_ptr<Simulator> MakeSimulator(Clock& clock); \
  }
#include "drivers/models.def"
#undef ULIX_MODEL

// The simulator of a model word, any case; null when there is none.
SimulatorFactory FindSimulator(std::string_view model);

}  // namespace ulix
