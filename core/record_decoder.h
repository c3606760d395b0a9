// Records as loggers store them, and what they say.
#pragma once

#include <cstdint>
#include <string_view>

#include "core/channel_arrays.h"

namespace ulix {

// A moment on a logger's clock: whole seconds since 1996-01-01 00:00:00 and 128ths of one. All zero: not set.
struct TimeBase {
  std::uint32_t seconds = 0;
  std::uint32_t fraction = 0;  // in 1/128 s

  bool IsSet() const { return seconds != 0 || fraction != 0; }
};

// The calendar date of a count of days since 1996-01-01 in cycles of 1461 days, each of which begins with a leap year:
// loggers know no exception for the year 2100, whose 29 February counts as the day after.
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
// Other kinds say nothing. A measurement before any time base is dropped. No state but the time base, so that a stream
// can be decoded in parts.
class RecordDecoder {
 public:
  static constexpr std::size_t kRecordBytes = 8;
  // Appends what the whole records in `bytes` say; bytes beyond the last whole record are passed over.
  void Decode(std::string_view bytes, ChannelArrays& out);

 private:
  TimeBase now_;
};

}  // namespace ulix
