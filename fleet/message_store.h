// Records that wait on the disk, in order, within a bound: what could not be sent while the broker was away.
#pragma once

#include <cstdint>
#include <deque>
#include <filesystem>
#include <memory>
#include <optional>
#include <string>
#include <string_view>

#include <tl/expected.hpp>

#include "platform/append_file.h"

namespace ulix::fleet {

// A folder of segment files. When the bound is reached, the oldest segment is deleted. A record is on the disk's way
// when Append returns: it survives the end of the program at any moment, and after Sync that of the machine. A record
// that was given by Next and not confirmed is given again, also by the next program: records may be sent twice, and are
// not lost. One program at a time; one thread at a time.
class MessageStore {
 public:
  static constexpr std::uint64_t kMinBytes = 64 * 1024;

  // Makes the folder where it is not there. The error is a sentence. `max_bytes` is at least kMinBytes.
  static tl::expected<std::unique_ptr<MessageStore>, std::string> Open(const std::string& folder,
                                                                       std::uint64_t max_bytes);

  // When the disk is full, the oldest segment makes room. False when it does not take the record even then; the record
  // is counted as lost.
  bool Append(std::string_view record);
  void Sync();
  // The next record that was not given yet; none at the end. Damaged records are skipped.
  std::optional<std::string> Next();
  // The records that Next gave are done with.
  void Confirm();
  // Next begins again with the first record that was not confirmed.
  void Rewind();

  bool empty() const { return bytes() == 0; }
  std::uint64_t bytes() const;
  // Records deleted for the bound or not taken by the disk, since Open.
  std::uint64_t lost() const { return lost_; }

 private:
  struct Segment {
    std::uint64_t number = 0;
    std::uint64_t bytes = 0;
    std::uint64_t records = 0;  // of this program; unknown ones of an earlier program are not counted
  };

  MessageStore(std::filesystem::path folder, std::uint64_t max_bytes);
  std::filesystem::path PathOf(std::uint64_t number) const;
  bool StartSegment();
  bool WriteRecord(std::string_view framed);
  void EndSegment();
  void KeepWithinBound();
  void DropFirst();
  void DropOldest();  // counts what is lost with it
  bool LoadSegment();

  const std::filesystem::path folder_;
  const std::uint64_t max_bytes_;
  std::deque<Segment> segments_;                   // oldest first
  std::unique_ptr<platform::AppendFile> writing_;  // of the last segment; null while none is written
  std::uint64_t next_number_ = 1;
  std::uint64_t lost_ = 0;

  // Where Next is: a segment's place in segments_, its text, and the offset in it.
  std::size_t read_segment_ = 0;
  std::string read_text_;
  std::size_t read_at_ = 0;
  std::size_t confirmed_at_ = 0;  // offset in the first segment
  bool loaded_ = false;
};

}  // namespace ulix::fleet
