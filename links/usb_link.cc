#include "links/usb_link.h"

#include <algorithm>
#include <array>
#include <utility>

namespace ulix {
namespace {

constexpr std::uint32_t kDrainTimeoutMs = 1;
// A device that still has something to say after so many blocks never ends.
constexpr int kMaxDrained = 1000;
constexpr std::size_t kLongestKept = 4096;  // of a reply that comes in pieces

}  // namespace

UsbLink::UsbLink(Options options) : options_(std::move(options)), device_(std::make_unique<UsbDevice>()) {}

UsbLink::~UsbLink() { Close(); }

HRESULT UsbLink::MapFailure(HRESULT result, HRESULT of_step) const {
  if (Succeeded(result)) return S_OK;
  if (result == options_.not_loaded) return result;
  return result == kUsbBadIdentifier ? winUsbCommErrBadIdentifier : of_step;
}

HRESULT UsbLink::ClosedCode() const { return library_ ? HRESULT{winUsbCommErrCommClosed} : options_.not_loaded; }

void UsbLink::Trace(TraceDirection direction, std::string_view bytes) const {
  if (options_.trace && !bytes.empty()) options_.trace(direction, bytes);
}

HRESULT UsbLink::Load() {
  if (library_) return S_OK;
  auto loaded = options_.load();
  if (!loaded) return options_.not_loaded;
  library_ = std::move(*loaded);
  return S_OK;
}

HRESULT UsbLink::Open(const UsbIdentity& wanted) {
  if (open_) return S_OK;
  if (const HRESULT result = Load(); Failed(result)) return result;
  *device_ = UsbDevice{.identity = wanted};
  if (const HRESULT result = OpenDevice(); Failed(result)) return result;
  open_ = true;
  const HRESULT result = Discard();
  if (Failed(result)) Close();
  return result;
}

HRESULT UsbLink::OpenDevice() {
  if (device_->identity.guid == UsbGuid()) {
    const HRESULT found = library_->GetInterfaceGuid(*device_);
    if (Failed(found)) return MapFailure(found, winUsbCommErrGuidNotFound);
  }
  return MapFailure(library_->Connect(*device_), winUsbCommErrUnableToOpenComm);
}

HRESULT UsbLink::Discard() {
  if (!open_) return ClosedCode();
  partial_.clear();
  cut_ = false;
  if (const HRESULT flushed = library_->Flush(*device_); Failed(flushed)) {
    return MapFailure(flushed, winUsbCommErrUnableToFlushComm);
  }
  if (const HRESULT drained = Drain(); Failed(drained)) return drained;
  return MapFailure(library_->SetTimeout(*device_, kUsbBothWays, options_.timeout_ms), winUsbCommErrUnableToSetupComm);
}

// Reads blocks until none comes: a read that fails is how that shows, and no error.
HRESULT UsbLink::Drain() {
  if (const HRESULT set = library_->SetTimeout(*device_, kUsbInput, kDrainTimeoutMs); Failed(set)) {
    return MapFailure(set, winUsbCommErrUnableToFlushComm);
  }
  for (int block = 0; block < kMaxDrained; ++block) {
    std::array<char, kReplySize + 1> buffer{};
    std::uint32_t size = kReplySize;
    if (Failed(library_->Read(*device_, buffer.data(), size)) || size == 0) return S_OK;
    Trace(TraceDirection::kReceived, {buffer.data(), std::min(size, kReplySize)});
  }
  return winUsbCommErrUnableToFlushComm;
}

void UsbLink::Close() {
  if (std::exchange(open_, false)) library_->Disconnect(*device_);
}

HRESULT UsbLink::Write(std::string_view text) {
  if (!open_) return ClosedCode();
  const std::string terminated(text);
  std::uint32_t count = 0;
  if (const HRESULT result = library_->Write(*device_, terminated.c_str(), count); Failed(result)) {
    return MapFailure(result, winUsbCommErrUnableToWriteComm);
  }
  // A library that does not count leaves the zero.
  const bool cut = count != 0 && count < terminated.size();
  Trace(TraceDirection::kSent, text.substr(0, cut ? count : text.size()));
  return cut ? winUsbCommErrUnableToWriteComm : S_OK;
}

Expected<std::string> UsbLink::Read() {
  if (!open_) return Failure(ClosedCode());
  std::array<char, kReplySize + 1> buffer{};
  std::uint32_t size = kReplySize;
  const HRESULT result = library_->Read(*device_, buffer.data(), size);
  cut_ = false;
  if (Failed(result)) {
    partial_ += buffer.data();
    return Failure(MapFailure(result, winUsbCommErrUnableToReadComm));
  }
  if (size == 0 || size > kReplySize) return Failure(winUsbCommErrUnableToReadComm);
  Trace(TraceDirection::kReceived, {buffer.data(), size});
  cut_ = size == kReplySize && buffer[size - 1] != '\n';
  return std::string(buffer.data());
}

Expected<std::string> UsbLink::ReadWhole(Deadline patience) {
  bool ended = false;  // for all that the library says
  while (!partial_.ends_with('\n')) {
    if (patience.Passed(*options_.clock)) return Failure(winUsbCommErrUnableToReadComm);
    const std::size_t before = partial_.size();
    const auto piece = Read();
    if (!piece && ended && partial_.size() == before) break;
    if (!piece) return piece;
    ended = !cut_;
    partial_ += *piece;
    partial_.erase(0, partial_.size() - std::min(partial_.size(), kLongestKept));
  }
  return std::exchange(partial_, {});
}

}  // namespace ulix
