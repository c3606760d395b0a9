// Where the records of a memory block go.
#pragma once

#include "core/channel_arrays.h"

namespace ulix {

// Called on the reading thread with no lock held. A failure stops the read, which then fails with that code, and clears
// nothing.
class RecordSink {
 public:
  virtual ~RecordSink() = default;
  // The next records, oldest first; `records` is reused after the call.
  virtual HRESULT Take(const ChannelArrays& records) = 0;
  // All have been taken and the logger has been let go; it forgets them next, if it was asked to. Not called for a read
  // that failed or was stopped.
  virtual HRESULT Complete() = 0;
};

}  // namespace ulix
