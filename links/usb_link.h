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

// Failed operations of the library become the link's codes: kUsbBadIdentifier is winUsbCommErrBadIdentifier whatever
// the step, anything else the step's own code. Without a library everything is the owning control's not-loaded code. A
// link that is not open fails as a transfer to a device that is gone would: no control raises the code for a closed
// link. A device that takes nothing more is lost. One thread at a time but for the settings and texts; the session's
// exchange lock sees to it.
class UsbLink final : public Link {
 public:
  struct Options {
    HRESULT not_loaded;  // of the owning control
    // The device that the configuration names, or the code for one that cannot be.
    std::function<Expected<UsbIdentity>()> wanted = [] { return Expected<UsbIdentity>(UsbIdentity()); };
    UsbLibraryLoader load = LoadOwnUsbLibrary;
    std::uint32_t timeout_ms = 5000;  // of each transfer
    Clock* clock = &SystemClock();
    LinkTrace trace;
  };

  explicit UsbLink(Options options);
  ~UsbLink() override;
  UsbLink(const UsbLink&) = delete;
  UsbLink& operator=(const UsbLink&) = delete;

  // Loads the library at the first call that finds it; without one, the not-loaded code.
  HRESULT Load();
  // Loads the library, then looks up the interface unless the wanted device names one, opens it, discards what is
  // pending both ways and sets the timeouts. The first step that fails closes the link again and is the result:
  // winUsbCommErrGuidNotFound, ...UnableToOpenComm, ...UnableToFlushComm or ...UnableToSetupComm. S_OK when already
  // open.
  HRESULT Open() override;
  // With the record that the device had: where there are several of its kind, the helper library knows which it was.
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
  // One reply of at most kReplySize bytes, cut at its first zero byte. None when none comes in time, or an empty one;
  // what came of it is kept for ReceiveWhole.
  struct Received {
    LinkOutcome outcome = LinkOutcome::kComplete;
    std::string text;
  };
  Received Receive();
  static constexpr std::uint32_t kReplySize = 80;
  // Whether the last reply was longer than what was read of it.
  bool cut() const { return cut_; }
  bool HasPart() const { return !partial_.empty(); }
  // For a line on which replies are late or longer than a transfer: one from what there is of it to its line feed, or,
  // where the library gives none, to a transfer's time without a byte. Of a very long one its end.
  Received ReceiveWhole(Deadline patience);
  // Discards what has come. The rest of a reply may still come.
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
