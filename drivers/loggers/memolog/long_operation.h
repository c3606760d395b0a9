// The long operation of a logger; there is at most one at a time.
#pragma once

#include "drivers/loggers/memolog/driver.h"

namespace ulix::memolog {

class MemologDriver::LongOperation {
 public:
  explicit LongOperation(std::atomic<bool>& busy) : busy_(busy), begun_(!busy.exchange(true)) {}
  ~LongOperation() {
    if (begun_) busy_ = false;
  }
  LongOperation(const LongOperation&) = delete;
  LongOperation& operator=(const LongOperation&) = delete;
  // False when another one is in progress.
  bool begun() const { return begun_; }

 private:
  std::atomic<bool>& busy_;
  bool begun_;
};

}  // namespace ulix::memolog
