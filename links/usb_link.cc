#include "links/usb_link.h"

#include <algorithm>
#include <array>
#include <cstdio>
#include <utility>

#include "links/usb_errors.h"

namespace ulix {
namespace {

constexpr std::uint32_t kDrainTimeoutMs = 1;
// After this many blocks the device is assumed to send without end.
constexpr int kMaxDrained = 1000;
constexpr std::size_t kMaxKept = 4096;  // bytes of a reply that comes in several transfers

}  // namespace

UsbLink::UsbLink(Options options) : Link({}), options_(std::move(options)), device_(std::make_unique<UsbDevice>()) {}

UsbLink::~UsbLink() { UsbLink::Close(); }

LinkCodes UsbLink::codes() const {
  return {.unopened = winUsbCommErrUnableToOpenComm,
          .closed = library_ ? HRESULT{winUsbCommErrUnableToWriteComm} : options_.not_loaded,
          .unwritten = winUsbCommErrUnableToWriteComm,
          .unread = winUsbCommErrUnableToReadComm,
          .lost_reading = winUsbCommErrUnableToReadComm,
          .unflushed = winUsbCommErrUnableToFlushComm,
          .not_set_up = winUsbCommErrUnableToSetupComm,
          .not_loaded = options_.not_loaded};
}

std::span<const ErrorRow> UsbLink::errors() const { return UsbErrorTexts(); }

std::string UsbLink::Info(Language) const {
  UsbIdentity shown = options_.wanted().value_or(UsbIdentity());
  {
    const std::lock_guard lock(identity_mutex_);
    if (identity_) shown = *identity_;
  }
  std::array<char, 48> ids{};
  std::snprintf(ids.data(), ids.size(), " VENDOR_ID:%04X PRODUCT_ID:%04X", shown.vendor, shown.product);
  return "GUID:" + GuidText(shown.guid) + ids.data();
}

LinkOutcome UsbLink::OutcomeOfCall(HRESULT result, LinkOutcome of_step) const {
  if (Succeeded(result)) return LinkOutcome::kComplete;
  if (result == options_.not_loaded) return LinkOutcome::kNotLoaded;
  return result == kUsbBadIdentifier ? LinkOutcome::kBadIdentifier : of_step;
}

HRESULT UsbLink::MapFailure(HRESULT result, HRESULT of_step) const {
  const LinkOutcome outcome = OutcomeOfCall(result, LinkOutcome::kLinkLost);
  return outcome == LinkOutcome::kLinkLost ? of_step : PublishedCode(codes(), LinkStep::kRead, outcome);
}

LinkOutcome UsbLink::NoteLoss(LinkOutcome outcome) {
  if (open_ && !IsComplete(outcome)) lost_ = true;
  return outcome;
}

void UsbLink::Trace(TraceDirection direction, std::string_view bytes) const {
  if (options_.trace && !bytes.empty()) options_.trace(direction, bytes);
}

HRESULT UsbLink::Load() {
  const std::lock_guard lock(library_mutex_);
  if (library_) return S_OK;
  auto loaded = options_.load();
  if (!loaded) return options_.not_loaded;
  library_ = std::move(*loaded);
  return S_OK;
}

HRESULT UsbLink::Open() { return Open(Record::kEmpty); }
HRESULT UsbLink::Reopen() { return Open(Record::kKept); }

HRESULT UsbLink::Open(Record record) {
  if (open_) return S_OK;
  const auto wanted = options_.wanted();
  if (!wanted) return wanted.error();
  if (const HRESULT result = Load(); Failed(result)) return result;
  if (const HRESULT result = OpenDevice(*wanted, record); Failed(result)) return result;
  open_ = true;
  lost_ = false;
  const LinkOutcome discarded = DiscardOpen();
  if (!IsComplete(discarded)) {
    Close();
    return PublishedCode(codes(), LinkStep::kRead, discarded);
  }
  const std::lock_guard lock(identity_mutex_);
  identity_ = device_->identity;
  return S_OK;
}

HRESULT UsbLink::OpenDevice(const UsbIdentity& wanted, Record record) {
  if (record == Record::kEmpty) *device_ = UsbDevice{};
  device_->identity = wanted;
  if (wanted.guid == Guid()) {
    const HRESULT found = library_->GetInterfaceGuid(*device_);
    if (Failed(found)) return MapFailure(found, winUsbCommErrGuidNotFound);
  }
  const HRESULT connected = library_->Connect(*device_);
  return Failed(connected) ? MapFailure(connected, winUsbCommErrUnableToOpenComm) : S_OK;
}

LinkOutcome UsbLink::Discard() { return open_ ? NoteLoss(DiscardOpen()) : NotOpen(); }

LinkOutcome UsbLink::DiscardOpen() {
  partial_.clear();
  cut_ = false;
  const LinkOutcome flushed = OutcomeOfCall(library_->Flush(*device_), LinkOutcome::kNotFlushed);
  if (!IsComplete(flushed)) return flushed;
  if (const LinkOutcome drained = Drain(); !IsComplete(drained)) return drained;
  return OutcomeOfCall(library_->SetTimeout(*device_, kUsbBothWays, options_.timeout_ms), LinkOutcome::kNotSet);
}

// Reads blocks until none comes. A failed read means that there are no more, and is not an error.
LinkOutcome UsbLink::Drain() {
  const HRESULT set = library_->SetTimeout(*device_, kUsbInput, kDrainTimeoutMs);
  if (Failed(set)) return OutcomeOfCall(set, LinkOutcome::kNotFlushed);
  for (int block = 0; block < kMaxDrained; ++block) {
    std::array<char, kReplySize + 1> buffer{};
    std::uint32_t size = kReplySize;
    if (Failed(library_->Read(*device_, buffer.data(), size)) || size == 0) return LinkOutcome::kComplete;
    Trace(TraceDirection::kReceived, {buffer.data(), std::min(size, kReplySize)});
  }
  return LinkOutcome::kNotFlushed;
}

HRESULT UsbLink::Close() {
  if (!open_.exchange(false)) return S_OK;
  library_->Disconnect(*device_);
  const std::lock_guard lock(identity_mutex_);
  identity_.reset();
  return S_OK;
}

LinkOutcome UsbLink::Send(std::string_view text) {
  if (!open_) return NotOpen();
  const std::string terminated(text);
  std::uint32_t count = 0;
  const HRESULT result = library_->Write(*device_, terminated.c_str(), count);
  if (Failed(result)) return NoteLoss(OutcomeOfCall(result, LinkOutcome::kStoppedMidway));
  // A helper library that does not count leaves 0.
  const bool cut = count != 0 && count < terminated.size();
  Trace(TraceDirection::kSent, text.substr(0, cut ? count : text.size()));
  return NoteLoss(cut ? LinkOutcome::kStoppedMidway : LinkOutcome::kComplete);
}

UsbLink::Received UsbLink::Receive() {
  if (!open_) return {NotOpen(), {}};
  std::array<char, kReplySize + 1> buffer{};
  std::uint32_t size = kReplySize;
  const HRESULT result = library_->Read(*device_, buffer.data(), size);
  cut_ = false;
  if (Failed(result)) {
    partial_ += buffer.data();
    return {OutcomeOfCall(result, partial_.empty() ? LinkOutcome::kNoFirstByte : LinkOutcome::kStoppedMidway), {}};
  }
  if (size == 0 || size > kReplySize) return {LinkOutcome::kNoFirstByte, {}};
  Trace(TraceDirection::kReceived, {buffer.data(), size});
  cut_ = size == kReplySize && buffer[size - 1] != '\n';
  return {LinkOutcome::kComplete, std::string(buffer.data(), size)};
}

UsbLink::Received UsbLink::ReceiveWhole(Deadline patience) {
  bool ended = false;  // whether the last transfer seemed to end the reply
  while (!partial_.ends_with('\n')) {
    if (patience.Passed(*options_.clock)) return {LinkOutcome::kStoppedMidway, {}};
    const std::size_t before = partial_.size();
    Received piece = Receive();
    if (!IsComplete(piece.outcome) && ended && partial_.size() == before) break;
    if (!IsComplete(piece.outcome)) return piece;
    ended = !cut_;
    partial_ += piece.text;
    partial_.erase(0, partial_.size() - std::min(partial_.size(), kMaxKept));
  }
  return {LinkOutcome::kComplete, std::exchange(partial_, {})};
}

}  // namespace ulix
