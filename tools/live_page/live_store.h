// What a live page sends: the newest frame, and the past thinned to what a page can draw.
#pragma once

#include <chrono>
#include <condition_variable>
#include <cstdint>
#include <deque>
#include <mutex>
#include <string>
#include <vector>

#include "tools/live_page/live_page.h"

namespace ulix {

// Any thread. Memory does not grow with time.
class LiveStore {
 public:
  void Put(LiveFrame frame);
  // Ends all waits.
  void Close();
  bool closed() const;

  // {"all":[[seconds, value or null, ...], ...], "recent":[...]}.
  std::string History() const;
  // The newest frame as JSON, when its number is not `seen`; `seen` becomes its number. Waits for one as long as
  // `wait`. Empty when the time is over or the store is closed.
  std::string Next(std::uint64_t& seen, std::chrono::milliseconds wait);

 private:
  struct Point {
    double seconds;
    std::vector<std::optional<double>> values;
  };
  mutable std::mutex mutex_;  // guards all members below
  std::condition_variable changed_;
  LiveFrame frame_;
  std::uint64_t number_ = 0;  // of frames so far
  bool closed_ = false;
  std::vector<Point> all_;
  std::uint64_t stride_ = 1;  // every so many frames one is kept in all_
  std::deque<Point> recent_;
};

}  // namespace ulix
