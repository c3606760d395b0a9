#include "calibration/journal.h"

#include <filesystem>
#include <fstream>

#include "base/sha256.h"
#include "platform/files.h"

namespace ulix::calibration {
namespace {

constexpr std::size_t kMaxLine = std::size_t{16} << 20U;  // the plan is one line
const std::string kNoDigest(64, '0');

std::string DumpOf(const Json& entry) { return entry.dump(-1, ' ', false, nlohmann::json::error_handler_t::replace); }

// Why a line is not the one that must be at this place; empty when it is.
BilingualText WhatIsWrong(const std::string& line, std::uint64_t number, const std::string& digest) {
  const Json entry = Json::parse(line, nullptr, false);
  if (!entry.is_object()) return Bilingual(TextId::kJournalNoObject);
  const auto has = [&](const char* key) { return entry.contains(key); };
  if (!has("n") || !has("prev") || !has("k") || !entry["k"].is_string()) return Bilingual(TextId::kJournalNoEntry);
  if (entry["n"] != number) return Bilingual(TextId::kJournalNumber, {std::to_string(number)});
  if (entry["prev"] != digest) return Bilingual(TextId::kJournalChanged);
  return {};
}

}  // namespace

void PutText(Json& fields, const std::string& key, const BilingualText& text) {
  fields[key] = text.en;
  if (text.fr != text.en) fields[key + "-fr"] = text.fr;
}

BilingualText TextIn(const Json& entry, const std::string& key) {
  const std::string en = entry.value(key, "");
  return {en, entry.value(key + "-fr", en)};
}

std::string JournalPath(const std::string& folder) {
  return (std::filesystem::path(platform::PathOf(folder)) / "journal.jsonl").string();
}

tl::expected<JournalReader, JournalReader::Broken> JournalReader::Open(const std::string& path) {
  JournalReader reader;
  reader.path_ = path;
  reader.last_digest_ = kNoDigest;
  auto file = std::make_unique<std::ifstream>(platform::PathOf(path), std::ios::binary);
  if (!*file) return tl::unexpected(Broken{0, Bilingual(TextId::kJournalNoFile, {path})});
  std::string line;
  // getline also returns a last line without its end; then the end of the file is reached.
  while (std::getline(*file, line) && !file->eof()) {
    if (line.size() > kMaxLine) return tl::unexpected(Broken{reader.lines_ + 1, Bilingual(TextId::kJournalTooLong)});
    BilingualText wrong = WhatIsWrong(line, reader.lines_, reader.last_digest_);
    if (!wrong.empty()) return tl::unexpected(Broken{reader.lines_ + 1, std::move(wrong)});
    reader.last_digest_ = Sha256Hex(line);
    reader.whole_bytes_ += line.size() + 1;
    ++reader.lines_;
  }
  file->clear();
  file->seekg(0);
  reader.stream_ = std::move(file);
  return reader;
}

bool JournalReader::Next(Json& entry) {
  std::string line;
  if (given_ >= lines_ || !std::getline(*stream_, line)) return false;
  ++given_;
  entry = Json::parse(line, nullptr, false);
  return entry.is_object();
}

tl::expected<JournalWriter, platform::AppendFailure> JournalWriter::Create(const std::string& path) {
  auto opened = platform::OpenForAppending(path, platform::AppendMode::kNew);
  if (!opened.file) return tl::unexpected(opened.failure);
  return JournalWriter(std::move(opened.file), 0, kNoDigest);
}

tl::expected<JournalWriter, platform::AppendFailure> JournalWriter::Continue(const std::string& path) {
  auto opened = platform::OpenForAppending(path, platform::AppendMode::kExisting);
  if (!opened.file) return tl::unexpected(opened.failure);
  return JournalWriter(std::move(opened.file), 0, kNoDigest);
}

bool JournalWriter::GoOnAfter(const JournalReader& reader) {
  lines_ = reader.lines();
  digest_ = reader.last_digest();
  return file_->CutTo(reader.whole_bytes());
}

bool JournalWriter::Append(const std::vector<Json>& entries) {
  std::string lines;
  for (const Json& entry : entries) {
    const std::string body = DumpOf(entry);
    std::string line =
        "{\"n\":" + std::to_string(lines_++) + "," + body.substr(1, body.size() - 2) + ",\"prev\":\"" + digest_ + "\"}";
    digest_ = Sha256Hex(line);
    lines += line + '\n';
  }
  return file_->Append(lines);
}

}  // namespace ulix::calibration
