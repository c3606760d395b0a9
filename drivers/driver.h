// What the core knows of an instrument: one driver owns one link and one configuration record.
#pragma once

#include <cstdint>
#include <memory>
#include <mutex>
#include <optional>
#include <span>
#include <string>
#include <utility>

#include "base/measured.h"
#include "base/result.h"
#include "base/variant_stream.h"
#include "drivers/model_card.h"
#include "drivers/program_transfer.h"
#include "drivers/recorded_memory.h"
#include "links/network_address.h"
#include "links/serial_link.h"
#include "links/usb_library.h"
#include "platform/clock.h"
#include "platform/socket.h"
#include "resources/texts.h"

namespace ulix {

// What a driver takes from whoever creates it.
struct DriverServices {
  Clock* clock = &SystemClock();
  platform::PortResolver resolve_port = platform::ResolvePort;
  platform::SocketMaker make_socket = platform::MakeStreamSocket;
  UsbLibraryLoader load_usb_library = LoadOwnUsbLibrary;
  LinkTrace trace;
  std::uint32_t timeout_ms = 0;  // replaces the link's read and write timeouts; 0 keeps the driver's own
};

// One reading of a channel. A negative code is a failure and there is no value; 0 comes with a value; a positive code
// is a warning: the channel keeps the value it had. The doubt is for reports of our own; hosts are not told.
struct Reading {
  HRESULT code = S_OK;
  float value = 0.0F;
  Doubt doubt = Doubt::kNone;
};

inline Reading ReadingOf(const Expected<float>& value) {
  return value ? Reading{S_OK, *value} : Reading{.code = value.error()};
}
inline Reading ReadingOf(const Expected<Measured>& measured) {
  return measured ? Reading{S_OK, measured->value, measured->doubt} : Reading{.code = measured.error()};
}

// A connection that failed without an error: the instrument heard the question and would not say what it is.
inline constexpr HRESULT kNotConnected = 1;

struct ChannelLimit {
  float value = 0.0F;
  eLimitLevel level = LimitNo;
};

// Members that use the link may be called from several threads: each whole exchange (query and reply, or a sequence
// that belongs together) holds the driver's exchange lock. Failures are the link's codes and those of the model's card.
// None of them needs the connection; whoever calls them checks it.
class Driver {
 public:
  explicit Driver(const ModelCard& card) : card_(card), settings_(card.settings) {}
  virtual ~Driver() = default;
  Driver(const Driver&) = delete;
  Driver& operator=(const Driver&) = delete;

  const ModelCard& card() const { return card_; }
  Settings& settings() { return settings_; }
  const Settings& settings() const { return settings_; }

  // Opens the link without a word to the instrument; S_OK when it is open.
  virtual HRESULT OpenLink() = 0;
  virtual bool LinkIsOpen() const = 0;
  // Whether the device is still on its line: what a reading would fail with if it went, as far as that can be told
  // without a word to it and without a wait.
  virtual HRESULT Presence() { return S_OK; }
  // Between the two no exchange waits for the instrument any longer: one that does fails soon, as if it were mute. They
  // nest. Nothing where the link's waits cannot be ended.
  virtual void InterruptWaits() {}
  virtual void ResumeWaits() {}
  // Whether this machine has what the link needs besides the instrument; if not, the code that says what is missing.
  virtual HRESULT CheckLink() { return S_OK; }

  // Opens the link and makes sure that the instrument is the model. A failure closes the link again, and so does
  // kNotConnected.
  virtual HRESULT Connect() = 0;
  // Hands the instrument back and closes the link; what the instrument thinks of it does not matter.
  virtual void Disconnect() = 0;
  // What the user is to be told of the last connection although it is no failure; once.
  virtual std::optional<TextId> TakeWarning() { return std::nullopt; }
  // The reply to the identification query, as it came.
  virtual Expected<std::string> Identify() = 0;
  // What the instrument says of its version.
  virtual Expected<std::string> DeviceVersion() { return Identify(); }

