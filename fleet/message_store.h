// A store of records on the disk, in order and of limited size: messages that could not be sent while the broker was
// away.
#pragma once

#include <cstdint>
#include <deque>
#include <filesystem>
#include <memory>
#include <optional>
#include <string>
#include <string_view>

#include "calibration/problem.h"
#include "platform/append_file.h"

namespace ulix::fleet {

// The store is a folder of segment files. When it reaches its maximum size, the oldest segment is deleted. After Append
// a record survives the end of the program, and after Sync also a power failure. A record that Next has returned and
// that was not confirmed is returned again, also in the next program. So records may be sent twice, but are not lost.
// One program and one thread at a time may use a store.
class MessageStore {
 public:
  static constexpr std::uint64_t kMinBytes = std::uint64_t{64} << 10U;

  // Opens a store, and makes the folder if it is missing. The error is a sentence. `max_bytes` must be at least
  // kMinBytes.
  static calibration::Result<std::unique_ptr<MessageStore>> Open(const std::string& folder, std::uint64_t max_bytes);

  // Adds a record. When the disk is full, the oldest segment is deleted. False if the disk does not accept the record
  // even then; it counts as lost.
  bool Append(std::string_view record);
  void Sync();
  // Returns the next record; none at the end. Skips damaged records.
  std::optional<std::string> Next();
  // Confirms all records that Next has returned; they are not returned again.
  void Confirm();
  // Makes Next begin again with the first record that was not confirmed.
  void Rewind();

  bool empty() const { return bytes() == 0; }
  std::uint64_t bytes() const;
  // The number of records since Open that were deleted to make room, or that the disk did not accept.
  std::uint64_t lost() const { return lost_; }

 private:
  struct Segment {
    std::uint64_t number = 0;
    std::uint64_t bytes = 0;
    std::uint64_t records = 0;  // records of this program; those of an earlier program are not counted
  };

  MessageStore(std::filesystem::path folder, std::uint64_t max_bytes);
  std::filesystem::path PathOf(std::uint64_t number) const;
  bool StartSegment();
  bool WriteRecord(std::string_view framed);
  void EndSegment();
  void KeepWithinBound();
  void DropFirst();
  void DropOldest();  // counts the lost records
  bool LoadSegment();

  const std::filesystem::path folder_;
  const std::uint64_t max_bytes_;
  std::deque<Segment> segments_;                   // oldest first
  std::unique_ptr<platform::AppendFile> writing_;  // the last segment; null while none is being written
  std::uint64_t next_number_ = 1;
  std::uint64_t lost_ = 0;

  // The position of Next: index in segments_, text of that segment, and offset in it.
  std::size_t read_segment_ = 0;
  std::string read_text_;
  std::size_t read_at_ = 0;
  std::size_t confirmed_at_ = 0;  // offset in the first segment
  bool loaded_ = false;
};

}  // namespace ulix::fleet
