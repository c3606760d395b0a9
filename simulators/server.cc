#include "simulators/server.h"

#include <algorithm>
#include <array>

namespace ulix {
namespace {

constexpr Milliseconds kLongestWait{50};

Milliseconds WaitFor(const FaultyInstrument& instrument, MonotonicTime now) {
  const auto due = instrument.NextDue();
  return due ? std::clamp(std::chrono::ceil<Milliseconds>(*due - now), Milliseconds(0), kLongestWait) : kLongestWait;
}

}  // namespace

ServeEnd Serve(FaultyInstrument& instrument, platform::ByteEndpoint& endpoint, Clock& clock,
               const std::atomic<bool>& stop) {
  std::array<char, 1024> buffer;
  while (!stop) {
    const std::string due = instrument.TakeDue(clock.Now());
    if (!due.empty()) endpoint.Write(due);
    if (instrument.Vanished()) return ServeEnd::kVanished;
    const std::size_t count = endpoint.Read(buffer, WaitFor(instrument, clock.Now()));
    if (count > 0) instrument.Receive({buffer.data(), count}, clock.Now());
  }
  return ServeEnd::kStopped;
}

}  // namespace ulix
