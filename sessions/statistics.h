// The counters of a session. They count from its construction on; reconnecting does not reset them.
#pragma once

#include <atomic>
#include <cstdint>
#include <string>

namespace ulix {

struct SessionStatistics {
  std::uint64_t exchanges = 0;           // queries with a reply; sync queries are not counted
  std::uint64_t timeouts = 0;            // replies that did not begin in time, or stopped midway
  std::uint64_t damaged = 0;             // replies with a parity or framing error, or with a wrong checksum
  std::uint64_t discarded = 0;           // replies that answered no query, or a query that had been given up
  std::uint64_t resynchronisations = 0;  // how often the line was brought in sync again
  std::uint64_t reconnections = 0;       // how often a lost device was reconnected to

  bool operator==(const SessionStatistics&) const = default;
};

// "exchanges=12 timeouts=0 ...", for programs and traces: the keys are the same in every language.
std::string TextOf(const SessionStatistics& statistics);

// The same counters while they count. The thread that holds the exchange lock counts; any thread may read.
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
