// The receiver of a memory block's records.
#pragma once

#include "drivers/channel_arrays.h"

namespace ulix {

// The members are called on the reading thread, with no lock held. When one fails, the read stops and fails with that
// code, and nothing is cleared.
class RecordSink {
 public:
  virtual ~RecordSink() = default;
  // The next records, oldest first; `records` is reused after the call.
  virtual HRESULT Take(const ChannelArrays& records) = 0;
  // All records have been given and the logger is free again. It clears them next, when that was asked. Not called for
  // a read that failed or was stopped.
  virtual HRESULT Complete() = 0;
};

}  // namespace ulix
