// A USB link to an instrument that speaks text: one device behind the helper library.
#pragma once

#include <cstdint>
#include <functional>
#include <memory>
#include <string>
#include <string_view>

#include "base/result.h"
#include "links/link_trace.h"
#include "links/usb_library.h"
#include "platform/clock.h"

namespace ulix {

// Failed operations of the library become the link's codes: kUsbBadIdentifier is winUsbCommErrBadIdentifier whatever
// the step, anything else the step's own code. Without a library everything is the owning control's not-loaded code. A
// link that is not open gives winUsbCommErrCommClosed. One thread at a time; the owner's exchange lock sees to it.
class UsbLink {
 public:
  struct Options {
    HRESULT not_loaded;  // of the owning control
    UsbLibraryLoader load = LoadOwnUsbLibrary;
    std::uint32_t timeout_ms = 5000;  // of each transfer
    Clock* clock = &SystemClock();
    LinkTrace trace;
  };

  explicit UsbLink(Options options);
  ~UsbLink();
  UsbLink(const UsbLink&) = delete;
  UsbLink& operator=(const UsbLink&) = delete;

  // Loads the library at the first call that finds it; without one, the not-loaded code.
  HRESULT Load();
  // Loads the library, then looks up the interface unless `wanted` names one, opens it, discards what is pending both
  // ways and sets the timeouts. The first step that fails closes the link again and is the result:
  // winUsbCommErrGuidNotFound, ...UnableToOpenComm, ...UnableToFlushComm or ...UnableToSetupComm. S_OK when already
  // open.
  HRESULT Open(const UsbIdentity& wanted);
  void Close();
  bool IsOpen() const { return open_; }
  // Of the open device, as far as the library told it.
  const UsbIdentity& identity() const { return device_->identity; }

  // winUsbCommErrUnableToWriteComm.
  HRESULT Write(std::string_view text);
  // One reply of at most kReplySize bytes, cut at its first zero byte. winUsbCommErrUnableToReadComm when none comes in
  // time, or an empty one; what came of it is kept for ReadWhole.
  Expected<std::string> Read();
  static constexpr std::uint32_t kReplySize = 80;
  // Whether the last reply was longer than what was read of it.
  bool cut() const { return cut_; }
  // For a line on which replies are late or longer than a transfer: one from what there is of it to its line feed, or,
  // where the library gives none, to a transfer's time without a byte. Of a very long one its end.
  Expected<std::string> ReadWhole(Deadline patience);
  // Discards what has come: winUsbCommErrUnableToFlushComm or ...UnableToSetupComm. The rest of a reply may still come.
  HRESULT Discard();
  Milliseconds timeout() const { return Milliseconds(options_.timeout_ms); }

 private:
  HRESULT OpenDevice();
  HRESULT Drain();
  HRESULT MapFailure(HRESULT result, HRESULT of_step) const;
  HRESULT ClosedCode() const;
  void Trace(TraceDirection direction, std::string_view bytes) const;

  Options options_;
  std::shared_ptr<UsbLibrary> library_;  // stays loaded when a connection fails
  std::unique_ptr<UsbDevice> device_;
  bool open_ = false;
  bool cut_ = false;
  std::string partial_;  // the start of a reply that stopped midway
};

}  // namespace ulix
