// A run's journal: everything that happened, a JSON object a line, in a file that is only ever added to.
#pragma once

#include <cstdint>
#include <memory>
#include <string>
#include <string_view>
#include <vector>

#include <nlohmann/json.hpp>
#include <tl/expected.hpp>

#include "platform/append_file.h"

namespace ulix::calibration {

using Json = nlohmann::ordered_json;

// The lines of a journal. Each begins with its number "n" from 0 and ends with "prev", the SHA-256 of the line before
// it without its line end (64 zeros in the first), so that a line that was changed, taken out or put in is noticed.
// A last line without its line end was being written when the program died; it is left out.
class JournalReader {
 public:
  struct Broken {
    std::uint64_t line = 0;  // from 1
    std::string reason;
  };
  // The whole file is read and its chain checked; lines are given out one by one, so that memory does not grow with it.
  static tl::expected<JournalReader, Broken> Open(const std::string& path);

  // False at the end.
  bool Next(Json& entry);
  std::uint64_t whole_bytes() const { return whole_bytes_; }  // up to the end of the last whole line
  std::uint64_t lines() const { return lines_; }
  const std::string& last_digest() const { return last_digest_; }

 private:
  std::string path_;
  std::unique_ptr<std::istream> stream_;
  std::uint64_t whole_bytes_ = 0, lines_ = 0, given_ = 0;
  std::string last_digest_;
};

// One thread.
class JournalWriter {
 public:
  static tl::expected<JournalWriter, platform::AppendFailure> Create(const std::string& path);
  // An existing one, which nobody else writes from now on. It is read after that, and gone on with where it ends.
  static tl::expected<JournalWriter, platform::AppendFailure> Continue(const std::string& path);
  bool GoOnAfter(const JournalReader& reader);

  // Adds the entries as lines, all of them at once. False when the disk is full or gone: what was added in part is
  // found to be no whole line by whoever reads it.
  bool Append(const std::vector<Json>& entries);
  bool Append(const Json& entry) { return Append(std::vector<Json>{entry}); }
  // What was added is on the disk.
  bool Sync() { return file_->Sync(); }

 private:
  JournalWriter(std::unique_ptr<platform::AppendFile> file, std::uint64_t lines, std::string digest)
      : file_(std::move(file)), lines_(lines), digest_(std::move(digest)) {}

  std::unique_ptr<platform::AppendFile> file_;
  std::uint64_t lines_;
  std::string digest_;
};

// "journal.jsonl" in a run's folder.
std::string JournalPath(const std::string& folder);

}  // namespace ulix::calibration
