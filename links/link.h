// A link: the wire between a session and its instrument, of whatever kind.
#pragma once

#include <cstdint>
#include <optional>
#include <span>
#include <string>

#include "base/result.h"
#include "base/text.h"
#include "base/variant_stream.h"
#include "links/link_outcome.h"
#include "links/network_address.h"
#include "platform/clock.h"
#include "platform/port_binding.h"
#include "resources/error_row.h"
#include "resources/texts.h"

namespace ulix {

class SerialLink;

// The network address of an instrument; none while its link is a serial one. A change applies at the next open.
class NetworkSetting {
 public:
  virtual ~NetworkSetting() = default;
  virtual std::optional<NetworkAddress> address() const = 0;
  virtual void SetAddress(const std::optional<NetworkAddress>& address) = 0;
};

// The settings of a link in the form in which a configuration keeps them.
class LinkParams {
 public:
  virtual ~LinkParams() = default;
  virtual void ResetParams() = 0;
  virtual void SaveParams(VariantWriter& writer) const = 0;
  // Keeps what was read before the first value of another type, and returns that value's code.
  virtual HRESULT LoadParams(VariantReader& reader) = 0;
};

// What hosts may set of a link; null for what it has not. A device on USB has none: its settings are the control's.
struct LinkSettings {
  LinkParams* params = nullptr;
  SerialLink* serial = nullptr;
  NetworkSetting* network = nullptr;
};

// Threads: one session owns a link, and its exchange lock lets one thread at a time open, close, read and write.
// Settings, texts, presence and interruptions may be used from any thread at any time.
class Link {
 public:
  explicit Link(LinkSettings settings) : settings_(settings) {}
  virtual ~Link() = default;

  // One attempt; S_OK when already open. The failure is the link's published code.
  virtual HRESULT Open() = 0;
  // For a reconnection: opens the device that was open last, and no other in its place.
  virtual HRESULT Reopen() { return Open(); }
  virtual HRESULT Close() = 0;
  virtual bool IsOpen() const = 0;
  // Whether the device or the peer has gone since the link was opened, as far as is known without a wait. IsOpen stays
  // true until the link is closed.
  virtual bool IsLost() { return false; }
  // Whether the device is still plugged in. It asks the system and not the instrument: no wait, no byte on the line.
  virtual bool DeviceIsThere() { return !IsLost(); }
  // S_OK if this machine has all that the link needs besides the instrument, such as a USB helper library; else the
  // code that says what is missing.
  virtual HRESULT Check() { return S_OK; }

  // Between InterruptReads and ResumeReads a read returns what has come and does not wait for more. Calls nest: reads
  // wait again after as many ResumeReads.
  void InterruptReads() { AddInterruptions(1); }
  void ResumeReads() { AddInterruptions(-1); }

  // How long a read waits for a reply to begin, and then for each piece of it.
  virtual Milliseconds read_timeout() const = 0;
  // Sets the read and the write timeout, in milliseconds, until the next Close; 0 keeps the one in force. Nothing on a
  // link without timeouts of its own.
  virtual HRESULT ApplyTimeouts(std::uint32_t, std::uint32_t) { return S_OK; }
  // Why the last Open or Reopen failed, where the link knows more than its code says.
  virtual platform::OpenFailure open_failure() const { return {}; }
  // How long the bytes that were written still take on the line.
  virtual Milliseconds TimeLeftOnWire() { return Milliseconds(0); }

  // The published codes for a link that is not open and for failed transfers.
  virtual LinkCodes codes() const = 0;
  // The code of an exchange while the device is gone. `opening` is the code of the failed attempt to open it again.
  HRESULT CodeWhileLost(HRESULT opening) const { return Failed(codes().lost) ? codes().lost : opening; }
  // Every code that the link raises, with its texts.
  virtual std::span<const ErrorRow> errors() const = 0;
  // The one-line summary that hosts show.
  virtual std::string Info(Language language) const = 0;
  const LinkSettings& settings() const { return settings_; }
  // The serial port and the address that a host may choose; null where there is none.
  SerialLink* serial() const { return settings_.serial; }
  NetworkSetting* network() const { return settings_.network; }

 protected:
  // Adds `count` interruptions, or removes them when it is negative. For links whose reads can be ended from outside.
  virtual void AddInterruptions(int /*count*/) {}

 private:
  const LinkSettings settings_;
};

}  // namespace ulix
