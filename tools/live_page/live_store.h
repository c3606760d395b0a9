// The data of a live page: the newest frame, and the past frames, thinned out to what a page can draw.
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

// Any thread may call any member. The memory used does not grow with time.
class LiveStore {
 public:
  void Put(LiveFrame frame);
  // Ends all waits.
  void Close();
  bool closed() const;

  // The stored frames as JSON: {"all":[[seconds, value or null, ...], ...], "recent":[...]}.
  std::string History() const;
  // Waits up to `wait` for a frame whose number is not `seen`. Returns the newest frame as JSON and stores its number
  // in `seen`. Empty when the time is over or the store is closed.
  std::string Next(std::uint64_t& seen, std::chrono::milliseconds wait);

 private:
  struct Point {
    double seconds;
    std::vector<std::optional<double>> values;
  };
  mutable std::mutex mutex_;  // guards all members below
  std::condition_variable changed_;
  LiveFrame frame_;
  std::uint64_t number_ = 0;  // number of frames so far
  bool closed_ = false;
  std::vector<Point> all_;
  std::uint64_t stride_ = 1;  // one of this many frames is stored in all_
  std::deque<Point> recent_;
};

}  // namespace ulix
