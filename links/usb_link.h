// A USB link to an instrument that speaks text: one device behind the helper library.
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

// Errors: a failed operation of the library gives winUsbCommErrBadIdentifier where the library returned
// kUsbBadIdentifier, else the code of the step that failed. Without a library every operation fails with the not-loaded
// code of the owning control. An operation on a closed link fails like a transfer to a device that is gone: no control
// raises the code for a closed link. A device that accepts no more bytes is lost.
//
// Threads: settings and texts may be used from any thread; for all else the session's exchange lock lets in one thread
// at a time.
class UsbLink final : public Link {
 public:
  struct Options {
    HRESULT not_loaded;  // the code of the owning control when there is no helper library
    // The device that the configuration names, or the code for a configuration that names none.
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

  // Loads the library, unless it is loaded already. The not-loaded code when there is none; a later call looks again.
  HRESULT Load();
  // Loads the library, looks up the device interface unless the wanted device names one, opens it, discards what is
  // pending in both directions and sets the timeouts. The first step that fails closes the link again and gives the
  // result: winUsbCommErrGuidNotFound, ...UnableToOpenComm, ...UnableToFlushComm or ...UnableToSetupComm. S_OK when
  // already open.
  HRESULT Open() override;
  // Opens with the record of the device that was open (links/usb_device.h), by which the helper library tells it from
  // others of its kind.
  HRESULT Reopen() override;
  HRESULT Close() override;
  bool IsOpen() const override { return open_; }
  bool IsLost() override { return lost_; }
  HRESULT Check() override { return Load(); }

  Milliseconds read_timeout() const override { return Milliseconds(options_.timeout_ms); }
  LinkCodes codes() const override;
  std::span<const ErrorRow> errors() const override;
  // The device that the configuration names, or the one that is open: "GUID:... VENDOR_ID:... PRODUCT_ID:...".
  std::string Info(Language language) const override;

  LinkOutcome Send(std::string_view text);
  // Receives one reply of at most kReplySize bytes, cut at its first zero byte. A reply that does not come in time, or
  // an empty one, is no reply; the part that came is kept for ReceiveWhole.
  struct Received {
    LinkOutcome outcome = LinkOutcome::kComplete;
    std::string text;
  };
  Received Receive();
  static constexpr std::uint32_t kReplySize = 80;
  // Whether the last reply was longer than what was read of it.
  bool cut() const { return cut_; }
  // Whether a part of a reply is kept.
  bool HasPart() const { return !partial_.empty(); }
  // For replies that are late or longer than a transfer: receives one from its kept part up to its line feed. Where the
  // library gives no line feed, the reply ends when no byte came for the time of a transfer. Of a very long reply only
  // the end is kept. `patience` bounds the whole wait.
  Received ReceiveWhole(Deadline patience);
  // Discards what has come. The rest of a reply that is under way may still come later.
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
  std::shared_ptr<UsbLibrary> library_;  // stays loaded when a connection fails
  mutable platform::Mutex identity_mutex_;
  std::optional<UsbIdentity> identity_;  // of the open device; guarded by identity_mutex_
  std::unique_ptr<UsbDevice> device_;
  std::atomic<bool> open_ = false;
  bool lost_ = false;
  bool cut_ = false;
  std::string partial_;  // the start of a reply that stopped midway
};

}  // namespace ulix
