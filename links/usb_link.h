// The USB link of an instrument that exchanges texts: one device behind the helper library.
#pragma once

#include <atomic>
#include <cstdint>
#include <functional>
#include <memory>
#include <optional>
#include <string>
#include <string_view>

#include "base/result.h"
#include "links/link.h"
#include "links/link_trace.h"
#include "links/usb_library.h"
#include "platform/clock.h"
#include "platform/mutex.h"

namespace ulix {

// Errors: when the helper library returns kUsbBadIdentifier, the code is winUsbCommErrBadIdentifier; otherwise it is
// the code of the step that failed. Without a helper library every operation fails with Options::not_loaded. An
// operation on a closed link gives the code of a failed write, because no control publishes a code for a closed link. A
// device that accepts no more bytes counts as lost.
//
// Threads: Load, Check and Info may be called from any thread. All other members are called under the session's
// exchange lock, by one thread at a time.
class UsbLink final : public Link {
 public:
  struct Options {
    HRESULT not_loaded;  // the owning control's code for a missing helper library
    // Gives the device that the configuration names, or the code of a configuration without a device. Called on any
    // thread.
    std::function<Expected<UsbIdentity>()> wanted = [] { return Expected<UsbIdentity>(UsbIdentity()); };
    UsbLibraryLoader load = LoadOwnUsbLibrary;
    std::uint32_t timeout_ms = 5000;  // of each transfer, in milliseconds
    Clock* clock = &SystemClock();
    LinkTrace trace;
  };

  explicit UsbLink(Options options);
  ~UsbLink() override;
  UsbLink(const UsbLink&) = delete;
  UsbLink& operator=(const UsbLink&) = delete;

  // Loads the helper library if it is not loaded yet. The not-loaded code when there is none; the next call tries
  // again.
  HRESULT Load();
  // Loads the helper library, looks up the device interface unless the wanted device names one, opens the device,
  // discards pending transfers and sets the timeouts. If a step fails, the link is closed again, and the code is that
  // of the step: winUsbCommErrGuidNotFound, ...UnableToOpenComm, ...UnableToFlushComm or ...UnableToSetupComm. S_OK
  // when already open.
  HRESULT Open() override;
  // Opens the link with the record of the device that was open last (links/usb_device.h), so that the helper library
  // finds the same device.
  HRESULT Reopen() override;
  HRESULT Close() override;
  bool IsOpen() const override { return open_; }
  bool IsLost() override { return lost_; }
  HRESULT Check() override { return Load(); }

  Milliseconds read_timeout() const override { return Milliseconds(options_.timeout_ms); }
  LinkCodes codes() const override;
  std::span<const ErrorRow> errors() const override;
  // The open device, or else the one in the configuration: "GUID:... VENDOR_ID:... PRODUCT_ID:...".
  std::string Info(Language language) const override;

  // Sends a text up to its first zero byte. A text that is not sent whole marks the device as lost.
  LinkOutcome Send(std::string_view text);
  // Receives one transfer of at most kReplySize bytes; zero bytes in it are kept. kNoFirstByte when nothing or an empty
  // transfer came in time. kStoppedMidway when a part came; ReceiveWhole goes on with that part.
  struct Received {
    LinkOutcome outcome = LinkOutcome::kComplete;
    std::string text;
  };
  Received Receive();
  static constexpr std::uint32_t kReplySize = 80;
  // Whether the last transfer did not end a reply: it was full and had no line feed at its end.
  bool cut() const { return cut_; }
  // Whether a part of a reply is stored, for ReceiveWhole.
  bool HasPart() const { return !partial_.empty(); }
  // Receives a reply that is late or longer than a transfer: the stored part, then more transfers up to a line feed.
  // Without a line feed the reply ends when no byte comes for the timeout of a transfer. Of a reply longer than 4096
  // bytes only the end is returned. `patience` bounds the whole wait; kStoppedMidway after it.
  Received ReceiveWhole(Deadline patience);
  // Discards the bytes that have come. The rest of a reply that is still being sent may come later.
  LinkOutcome Discard();

 private:
  enum class Record { kEmpty, kKept };
  HRESULT Open(Record record);
  HRESULT OpenDevice(const UsbIdentity& wanted, Record record);
  LinkOutcome DiscardOpen();
  LinkOutcome Drain();
  LinkOutcome OutcomeOfCall(HRESULT result, LinkOutcome of_step) const;
  HRESULT MapFailure(HRESULT result, HRESULT of_step) const;
  LinkOutcome NotOpen() const { return library_ ? LinkOutcome::kNotOpen : LinkOutcome::kNotLoaded; }
  LinkOutcome NoteLoss(LinkOutcome outcome);
  void Trace(TraceDirection direction, std::string_view bytes) const;

  Options options_;
  platform::Mutex library_mutex_;        // of loading
  std::shared_ptr<UsbLibrary> library_;  // stays loaded after a failed open
  mutable platform::Mutex identity_mutex_;
  std::optional<UsbIdentity> identity_;  // of the open device; guarded by identity_mutex_
  std::unique_ptr<UsbDevice> device_;
  std::atomic<bool> open_ = false;
  bool lost_ = false;
  bool cut_ = false;
  std::string partial_;  // the start of a reply whose end has not come yet
};

}  // namespace ulix
