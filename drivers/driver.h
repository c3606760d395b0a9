// The interface between the core and the driver of a model. A driver has one session on one link, and one configuration
// record.
#pragma once

#include <atomic>
#include <cstdint>
#include <memory>
#include <optional>
#include <string>
#include <utility>

#include "base/measured.h"
#include "base/result.h"
#include "drivers/model_card.h"
#include "drivers/program_transfer.h"
#include "drivers/recorded_memory.h"
#include "drivers/set_point_forwarding.h"
#include "drivers/wire.h"
#include "resources/texts.h"
#include "sessions/session.h"

namespace ulix {

// One reading of a channel: a value, or the code that says why there is none.
struct Reading {
  HRESULT code = S_OK;
  float value = 0.0F;
  Doubt doubt = Doubt::kNone;  // with kNoValue the code is S_OK, but there is no value
};

inline Reading ReadingOf(const Expected<float>& value) {
  return value ? Reading{S_OK, *value} : Reading{.code = value.error()};
}
inline Reading ReadingOf(const Expected<Measured>& measured) {
  return measured ? Reading{S_OK, measured->value, measured->doubt} : Reading{.code = measured.error()};
}

// An alarm limit of a channel, in the channel's unit. LimitNo: there is no limit.
struct ChannelLimit {
  float value = 0.0F;
  eLimitLevel level = LimitNo;
};

// The properties of a channel with the present settings, or as the instrument reported them.
struct ChannelTraits {
  bool offered = true;                  // false: the instrument does not have the channel
  bool on = true;                       // false: the channel is switched off
  std::string unit;                     // empty: no unit, or not known
  int resolution = kUnknownResolution;  // decimals to show
  std::array<ChannelLimit, 2> limits;
};

// What an instrument has besides channels. Null for what it does not have.
struct Facilities {
  RecordedMemory* memory = nullptr;
  ProgramTransfer* program = nullptr;
  SetPointForwarding* set_point_forwarding = nullptr;
};

// Threads: members that use the link may be called from several threads. Each exchange (a query and its reply, or a
// sequence that belongs together) is one Session::Exchange and holds the exchange lock. Errors: the codes of the link
// and of the model. No member checks whether the host has connected; the core checks it.
//
// Ownership: the core owns the driver. The driver owns its link, its session and its settings. The card must outlive
// the driver.
//
// A driver overrides StartSession and sync_query of SessionPeer, and the virtual members below:
//
// Reading MyDriver::ReadChannel(ChannelId id) {
// return ReadingOf(Exchange([&](Conversation& talk) { return talk.Query("MEAS?", kPlan, ParseReading); }));
// }
class Driver : protected SessionPeer {
 public:
  Driver(const ModelCard& card, Wire wire, Facilities facilities = {});
  ~Driver() override = default;
  Driver(const Driver&) = delete;
  Driver& operator=(const Driver&) = delete;

  const ModelCard& card() const { return card_; }
  Settings& settings() { return settings_; }
  const Settings& settings() const { return settings_; }
  Link& link() { return *link_; }
  const Link& link() const { return *link_; }

  // These members do what the members of Session with these names do.
  HRESULT OpenLink() { return session_.Open(); }
  bool LinkIsOpen() const { return session_.IsOpen(); }
  Expected<bool> Connect() { return session_.Connect(); }
  // The same as Session::Disconnect; also writes the session's counters to the trace.
  void Disconnect();
  HRESULT Presence() { return session_.Presence(); }
  void InterruptWaits() { session_.InterruptWaits(); }
  void ResumeWaits() { session_.ResumeWaits(); }
  bool IsBusy() const { return session_.IsBusy(); }
  SessionState state() const { return session_.state(); }
  SessionStatistics statistics() const { return session_.statistics(); }
  // A warning about the last connection, which was not a failure. Each warning is returned once.
  std::optional<TextId> TakeWarning();

  // Asks the instrument for its identification. E_NOTIMPL for an instrument without such a query.
  virtual Expected<std::string> Identify() { return Failure(E_NOTIMPL); }
  // Asks the instrument for its version.
  virtual Expected<std::string> DeviceVersion() { return Identify(); }

