#include "drivers/loggers/record_decoder.h"

#include <bit>
#include <cstring>

namespace ulix {
namespace {

constexpr std::uint32_t kSecondsPerDay = 86400;
constexpr std::uint32_t kFractionsPerSecond = 128;
constexpr double kFirstDay = 35065;                 // 1996-01-01
constexpr std::uint32_t kDayAfter2100Leap = 38046;  // 2100-03-01 in the logger's count of days

// The meaning of a kind of record.
enum class Meaning : std::uint8_t { kNothing, kMeasurement, kTime, kWholeSeconds };
constexpr Meaning kMeanings[16] = {
    Meaning::kMeasurement, Meaning::kTime,    Meaning::kTime,         Meaning::kTime,
    Meaning::kTime,        Meaning::kTime,    Meaning::kWholeSeconds, Meaning::kMeasurement,
    Meaning::kTime,        Meaning::kNothing, Meaning::kNothing,      Meaning::kNothing,
    Meaning::kNothing,     Meaning::kNothing, Meaning::kNothing,      Meaning::kNothing};

// The eight bytes of a record as one number; byte 0 is the lowest.
std::uint64_t Load(const char* record) {
  std::uint64_t bits = 0;
  if constexpr (std::endian::native == std::endian::little) {
    std::memcpy(&bits, record, sizeof bits);
  } else {
    for (int i = 7; i >= 0; --i) bits = bits << 8U | static_cast<unsigned char>(record[i]);
  }
  return bits;
}

std::uint32_t ByteOf(std::uint64_t record, unsigned byte) {
  return static_cast<std::uint32_t>(record >> (8 * byte) & 0xFFU);
}

void SetTime(TimeBase& time, std::uint64_t record, Meaning meaning) {
  const bool whole = meaning == Meaning::kWholeSeconds;
  time.seconds = static_cast<std::uint32_t>(record >> (whole ? 32U : 24U));
  time.fraction = whole ? 0 : ByteOf(record, 7);
}

void Advance(TimeBase& time, std::uint32_t step) {
  time.fraction += step;
  time.seconds += time.fraction / kFractionsPerSecond;
  time.fraction %= kFractionsPerSecond;
}

HRESULT ErrorIn(std::uint64_t record) {
  constexpr std::uint32_t kFailed = 0x10;
  return (ByteOf(record, 3) & kFailed) != 0 ? static_cast<std::int16_t>(record >> 32U & 0xFFFFU) : 0;
}

}  // namespace

Date DateOfDays(std::uint32_t days) { return kFirstDay + days - (days >= kDayAfter2100Leap ? 1 : 0); }

Date DateOf(const TimeBase& time) {
  const double of_day = static_cast<double>(time.seconds % kSecondsPerDay) / kSecondsPerDay;
  const double fraction = static_cast<double>(time.fraction) / (kFractionsPerSecond * double{kSecondsPerDay});
  return DateOfDays(time.seconds / kSecondsPerDay) + of_day + fraction;
}

void RecordDecoder::Decode(std::string_view bytes, ChannelArrays& out) {
  std::size_t filled = out.size();
  out.resize(filled + bytes.size() / kRecordBytes);
  TimeBase now = now_;
  for (; bytes.size() >= kRecordBytes; bytes.remove_prefix(kRecordBytes)) {
    const std::uint64_t record = Load(bytes.data());
    const Meaning meaning = kMeanings[record >> 12U & 0xFU];
    if (meaning != Meaning::kMeasurement) {
      if (meaning != Meaning::kNothing) SetTime(now, record, meaning);
      continue;
    }
    if (!now.IsSet()) continue;
    Advance(now, ByteOf(record, 2));
    out.ids[filled] = static_cast<ChannelId>((record & 0xFFFU) - 1);
    out.values[filled] = std::bit_cast<float>(static_cast<std::uint32_t>(record >> 32U));
    out.errors[filled] = ErrorIn(record);
    out.times[filled] = DateOf(now);
    ++filled;
  }
  now_ = now;
  out.resize(filled);
}

}  // namespace ulix
