// The decoder of records in a logger's memory.
#pragma once

#include <cstdint>
#include <string_view>

#include "drivers/channel_arrays.h"

namespace ulix {

// A time of a logger's clock: whole seconds since 1996-01-01 00:00:00, and 128ths of a second. All zeros: not set.
struct TimeBase {
  std::uint32_t seconds = 0;
  std::uint32_t fraction = 0;  // in 1/128 s

  bool IsSet() const { return seconds != 0 || fraction != 0; }
};

// The date of a number of days since 1996-01-01. Loggers count in cycles of 1461 days that begin with a leap year, so
// they have a 29 February 2100, which does not exist. It becomes 1 March 2100.
Date DateOfDays(std::uint32_t days);
Date DateOf(const TimeBase& time);

// Decodes a stream of 8-byte records, oldest first:
//
//  byte 0-1  kind (bits 15-12), channel number from 1 (bits 11-0), low byte first
//       2    kinds 0 and 7, measurements: 128ths of a second since the measurement before
//       3    their flags; bit 4: the measurement failed, bytes 4-5 are its signed error
//       4-7  their value, a float
//       3-7  kinds 1-5 and 8: time base, seconds (low byte first) and 128ths
//       4-7  kind 6: time base in whole seconds
//
// Other kinds are ignored. A measurement before any time base is dropped. The time base is the only state, so that a
// stream can be decoded in parts. Not safe for use by two threads at once.
class RecordDecoder {
 public:
  static constexpr std::size_t kRecordBytes = 8;
  // Appends the measurements of the whole records in `bytes`. Bytes after the last whole record are ignored.
  void Decode(std::string_view bytes, ChannelArrays& out);

 private:
  TimeBase now_;
};

}  // namespace ulix
