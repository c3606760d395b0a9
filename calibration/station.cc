#include "calibration/station.h"

#include "base/text.h"
#include "platform/mutex.h"

namespace ulix::calibration {
namespace {

constexpr std::size_t kMaxRaw = 96;  // bytes of a reply that are stored

bool IsPartOfWord(char c) {
  const bool letter = (c >= 'A' && c <= 'Z') || (c >= 'a' && c <= 'z') || static_cast<unsigned char>(c) >= 0x80;
  return letter || (c >= '0' && c <= '9') || c == '.' || c == '-' || c == '_';
}

bool HasWord(std::string_view text, std::string_view word) {
  for (std::size_t at = 0; (at = text.find(word, at)) != text.npos; ++at) {
    const std::string_view behind = text.substr(at + word.size());
    const bool begins = at == 0 || !IsPartOfWord(text[at - 1]);
    if (begins && (behind.empty() || !IsPartOfWord(behind.front()))) return true;
  }
  return false;
}

}  // namespace

bool NamesSerialNumber(std::string_view identification, std::string_view serial_number) {
  if (serial_number.empty()) return true;
  identification.remove_prefix(identification.find(',') + 1);
  return HasWord(identification, serial_number);
}

// The bytes received on the link since the last reading.
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

Result<std::unique_ptr<Station>> Station::Make(const PlannedInstrument& planned, const std::string& folder,
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
  if (!made) return tl::unexpected(Problem(planned.name + ": " + made.error()));
  station->instrument_ = std::move(*made);
  if (prepared) prepared(*station->instrument_);
  return station;
}

tl::unexpected<Problem> Station::FailedAt(TextId doing, HRESULT code) {
  return Refused(TextId::kStationDoing, {planned_.name, planned_.model, Bilingual(doing), ErrorText(code)});
}

Result<std::string> Station::Identify() {
  std::string identification;
  const HRESULT result = instrument_->Identify(&identification);
  if (Failed(result)) return FailedAt(TextId::kStationIdentification, result);
  identification = Utf8FromAnsi(Trimmed(identification));
  const bool is_model = EqualIgnoringCase(planned_.serial_number, planned_.model);
  if (is_model || !NamesSerialNumber(identification, planned_.serial_number)) {
    return Refused(TextId::kStationOtherSerial,
                   {planned_.name, planned_.model, planned_.serial_number, identification});
  }
  return identification;
}

Result<std::string> Station::Reach() {
  HRESULT result = instrument_->Connect();
  std::int32_t connected = 0;
  instrument_->IsConnected(&connected);
  if (Failed(result)) return FailedAt(TextId::kStationConnection, result);
  if (connected == 0) return Refused(TextId::kStationSilent, {planned_.name, planned_.model});
  auto identification = Identify();
  if (!identification) return identification;
  if (instrument_->card().channels_in_instrument) result = instrument_->RefreshChannels();
  if (Failed(result)) return FailedAt(TextId::kStationChannelList, result);
  open_ = true;
  return identification;
}

Result<std::string> Station::Open() {
  auto identification = Reach();
  if (!identification) return identification;
  HRESULT result = S_OK;
  if (!planned_.settings.empty() || !planned_.config_file.empty()) result = instrument_->SendCfg();
  if (Failed(result) && result != E_NOTIMPL) return FailedAt(TextId::kStationSettings, result);
  if (planned_.run) result = instrument_->Run();
  if (Failed(result) && result != E_NOTIMPL) return FailedAt(TextId::kStationStart, result);
  received_->Take();
  return identification;
}

void Station::Close() {
  if (!open_) return;
  if (planned_.run) instrument_->Stop();
  instrument_->Disconnect();
  open_ = false;
}

StationReading Station::Read(ChannelId channel) {
  StationReading reading;
  received_->Take();
  GroupChannel record;
  reading.code = instrument_->ReadChan(channel, &record);
  if (Succeeded(reading.code)) reading.code = record.error;
  reading.raw = received_->Take();
  if (Succeeded(reading.code)) {
    reading.value = record.value;
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
