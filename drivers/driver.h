// What the core knows of an instrument: one driver has one session on one link, and one configuration record.
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
  Doubt doubt = Doubt::kNone;  // with kNoValue, S_OK comes without a value
};

inline Reading ReadingOf(const Expected<float>& value) {
  return value ? Reading{S_OK, *value} : Reading{.code = value.error()};
}
inline Reading ReadingOf(const Expected<Measured>& measured) {
  return measured ? Reading{S_OK, measured->value, measured->doubt} : Reading{.code = measured.error()};
}

// A limit of a channel, in the channel's unit. With LimitNo there is none.
struct ChannelLimit {
  float value = 0.0F;
  eLimitLevel level = LimitNo;
};

// A channel of the model's table as the instrument is set, or as it said.
struct ChannelTraits {
  bool offered = true;  // false: the instrument does not have it
  bool on = true;       // false: it has it, and it does not measure
  std::string unit;     // empty: none, or not known
  int resolution = kUnknownResolution;
  std::array<ChannelLimit, 2> limits;
};

// What an instrument has besides channels; null for what it has not.
struct Facilities {
  RecordedMemory* memory = nullptr;
  ProgramTransfer* program = nullptr;
  SetPointForwarding* set_point_forwarding = nullptr;
};

// Members that use the link may be called from several threads: each whole exchange (query and reply, or a sequence
// that belongs together) is one Session::Exchange. Failures are the link's codes and those of the model's card. None of
// them looks whether the host has connected: the core does.
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

  // As of the session and the link.
  HRESULT OpenLink() { return session_.Open(); }
  bool LinkIsOpen() const { return session_.IsOpen(); }
  Expected<bool> Connect() { return session_.Connect(); }
  // Traces what the session counted.
  void Disconnect();
  HRESULT Presence() { return session_.Presence(); }
  void InterruptWaits() { session_.InterruptWaits(); }
  void ResumeWaits() { session_.ResumeWaits(); }
  bool IsBusy() const { return session_.IsBusy(); }
  SessionState state() const { return session_.state(); }
  SessionStatistics statistics() const { return session_.statistics(); }
  // What the user is to be told of the last connection although it is no failure; once.
  std::optional<TextId> TakeWarning();

  // The reply to the identification query, as it came; E_NOTIMPL for an instrument that has no such query.
  virtual Expected<std::string> Identify() { return Failure(E_NOTIMPL); }
  // What the instrument says of its version.
  virtual Expected<std::string> DeviceVersion() { return Identify(); }

  // Both succeed where the instrument has no configuration to be told or asked.
  virtual HRESULT SendCfg() { return S_OK; }
  // Changes the record only when all of it was read. Of an instrument whose channels are its own affair: asks it which
  // ones it has.
  virtual HRESULT ReadCfg() { return S_OK; }

  // E_INVALIDARG for a channel that cannot be read (written).
  virtual Reading ReadChannel(ChannelId) { return {.code = E_INVALIDARG}; }
  virtual HRESULT WriteChannel(ChannelId, float) { return E_INVALIDARG; }

  // A query as a person typed it, and the reply as it is shown to one: text as it is, Modbus messages in hexadecimal.
  // E_INVALIDARG for a text that is no message.
  Expected<std::string> RawQuery(std::string_view query);
  // The same of a command that has no reply.
  HRESULT RawCommand(std::string_view command);

  // Start and stop what the instrument does by itself, such as temperature control or scans of its own. S_OK where it
  // has no such command.
  virtual HRESULT Run() { return S_OK; }
  virtual HRESULT Stop() { return S_OK; }

  // Of a channel that the model has.
  virtual std::string ChannelName(ChannelId id) const { return card_.channels[id].name; }
  // As in the card, unless the driver knows better; asked for channels that the model has.
  virtual ChannelTraits DescribeChannel(ChannelId id) const;

  // Whether the instrument has this channel of its model's table, the way it is set.
  bool OffersChannel(ChannelId id) const { return DescribeChannel(id).offered; }
  // Whether such a channel is switched on.
  bool IsChannelOn(ChannelId id) const { return TraitsOf(id).on; }
  // Asks the instrument which channels it has, where that is up to the instrument.
  HRESULT RefreshChannels() { return card_.channels_in_instrument ? ReadCfg() : S_OK; }
  // Of an unknown channel, or one that is not offered: the unit is "", the resolution 6, and there is no limit.
  std::string ChannelUnit(ChannelId id) const { return TraitsOf(id).unit; }
  int ChannelResolution(ChannelId id) const { return TraitsOf(id).resolution; }
  ChannelLimit Limit(ChannelId id, int index) const;

  // Null for what the instrument has not. The driver owns them.
  RecordedMemory* memory() const { return facilities_.memory; }
  ProgramTransfer* program() const { return facilities_.program; }
  SetPointForwarding* set_point_forwarding() const { return facilities_.set_point_forwarding; }

 protected:
  Session& session() { return session_; }
  // One exchange (sessions/session.h).
  template <typename Body>
  auto Exchange(Body&& body) {
    return session_.Exchange(std::forward<Body>(body));
  }
  // An exchange of one query for a text.
  Expected<std::string> AskText(std::string_view query, const ReplyPlan& plan);
  // A handshake that ended with the code.
  static Expected<bool> Started(HRESULT result) { return Failed(result) ? Failure(result) : Expected<bool>(true); }
  // Keeps a warning for TakeWarning. A second one replaces the first.
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
