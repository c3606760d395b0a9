// A link: the connection between a session and its instrument, of any kind.
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

// The network address of an instrument. None while the instrument is on a serial line. A change applies at the next
// open.
class NetworkSetting {
 public:
  virtual ~NetworkSetting() = default;
  virtual std::optional<NetworkAddress> address() const = 0;
  virtual void SetAddress(const std::optional<NetworkAddress>& address) = 0;
};

// The settings of a link as a configuration stream stores them.
class LinkParams {
 public:
  virtual ~LinkParams() = default;
  // Sets the defaults.
  virtual void ResetParams() = 0;
  virtual void SaveParams(VariantWriter& writer) const = 0;
  // Reads the values that SaveParams wrote. E_INVALIDARG at a value of another type, or the stream's code at its end.
  // What a failed load leaves is said by each kind of link: the values before the failure, or the old ones.
  virtual HRESULT LoadParams(VariantReader& reader) = 0;
};

// The settings of a link that a host may change. Null for those that the link does not have. A USB link has none: the
// settings of its device are in the configuration record.
struct LinkSettings {
  LinkParams* params = nullptr;
  SerialLink* serial = nullptr;
  NetworkSetting* network = nullptr;
};

// Threads: one session uses a link, and its exchange lock lets one thread at a time open, close, read, write, and ask
// whether the device is there. Settings, texts and interruptions may be used from any thread at any time.
class Link {
 public:
  explicit Link(LinkSettings settings) : settings_(settings) {}
  virtual ~Link() = default;

  // Makes one attempt to open the link. S_OK when it is open already. A failure is one of the link's published codes.
  virtual HRESULT Open() = 0;
  // Opens the link for a reconnection: the device that was open last, and never another one in its place.
  virtual HRESULT Reopen() { return Open(); }
  // S_OK when the link is closed already.
  virtual HRESULT Close() = 0;
  virtual bool IsOpen() const = 0;
  // Whether the device or the peer has vanished since the link was opened, as far as known without a wait. IsOpen stays
  // true until the link is closed.
  virtual bool IsLost() { return false; }
  // Whether the device is still connected. Asks the system and not the instrument: does not wait and sends nothing.
  virtual bool DeviceIsThere() { return !IsLost(); }
  // Whether this machine has what the link needs besides the instrument, such as a USB helper library: S_OK, or the
  // code that says what is missing.
  virtual HRESULT Check() { return S_OK; }

  // Between InterruptReads and ResumeReads, reads return the bytes that have come and do not wait for more. Calls nest:
  // reads wait again after the same number of ResumeReads.
  void InterruptReads() { AddInterruptions(1); }
  void ResumeReads() { AddInterruptions(-1); }

  // The timeout of a read: how long it waits for the first byte of a reply, and then for each further piece.
  virtual Milliseconds read_timeout() const = 0;
  // Sets the read and the write timeout, in milliseconds, until the next Close; 0 keeps the present one. Has no effect
  // on a link whose timeouts are fixed.
  virtual HRESULT ApplyTimeouts(std::uint32_t, std::uint32_t) { return S_OK; }
  // Why the last Open or Reopen failed, for links that know more than the code says.
  virtual platform::OpenFailure open_failure() const { return {}; }
  // The time that written bytes still need until they have left on the line.
  virtual Milliseconds TimeLeftOnWire() { return Milliseconds(0); }

  // The published codes of this kind of link, for a link that is not open and for failed transfers.
  virtual LinkCodes codes() const = 0;
  // The code of an exchange while the device is gone: the link's code for a lost device if it has one, else `opening`,
  // the code of the failed attempt to open the link again.
  HRESULT CodeWhileLost(HRESULT opening) const { return Failed(codes().lost) ? codes().lost : opening; }
  // Every code of the link, with its texts.
  virtual std::span<const ErrorRow> errors() const = 0;
  // The one-line summary that hosts show, in Windows-1252.
  virtual std::string Info(Language language) const = 0;
  const LinkSettings& settings() const { return settings_; }
  // The serial port and the network address that a host may choose; null where there is none.
  SerialLink* serial() const { return settings_.serial; }
  NetworkSetting* network() const { return settings_.network; }

 protected:
  // Adds `count` interruptions, or removes them when `count` is negative. Implemented by links whose reads can be ended
  // early.
  virtual void AddInterruptions(int /*count*/) {}

 private:
  const LinkSettings settings_;
};

}  // namespace ulix
