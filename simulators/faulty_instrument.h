// A simulated instrument at the end of a line that has faults.
#pragma once

#include <deque>
#include <memory>
#include <mutex>
#include <optional>
#include <string>
#include <string_view>

#include "simulators/faults.h"
#include "simulators/simulator.h"

namespace ulix {

// Turns bytes that come in at one moment into bytes that go out at later ones. It waits for nothing and has no thread:
// who moves the bytes tells it the time, which never goes back. Any thread may call any function.
class FaultyInstrument {
 public:
  explicit FaultyInstrument(std::unique_ptr<Simulator> simulator, const FaultSet& faults = {});

  // From the next byte on. The count of `drop` starts again, and a device that had vanished is back, unless the new
  // faults say otherwise; a reply held back by `late` is lost.
  void SetFaults(const FaultSet& faults);

  void Receive(std::string_view bytes, MonotonicTime now);
  // The bytes that have been sent up to now and were not taken yet.
  std::string TakeDue(MonotonicTime now);
  // When the next byte goes out; none when nothing is under way.
  std::optional<MonotonicTime> NextDue() const;
  // Whether the device is gone from its line. Its last reply has been taken then.
  bool Vanished() const;

  // Runs `body` with the simulator, to look at it or to set it, while nothing else uses it.
  template <typename Body>
  auto WithSimulator(Body&& body) {
    std::lock_guard lock(mutex_);
    return body(*simulator_);
  }

 private:
  struct Piece {
    MonotonicTime due;
    std::string bytes;
  };
  bool Leaving() const;
  void Reply(std::string bytes, MonotonicTime now);
  void Schedule(std::string_view bytes, MonotonicTime start);

  mutable std::mutex mutex_;  // guards all below
  std::unique_ptr<Simulator> simulator_;
  FaultSet faults_;
  std::deque<Piece> under_way_;  // in the order of their times
  MonotonicTime free_at_{};      // when the last byte under way goes out
  std::string held_;             // by `late`
  int exchanges_ = 0;            // queries since the faults were set
};

}  // namespace ulix
