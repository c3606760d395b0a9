#include "fleet/message_store.h"

#include <algorithm>
#include <array>
#include <charconv>
#include <fstream>
#include <iterator>
#include <system_error>
#include <vector>

namespace ulix::fleet {
namespace {

namespace fs = std::filesystem;

constexpr std::uint64_t kSegments = 16;  // into which the maximum size is divided
constexpr std::uint64_t kMaxSegment = std::uint64_t{1} << 20U;
constexpr std::size_t kHeader = 8;  // length and checksum, little-endian
constexpr std::string_view kExtension = ".messages";

// CRC-32 of IEEE 802.3.
std::uint32_t Crc32(std::string_view bytes) {
  static const auto table = [] {
    std::array<std::uint32_t, 256> made{};
    for (std::uint32_t k = 0; k < made.size(); ++k) {
      std::uint32_t crc = k;
      for (int bit = 0; bit < 8; ++bit) crc = (crc >> 1) ^ ((crc & 1U) != 0 ? 0xEDB88320U : 0U);
      made[k] = crc;
    }
    return made;
  }();
  std::uint32_t crc = 0xFFFFFFFFU;
  for (const char c : bytes) crc = table[(crc ^ static_cast<unsigned char>(c)) & 0xFFU] ^ (crc >> 8);
  return ~crc;
}

void AppendWord(std::string& text, std::uint32_t word) {
  for (int shift = 0; shift < 32; shift += 8) text += static_cast<char>((word >> shift) & 0xFFU);
}

std::uint32_t WordAt(std::string_view text, std::size_t at) {
  std::uint32_t word = 0;
  for (std::size_t k = 0; k < 4; ++k) word |= std::uint32_t{static_cast<unsigned char>(text[at + k])} << (8 * k);
  return word;
}

std::optional<std::uint64_t> SegmentNumber(const fs::path& path) {
  const std::string stem = path.stem().string();
  std::uint64_t number = 0;
  const auto [end, error] = std::from_chars(stem.data(), stem.data() + stem.size(), number);
  const bool whole = error == std::errc() && end == stem.data() + stem.size();
  return whole && path.extension() == kExtension ? std::optional(number) : std::nullopt;
}

}  // namespace

MessageStore::MessageStore(fs::path folder, std::uint64_t max_bytes)
    : folder_(std::move(folder)), max_bytes_(std::max(max_bytes, kMinBytes)) {}

calibration::Result<std::unique_ptr<MessageStore>> MessageStore::Open(const std::string& folder,
                                                                      std::uint64_t max_bytes) {
  std::unique_ptr<MessageStore> store(new MessageStore(platform::PathOf(folder), max_bytes));
  std::error_code failed;
  fs::create_directories(store->folder_, failed);
  fs::directory_iterator files(store->folder_, failed);
  if (failed) return calibration::Refused(TextId::kFleetFolderUnusable, {folder, failed.message()});
  for (const fs::directory_entry& file : files) {
    const auto number = SegmentNumber(file.path());
    if (!number) continue;
    if (file.file_size(failed) > 0)
      store->segments_.push_back({*number, file.file_size(failed), 0});
    else
      fs::remove(file.path(), failed);
  }
  std::sort(store->segments_.begin(), store->segments_.end(),
            [](const Segment& a, const Segment& b) { return a.number < b.number; });
  if (!store->segments_.empty()) store->next_number_ = store->segments_.back().number + 1;
  store->KeepWithinBound();
  return store;
}

fs::path MessageStore::PathOf(std::uint64_t number) const {
  std::string name = std::to_string(number);
  name.insert(0, name.size() < 10 ? 10 - name.size() : 0, '0');
  return folder_ / (name + std::string(kExtension));
}

std::uint64_t MessageStore::bytes() const {
  std::uint64_t sum = 0;
  for (const Segment& segment : segments_) sum += segment.bytes;
  return sum;
}

bool MessageStore::StartSegment() {
  auto opened = platform::OpenForAppending(PathOf(next_number_).string(), platform::AppendMode::kNew);
  if (!opened.file) return false;
  writing_ = std::move(opened.file);
  segments_.push_back({next_number_++, 0, 0});
  return true;
}

void MessageStore::EndSegment() {
  if (writing_) writing_->Sync();
  writing_.reset();
}

// Cuts off an incomplete record on a full disk, so that the segment can be continued later.
bool MessageStore::WriteRecord(std::string_view framed) {
  if (!writing_ && !StartSegment()) return false;
  Segment& segment = segments_.back();
  if (writing_->Append(framed)) {
    segment.bytes += framed.size();
    ++segment.records;
    return true;
  }
  if (!writing_->CutTo(segment.bytes)) EndSegment();
  return false;
}

bool MessageStore::Append(std::string_view record) {
  std::string framed;
  AppendWord(framed, static_cast<std::uint32_t>(record.size()));
  AppendWord(framed, Crc32(record));
  framed += record;
  const std::uint64_t segment_bytes = std::min(kMaxSegment, max_bytes_ / kSegments);
  if (writing_ && segments_.back().bytes + framed.size() > segment_bytes) EndSegment();
  bool written = WriteRecord(framed);
  const bool can_make_room = segments_.size() > (writing_ ? 1U : 0U);
  if (!written && can_make_room) {
    DropOldest();
    written = WriteRecord(framed);
  }
  if (!written) return ++lost_, false;
  KeepWithinBound();
  return true;
}

void MessageStore::Sync() {
  if (writing_) writing_->Sync();
}

void MessageStore::KeepWithinBound() {
  while (segments_.size() > 1 && bytes() > max_bytes_) DropOldest();
}

void MessageStore::DropOldest() {
  lost_ += std::max<std::uint64_t>(segments_.front().records, 1);
  DropFirst();
}

void MessageStore::DropFirst() {
  if (segments_.size() == 1) EndSegment();
  std::error_code failed;
  fs::remove(PathOf(segments_.front().number), failed);
  segments_.pop_front();
  confirmed_at_ = 0;
  if (read_segment_ > 0) {
    --read_segment_;
  } else {
    read_at_ = 0;
    loaded_ = false;
  }
}

bool MessageStore::LoadSegment() {
  std::ifstream file(PathOf(segments_[read_segment_].number), std::ios::binary);
  read_text_.assign(std::istreambuf_iterator<char>(file), {});
  loaded_ = true;
  return file.good() || file.eof();
}

std::optional<std::string> MessageStore::Next() {
  for (; read_segment_ < segments_.size(); ++read_segment_, read_at_ = 0, loaded_ = false) {
    // The segment that is being written may have grown since it was loaded.
    const bool grown = loaded_ && read_text_.size() < segments_[read_segment_].bytes;
    if (!loaded_ || grown) LoadSegment();
    while (read_at_ + kHeader <= read_text_.size()) {
      const std::size_t size = WordAt(read_text_, read_at_);
      const std::uint32_t checksum = WordAt(read_text_, read_at_ + 4);
      if (size > read_text_.size() - read_at_ - kHeader) break;
      std::string record = read_text_.substr(read_at_ + kHeader, size);
      read_at_ += kHeader + size;
      if (Crc32(record) == checksum) return record;
    }
    // Reading continues in the next segment only if this one is complete.
    if (read_segment_ + 1 == segments_.size() && writing_) return std::nullopt;
  }
  return std::nullopt;
}

void MessageStore::Confirm() {
  while (read_segment_ > 0) DropFirst();
  confirmed_at_ = segments_.empty() ? 0 : read_at_;
  const bool all_read = segments_.size() == 1 && loaded_ && read_at_ >= segments_.front().bytes;
  if (all_read) DropFirst();
}

void MessageStore::Rewind() {
  if (read_segment_ > 0) loaded_ = false;
  read_segment_ = 0;
  read_at_ = confirmed_at_;
}

}  // namespace ulix::fleet
