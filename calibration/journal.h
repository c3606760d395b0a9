// The journal of a run: a file with one JSON object on each line. Lines are added and never changed.
#pragma once

#include <cstdint>
#include <memory>
#include <string>
#include <string_view>
#include <vector>

#include <nlohmann/json.hpp>
#include <tl/expected.hpp>

#include "calibration/problem.h"
#include "platform/append_file.h"

namespace ulix::calibration {

using Json = nlohmann::ordered_json;

// Reads a journal. Each line begins with its number "n", from 0, and ends with "prev": the SHA-256 of the line before,
// without its line end. The first line has 64 zeros. So a line that was changed, removed or inserted is noticed. A last
// line without a line end was being written when the program died; it is ignored.
class JournalReader {
 public:
  struct Broken {
    std::uint64_t line = 0;  // counted from 1; 0: the file as a whole
    BilingualText reason;
  };
  // Checks the chain of the whole file. The memory used does not depend on the size of the file.
  static tl::expected<JournalReader, Broken> Open(const std::string& path);

  // Gives the next line. False at the end.
  bool Next(Json& entry);
  std::uint64_t whole_bytes() const { return whole_bytes_; }  // size up to the end of the last whole line
  std::uint64_t lines() const { return lines_; }
  const std::string& last_digest() const { return last_digest_; }

 private:
  std::string path_;
  std::unique_ptr<std::istream> stream_;
  std::uint64_t whole_bytes_ = 0, lines_ = 0, given_ = 0;
  std::string last_digest_;
};

// Writes a journal. For one thread at a time.
class JournalWriter {
 public:
  static tl::expected<JournalWriter, platform::AppendFailure> Create(const std::string& path);
  // Opens an existing journal and locks it against other writers. Next read the journal, then call GoOnAfter.
  static tl::expected<JournalWriter, platform::AppendFailure> Continue(const std::string& path);
  bool GoOnAfter(const JournalReader& reader);

  // Adds a line for each entry, with one write. False when the disk is full or gone; a reader ignores a line that was
  // written in part.
  bool Append(const std::vector<Json>& entries);
  bool Append(const Json& entry) { return Append(std::vector<Json>{entry}); }
  // Waits until the added lines are on the disk; false when that fails.
  bool Sync() { return file_->Sync(); }

 private:
  JournalWriter(std::unique_ptr<platform::AppendFile> file, std::uint64_t lines, std::string digest)
      : file_(std::move(file)), lines_(lines), digest_(std::move(digest)) {}

  std::unique_ptr<platform::AppendFile> file_;
  std::uint64_t lines_;
  std::string digest_;
};

// Stores a text of an entry in both languages: with the key "why", the English one under "why" and, if it differs, the
// French one under "why-fr".
void PutText(Json& fields, const std::string& key, const BilingualText& text);
BilingualText TextIn(const Json& entry, const std::string& key);

// The path of the journal in a run's folder: "journal.jsonl".
std::string JournalPath(const std::string& folder);

}  // namespace ulix::calibration