  // Sends the configuration record to the instrument. S_OK for an instrument that takes none.
  virtual HRESULT SendCfg() { return S_OK; }
  // Reads the configuration record from the instrument. The record changes only when all of it was read. If the
  // instrument decides which channels it has, asks for its channels. S_OK for an instrument that cannot be asked.
  virtual HRESULT ReadCfg() { return S_OK; }

  // Read a channel, and write a value to it in the channel's unit. E_INVALIDARG for a channel that cannot be read or
  // written.
  virtual Reading ReadChannel(ChannelId) { return {.code = E_INVALIDARG}; }
  virtual HRESULT WriteChannel(ChannelId, float) { return E_INVALIDARG; }

  // Makes a query that a person typed, and returns the reply as it is shown to a person: a text as it is, a Modbus
  // message in hexadecimal. E_INVALIDARG for a text that is not a message.
  Expected<std::string> RawQuery(std::string_view query);
  // Sends a command that a person typed and that has no reply. E_INVALIDARG as for RawQuery.
  HRESULT RawCommand(std::string_view command);

  // Start and stop what the instrument does by itself, such as temperature control or its own scans. S_OK for an
  // instrument without such commands.
  virtual HRESULT Run() { return S_OK; }
  virtual HRESULT Stop() { return S_OK; }

  // The name of a channel, in Windows-1252. `id` must be in the model's table.
  virtual std::string ChannelName(ChannelId id) const { return card_.channels[id].name; }
  // The properties of a channel; by default those in the card. `id` must be in the model's table. Sends nothing.
  virtual ChannelTraits DescribeChannel(ChannelId id) const;

  // Whether the instrument, with its present settings, has this channel of the model's table.
  bool OffersChannel(ChannelId id) const { return DescribeChannel(id).offered; }
  // Whether the channel is offered and switched on.
  bool IsChannelOn(ChannelId id) const { return TraitsOf(id).on; }
  // Asks the instrument which channels it has, if the instrument decides that.
  HRESULT RefreshChannels() { return card_.channels_in_instrument ? ReadCfg() : S_OK; }
  // Unit, resolution (decimals) and alarm limit number `index` of a channel. For an unknown channel, or one that is not
  // offered: "", 6 and no limit.
  std::string ChannelUnit(ChannelId id) const { return TraitsOf(id).unit; }
  int ChannelResolution(ChannelId id) const { return TraitsOf(id).resolution; }
  ChannelLimit Limit(ChannelId id, int index) const;

  // What the instrument has besides channels; null for what it does not have. The driver owns the objects.
  RecordedMemory* memory() const { return facilities_.memory; }
  ProgramTransfer* program() const { return facilities_.program; }
  SetPointForwarding* set_point_forwarding() const { return facilities_.set_point_forwarding; }

 protected:
  Session& session() { return session_; }
  // Runs one exchange (Session::Exchange).
  template <typename Body>
  auto Exchange(Body&& body) {
    return session_.Exchange(std::forward<Body>(body));
  }
  // Makes one query for a text, in an exchange of its own.
  Expected<std::string> AskText(std::string_view query, const ReplyPlan& plan);
  // The result of a handshake that ended with this code.
  static Expected<bool> Started(HRESULT result) { return Failed(result) ? Failure(result) : Expected<bool>(true); }
  // Stores a warning for TakeWarning. It replaces an earlier one.
  void Warn(TextId warning) { warning_ = static_cast<int>(warning); }

 private:
  ChannelTraits TraitsOf(ChannelId id) const;

  static constexpr int kNoWarning = -1;
  const ModelCard& card_;
  const Facilities facilities_;
  Settings settings_;
  std::atomic<int> warning_ = kNoWarning;
  const std::unique_ptr<Link> link_;
  Session session_;
};

// Interrupts a driver's waits during its lifetime.
class WaitInterruption {
 public:
  explicit WaitInterruption(Driver& driver) : driver_(driver) { driver_.InterruptWaits(); }
  ~WaitInterruption() { driver_.ResumeWaits(); }
  WaitInterruption(const WaitInterruption&) = delete;
  WaitInterruption& operator=(const WaitInterruption&) = delete;

 private:
  Driver& driver_;
};

// Makes a driver; the caller owns it.
using DriverFactory = std::unique_ptr<Driver> (*)(DriverServices services);

// The factory of a driver class.
template <typename T>
std::unique_ptr<Driver> MakeDriver(DriverServices services) {
  return std::make_unique<T>(std::move(services));
}

}  // namespace ulix
