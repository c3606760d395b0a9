#include "calibration/station.h"

#include "base/text.h"
#include "platform/mutex.h"

namespace ulix::calibration {
namespace {

constexpr std::size_t kMaxRaw = 96;       // bytes kept of a reply
constexpr std::uint32_t kReadMs = 60000;  // longest wait for one scan of a stopped group

}  // namespace

// What came over the link since the last look.
struct Station::Received {
  void Note(TraceDirection direction, std::string_view bytes) {
    if (direction != TraceDirection::kReceived) return;
    const std::lock_guard lock(mutex);
    text += bytes;
    if (text.size() > kMaxRaw) text.erase(0, text.size() - kMaxRaw);
  }
  std::string Take() {
    const std::lock_guard lock(mutex);
    return std::exchange(text, {});
  }
  platform::Mutex mutex;
  std::string text;  // guarded by mutex
};

Outcome<std::unique_ptr<Station>> Station::Make(const PlannedInstrument& planned, const std::string& folder,
                                                DriverServices services, Clock& clock, Language language,
                                                const std::function<void(Instrument&)>& prepared) {
  std::unique_ptr<Station> station(new Station(planned));
  station->received_ = std::make_shared<Received>();
  services.trace = [received = station->received_, then = services.trace](TraceDirection direction,
                                                                          std::string_view bytes) {
    received->Note(direction, bytes);
    if (then) then(direction, bytes);
  };
  auto made = MakeInstrument(planned, folder, std::move(services), {.clock = &clock, .language = language});
  if (!made) return tl::unexpected(planned.name + ": " + made.error());
  station->instrument_ = std::move(*made);
  if (prepared) prepared(*station->instrument_);
  return station;
}

tl::unexpected<std::string> Station::FailedAt(const std::string& doing, HRESULT code) {
  return tl::unexpected(planned_.name + " (" + planned_.model + "): " + doing + ": " + ErrorText(code));
}

Outcome<std::string> Station::Identify() {
  std::string identification;
  const HRESULT result = instrument_->Identify(&identification);
  if (Failed(result)) return FailedAt("identification", result);
  identification = Utf8FromAnsi(Trimmed(identification));
  if (identification.find(planned_.serial_number) == std::string::npos) {
    return tl::unexpected(planned_.name + " (" + planned_.model + "): the serial number " + planned_.serial_number +
                          " is not in its identification '" + identification + "'");
  }
  return identification;
}

Outcome<std::string> Station::Open() {
  HRESULT result = instrument_->Connect();
  std::int32_t connected = 0;
  instrument_->IsConnected(&connected);
  if (Failed(result)) return FailedAt("connection", result);
  if (connected == 0) return tl::unexpected(planned_.name + " (" + planned_.model + "): did not say what it is");
  auto identification = Identify();
  if (!identification) return identification;
  if (instrument_->card().channels_in_instrument) result = instrument_->RefreshChannels();
  if (Failed(result)) return FailedAt("list of channels", result);
  if (!planned_.settings.empty() || !planned_.config_file.empty()) result = instrument_->SendCfg();
  if (Failed(result) && result != E_NOTIMPL) return FailedAt("sending of its settings", result);
  if (planned_.run) result = instrument_->Run();
  if (Failed(result) && result != E_NOTIMPL) return FailedAt("start", result);
  received_->Take();
  open_ = true;
  return identification;
}

void Station::Close() {
  if (!open_) return;
  for (const auto& [channel, group] : groups_) instrument_->RemoveGroup(group);
  groups_.clear();
  if (planned_.run) instrument_->Stop();
  instrument_->Disconnect();
  open_ = false;
}

Outcome<std::uint32_t> Station::GroupOf(ChannelId channel) {
  const auto found = groups_.find(channel);
  if (found != groups_.end()) return found->second;
  std::uint32_t group = 0;
  HRESULT result = instrument_->CreateGroup(&group);
  if (Succeeded(result)) result = instrument_->SetGroupSettings(group, {.period_ms = kReadMs});
  if (Succeeded(result)) result = instrument_->ConnectGroupChan(group, channel);
  if (Failed(result)) return FailedAt("channel", result);
  return groups_[channel] = group;
}

StationReading Station::Read(ChannelId channel) {
  StationReading reading;
  received_->Take();
  const auto group = GroupOf(channel);
  ChannelArrays arrays;
  reading.code = group ? instrument_->ImmediateReadGroups(std::span(&*group, 1)) : E_FAIL;
  if (Succeeded(reading.code)) reading.code = instrument_->GetChansVals(std::span(&channel, 1), &arrays);
  if (Succeeded(reading.code)) {
    const bool never_read = arrays.times.at(0) == 0 && arrays.errors.at(0) == S_OK;
    reading.code = never_read ? E_FAIL : arrays.errors.at(0);
  }
  reading.raw = received_->Take();
  if (Succeeded(reading.code)) {
    reading.value = arrays.values.at(0);
  } else {
    reading.error = ErrorText(reading.code);
  }
  return reading;
}

HRESULT Station::Set(ChannelId channel, double value) { return instrument_->SetChanVal(channel, value); }

std::string Station::UnitOf(ChannelId channel) {
  std::string unit;
  instrument_->GetChanUnit(channel, &unit);
  return Utf8FromAnsi(unit);
}

std::string Station::line() const {
  if (planned_.simulated()) return "sim";
  return planned_.host.empty() ? planned_.port : planned_.host;
}

}  // namespace ulix::calibration
