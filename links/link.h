// What a session needs of the wire to its instrument, whatever kind it is.
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

// Where an instrument on a network is. None: its link is a serial one at present. Taken at the next open.
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

// One link belongs to one session, whose lock keeps exchanges apart; settings, texts, presence and interruption may be
// used from any thread at any time.
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
  // Whether the device or the peer has gone since the link was opened, as far as is known without a wait. The link
  // counts as open until it is closed.
  virtual bool IsLost() { return false; }
  // Whether a lost link was given up by this side, so that the same device is at its other end and needs no handshake.
  virtual bool WasGivenUp() const { return false; }
  // Whether the device is there. Asks the system and not the instrument: no wait, and no byte on the line.
  virtual bool DeviceIsThere() { return !IsLost(); }
  // Whether this machine has what the link needs besides the instrument; if not, the code that says what is missing.
  virtual HRESULT Check() { return S_OK; }

  // Between the two no read waits for more than what has come. They nest.
  void InterruptReads() { AddInterruptions(1); }
  void ResumeReads() { AddInterruptions(-1); }

  // How long a read waits for a reply to begin, and then for each piece of it.
  virtual Milliseconds read_timeout() const = 0;
  // Until the next Close, of a link that has such; 0 keeps what is in force.
  virtual HRESULT ApplyTimeouts(std::uint32_t, std::uint32_t) { return S_OK; }
  // Why the last Open or Reopen failed, where the link knows more than its code says.
  virtual platform::OpenFailure open_failure() const { return {}; }
  // What the bytes that were written still need on the line.
  virtual Milliseconds TimeLeftOnWire() { return Milliseconds(0); }

  // Its codes for a link that is not open and for failed transfers.
  virtual LinkCodes codes() const = 0;
  // What an exchange fails with while the device is gone, given what the attempt to open it again failed with.
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
  // Of a link whose reads can be ended from outside: by how many there are more.
  virtual void AddInterruptions(int) {}

 private:
  const LinkSettings settings_;
};

}  // namespace ulix
