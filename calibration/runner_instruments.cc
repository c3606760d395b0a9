// The instruments of a run: connecting, identifying, setting the source and leaving it safe.
#include <algorithm>

#include "calibration/json_reader.h"
#include "calibration/runner.h"

namespace ulix::calibration {
namespace {

constexpr int kSafeAttempts = 3;
constexpr double kSafeRetrySeconds = 1;

}  // namespace

Result<std::unique_ptr<Station>> Runner::MakeStation(const PlannedInstrument& planned) {
  return Station::Make(planned, plan_.folder, services_.services_of(planned), *services_.instrument_clock,
                       services_.language, [&](Instrument& instrument) {
                         if (services_.prepared) services_.prepared(planned, instrument);
                       });
}

void Runner::ConnectOne(const PlannedInstrument& planned) {
  const auto act = [&]() -> Entries {
    auto made = MakeStation(planned);
    Result<std::string> identity = made ? (*made)->Open() : tl::unexpected(made.error());
    if (made) stations_[planned.name] = std::move(*made);
    Json fields{{"i", planned.name}, {"model", planned.model}, {"port", planned.port}};
    if (!planned.host.empty()) fields["host"] = planned.host;
    if (!identity) {
      PutText(fields, "failed", identity.error());
    } else {
      fields["identity"] = *identity;
      Json settings = Json::object();
      Instrument& instrument = stations_[planned.name]->instrument();
      for (const auto& [key, text] : planned.settings) {
        const SettingRow* row = instrument.settings().Find(key);
        settings[key] = row ? Utf8FromAnsi(instrument.settings().TextOf(*row)) : text;
      }
      fields["settings"] = std::move(settings);
    }
    return {Stamped("open", std::move(fields))};
  };
  const Json entry = recorder_.Do("open", 1, act).at(0);
  if (entry.contains("failed")) StopNow(TextIn(entry, "failed"));
  const std::string identity = entry.at("identity");
  const auto [known, is_new] = identities_.emplace(planned.name, identity);
  if (!is_new && known->second != identity) {
    StopNow(Bilingual(TextId::kRunOtherAnswers, {planned.name, identity, known->second}));
  }
}

// The source is connected first, so that it can be set to its safe value whatever fails afterwards.
void Runner::ConnectAll() {
  Tell(Activity::kConnecting);
  CloseAll();
  const std::string& source = plan_.source.channel.instrument;
  if (const PlannedInstrument* planned = plan_.FindInstrument(source)) ConnectOne(*planned);
  for (const PlannedInstrument& planned : plan_.instruments) {
    CheckStop();
    if (planned.name != source) ConnectOne(planned);
  }
  FindChannels();
  CheckUnits();
  TrySafeValue();
  connected_ = true;
}

// Finds the ids of the channels. The run ends if an instrument does not have a channel.
void Runner::FindChannels() {
  BilingualText missing;
  const auto find = [&](const ChannelRef& ref, ChannelId& id) {
    const auto found = FindChannel(StationOf(ref).instrument(), ref.channel);
    if (found) id = *found;
    if (found || !missing.empty()) return;
    const PlannedInstrument& planned = StationOf(ref).planned();
    missing = Bilingual(TextId::kStationDoing,
                        {planned.name, planned.model, Bilingual(TextId::kStationChannel), found.error()});
  };
  const auto act = [&]() -> Entries {
    Json slots = Json::array();
    find(plan_.source.channel, source_channel_);
    for (Slot& slot : slots_) {
      slot.station = &StationOf(slot.ref);
      find(slot.ref, slot.channel);
      const double step = ResolutionOf(slot.station->instrument(), slot.channel);
      slots.push_back({{"role", slot.role}, {"i", slot.ref.instrument}, {"c", slot.ref.channel}, {"step", step}});
    }
    Json fields{{"slots", std::move(slots)}};
    if (!missing.empty()) PutText(fields, "failed", missing);
    return {Stamped("channels", std::move(fields))};
  };
  const Json entry = recorder_.Do("channels", 1, act).at(0);
  if (entry.contains("failed")) StopNow(TextIn(entry, "failed"));
  for (std::size_t k = 0; k < slots_.size(); ++k) {
    slots_[k].step = entry.at("slots").at(k).at("step");
  }
}

void Runner::CloseAll() {
  for (Slot& slot : slots_) slot.station = nullptr;
  for (auto& [name, station] : stations_) {
    if (station) station->Close();
  }
  stations_.clear();
  connected_ = false;
}

void Runner::SetSource(double value) {
  source_was_set_ = true;
  SendValue(value);
}

// Tries the safe value before the run: if the source refuses it, the source is not set to any other value.
void Runner::TrySafeValue() {
  if (!source_was_set_) SendValue(plan_.source.safe);
}

void Runner::SendValue(double value) {
  const auto act = [&]() -> Entries {
    Station& station = StationOf(plan_.source.channel);
    const HRESULT result = station.Set(source_channel_, value);
    Json fields{{"i", plan_.source.channel.instrument}, {"c", plan_.source.channel.channel}, {"v", value}};
    if (Failed(result)) fields["failed"] = station.ErrorText(result);
    return {Stamped("set", std::move(fields))};
  };
  const Json entry = recorder_.Do("set", 1, act).at(0);
  if (!entry.contains("failed")) return;
  StopNow(Bilingual(TextId::kRunSourceRefuses, {NumberText(value), entry.at("failed").get<std::string>()}));
}

// The station of the source. Connects it if it was lost or not connected yet.
Result<Station*> Runner::ReachSource() {
  const std::string& name = plan_.source.channel.instrument;
  std::unique_ptr<Station>& station = stations_[name];
  if (!station || !station->open()) {
    const PlannedInstrument* const planned = plan_.FindInstrument(name);
    if (!planned) return Refused(TextId::kRunSourceGone);
    auto made = MakeStation(*planned);
    const Result<std::string> identity = made ? (*made)->Reach() : tl::unexpected(made.error());
    if (!identity) return tl::unexpected(identity.error());
    station = std::move(*made);
    const auto known = identities_.find(name);
    if (known != identities_.end() && known->second != *identity) {
      return Refused(TextId::kRunOtherAnswers, {name, *identity, known->second});
    }
  }
  const auto channel = FindChannel(station->instrument(), plan_.source.channel.channel);
  if (!channel) return tl::unexpected(Problem(channel.error()));
  source_channel_ = *channel;
  return station.get();
}

BilingualText Runner::SendSafeValue() {
  for (int attempt = 1;; ++attempt) {
    const auto station = ReachSource();
    const HRESULT result = station ? (*station)->Set(source_channel_, plan_.source.safe) : E_FAIL;
    if (Succeeded(result)) return {};
    if (attempt == kSafeAttempts) return station ? BilingualText((*station)->ErrorText(result)) : station.error();
    services_.clock->SleepFor(Milliseconds(static_cast<int>(kSafeRetrySeconds * 1000)));
  }
}

BilingualText Runner::LeaveSafe() {
  if (!source_was_set_) return {};
  Tell(Activity::kLeavingSafe);
  const auto act = [&]() -> Entries {
    const BilingualText refusal = SendSafeValue();
    Json fields{{"v", plan_.source.safe}};
    if (!refusal.empty()) PutText(fields, "failed", refusal);
    return {Stamped("safe", std::move(fields))};
  };
  const Json entry = recorder_.Do("safe", 1, act).at(0);
  if (!entry.contains("failed")) return {};
  BilingualText refusal = Bilingual(TextId::kRunSafeRefused, {TextIn(entry, "failed")});
  Message(refusal);
  return refusal;
}

// Checks that the same instrument has come back.
void Runner::CheckIdentity(Slot& slot) {
  const std::string name = slot.ref.instrument;
  if (std::erase(doubtful_stations_, name) == 0) return;
  const auto act = [&]() -> Entries {
    const auto identity = slot.station->Identify();
    Json fields{{"i", name}};
    if (identity)
      fields["identity"] = *identity;
    else
      PutText(fields, "failed", identity.error());
    return {Stamped("identify", std::move(fields))};
  };
  const Json entry = recorder_.Do("identify", 1, act).at(0);
  const BilingualText identity = entry.contains("identity") ? TextIn(entry, "identity") : TextIn(entry, "failed");
  if (identity.en != identities_[name]) {
    StopNow(Bilingual(TextId::kRunOtherBack, {name, identity, identities_[name]}));
  }
  Message(Bilingual(TextId::kRunBack, {name}));
}

}  // namespace ulix::calibration
