// A simulated instrument on a line with faults.
#pragma once

#include <deque>
#include <memory>
#include <mutex>
#include <optional>
#include <string>
#include <string_view>

#include "platform/mutex.h"
#include "simulators/faults.h"
#include "simulators/simulator.h"

namespace ulix {

// Bytes come in at one time, and the reply's bytes go out at later times. The object never waits and has no thread: the
// caller gives the time, which must not go back. Any thread may call any function.
class FaultyInstrument {
 public:
  explicit FaultyInstrument(std::unique_ptr<Simulator> simulator, const FaultSet& faults = {});

  // Applies from the next byte on. The count of `drop` starts again, and a vanished device is back unless the new
  // faults make it vanish. A reply held back by `late` is lost.
  void SetFaults(const FaultSet& faults);

  void Receive(std::string_view bytes, MonotonicTime now);
  // Takes the bytes that are due by `now`.
  std::string TakeDue(MonotonicTime now);
  // When the next byte is due; none when no byte waits.
  std::optional<MonotonicTime> NextDue() const;
  // Whether the device has vanished from its line, after its last reply was taken.
  bool Vanished() const;

  // Calls `body` with the simulator, under the lock, to read or to change it.
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

  mutable platform::Mutex mutex_;  // Guards all members below.
  std::unique_ptr<Simulator> simulator_;
  FaultSet faults_;
  std::deque<Piece> under_way_;  // Bytes that were not taken yet, in the order of time.
  MonotonicTime free_at_{};      // When the last of them is due.
  std::string held_;             // The reply held back by `late`.
  int exchanges_ = 0;            // Queries since the faults were set.
};

}  // namespace ulix
