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

// One link belongs to one session, whose lock keeps exchanges apart; settings, texts, presence and interruption may be
// used from any thread at any time.
class Link {
 public:
  virtual ~Link() = default;

  // One attempt; S_OK when already open. The failure is the link's published code.
  virtual HRESULT Open() = 0;
  // The device that was open last and no other: for who reconnects.
  virtual HRESULT Reopen() { return Open(); }
  virtual HRESULT Close() = 0;
  virtual bool IsOpen() const = 0;
  // Whether the device or the peer went since the link was opened, as far as is known without a wait. The link stays
  // open until it is closed.
  virtual bool IsLost() { return false; }
  // Of a link that is lost: whether this side gave it up, so that the same device is at its other end.
  virtual bool WasGivenUp() const { return false; }
  // Asks the system, not the instrument: no wait, no byte on the line.
  virtual bool DeviceIsThere() { return !IsLost(); }
  // Whether this machine has what the link needs besides the instrument; if not, the code that says what is missing.
  virtual HRESULT Check() { return S_OK; }

  // Between the two no read waits for more than what has come. They nest.
  virtual void InterruptReads() {}
  virtual void ResumeReads() {}

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
  virtual HRESULT CodeWhileLost(HRESULT opening) const = 0;
  // Every code that the link raises, with its texts.
  virtual std::span<const ErrorRow> errors() const = 0;
  // What error information says of a code in place of its own text.
  virtual std::optional<TextId> Description(HRESULT) const { return std::nullopt; }

  // The one-line summary that hosts show.
  virtual std::string Info(Language language) const = 0;
  // The persisted form of the settings. Loading keeps what was read before the first value of another type.
  virtual void ResetParams() = 0;
  virtual void SaveParams(VariantWriter& writer) const = 0;
  virtual HRESULT LoadParams(VariantReader& reader) = 0;
  // What the link lets a person choose; null for a link that is of another kind.
  virtual SerialLink* serial() { return nullptr; }
  virtual NetworkSetting* network() { return nullptr; }
};

}  // namespace ulix
