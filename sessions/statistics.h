// The counters of a session. They start at 0 when the session is made; a reconnection does not reset them.
#pragma once

#include <atomic>
#include <cstdint>
#include <string>

namespace ulix {

struct SessionStatistics {
  std::uint64_t exchanges = 0;           // queries that expect a reply; sync queries are not counted
  std::uint64_t timeouts = 0;            // replies that did not begin in time, or stopped midway
  std::uint64_t damaged = 0;             // replies with a parity or framing error, or with a wrong checksum
  std::uint64_t discarded = 0;           // replies that answered no query, or an earlier query that had failed
  std::uint64_t resynchronisations = 0;  // how often the line was in sync again after it had been out of sync
  std::uint64_t reconnections = 0;       // how often a lost device was connected again

  bool operator==(const SessionStatistics&) const = default;
};

// "exchanges=12 timeouts=0 ...", for programs and traces: the keys are the same in every language.
std::string TextOf(const SessionStatistics& statistics);

// The counters while the session runs. Only the thread that holds the exchange lock changes them; any thread may read
// them.
class SessionCounters {
 public:
  class Counter {
   public:
    void operator++() { value_.store(value_.load(std::memory_order_relaxed) + 1, std::memory_order_relaxed); }
    operator std::uint64_t() const { return value_.load(std::memory_order_relaxed); }

   private:
    std::atomic<std::uint64_t> value_ = 0;
  };
  Counter exchanges, timeouts, damaged, discarded, resynchronisations, reconnections;

  SessionStatistics Read() const {
    return {exchanges, timeouts, damaged, discarded, resynchronisations, reconnections};
  }
};

}  // namespace ulix