  // Both succeed where the instrument has no configuration to be told or asked.
  virtual HRESULT SendCfg() { return S_OK; }
  // Changes the record only when all of it was read.
  virtual HRESULT ReadCfg() { return S_OK; }

  // E_INVALIDARG for a channel that cannot be read (written).
  virtual Reading ReadChannel(ChannelId id) = 0;
  virtual HRESULT WriteChannel(ChannelId, float) { return E_INVALIDARG; }

  virtual HRESULT Run() { return S_OK; }
  virtual HRESULT Stop() { return S_OK; }

  // Whether the instrument has this channel of its model's table, the way it is set.
  virtual bool OffersChannel(ChannelId) const { return true; }
  // Of a channel that the model has.
  virtual std::string ChannelName(ChannelId id) const { return card_.channels[id].name; }
  // Asks the instrument which channels it has, where that is up to the instrument.
  virtual HRESULT RefreshChannels() { return S_OK; }
  // As in the card; "" and 6 for an unknown channel or one that is not offered.
  virtual std::string ChannelUnit(ChannelId id) const;
  virtual int ChannelResolution(ChannelId id) const;
  virtual ChannelLimit Limit(ChannelId, int) const { return {}; }

  // The link's settings and texts.
  virtual std::string CommInfo(Language language) const = 0;
  virtual void ResetCommParams() = 0;
  virtual void SaveCommParams(VariantWriter& writer) const = 0;
  virtual HRESULT LoadCommParams(VariantReader& reader) = 0;
  virtual std::span<const ErrorRow> LinkErrors() const = 0;
  // The serial settings, where the link is a serial one; E_NOTIMPL where it is not. They take effect at the next open.
  virtual Expected<SerialParams> GetSerialParams() const { return Failure(E_NOTIMPL); }
  virtual HRESULT SetSerialParams(const SerialParams&) { return E_NOTIMPL; }
  // The rates to choose from.
  virtual std::span<const std::uint32_t> BaudRates() const { return kBaudRates; }
  // Where the instrument is on a network; none while its link is a serial one; E_NOTIMPL where it always is.
  virtual Expected<std::optional<NetworkAddress>> GetNetworkAddress() const { return Failure(E_NOTIMPL); }
  virtual HRESULT SetNetworkAddress(const std::optional<NetworkAddress>&) { return E_NOTIMPL; }
  // What error information says of a code in place of its own text.
  virtual std::optional<TextId> Description(HRESULT) const { return std::nullopt; }

  // What else the instrument has; null for what it has not.
  virtual RecordedMemory* memory() { return nullptr; }
  virtual ProgramTransfer* program() { return nullptr; }

  // Whether another thread is in the middle of an exchange.
  bool IsBusy() const;

 protected:
  // Held over whole exchanges, so that a reply goes to the thread that asked. Each link wait inside is bounded.
  mutable std::recursive_mutex exchange_mutex_;

 private:
  // Null for a channel that the model does not have, or does not offer.
  const ChannelRow* RowOf(ChannelId id) const;

  const ModelCard& card_;
  Settings settings_;
};

// While it lives, a driver's waits end.
class WaitInterruption {
 public:
  explicit WaitInterruption(Driver& driver) : driver_(driver) { driver_.InterruptWaits(); }
  ~WaitInterruption() { driver_.ResumeWaits(); }
  WaitInterruption(const WaitInterruption&) = delete;
  WaitInterruption& operator=(const WaitInterruption&) = delete;

 private:
  Driver& driver_;
};

using DriverFactory = std::unique_ptr<Driver> (*)(DriverServices services);

// The factory of a driver's class.
template <typename T>
std::unique_ptr<Driver> MakeDriver(DriverServices services) {
  return std::make_unique<T>(std::move(services));
}

}  // namespace ulix
