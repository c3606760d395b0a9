// Instruments of a run: connected, identified, the source set and left safe.
#include <algorithm>

#include "calibration/json_reader.h"
#include "calibration/runner.h"

namespace ulix::calibration {
namespace {

constexpr int kSafeAttempts = 3;
constexpr double kSafeRetrySeconds = 1;

}  // namespace

void Runner::ConnectOne(const PlannedInstrument& planned) {
  const auto act = [&]() -> Entries {
    auto made = Station::Make(planned, plan_.folder, services_.services_of(planned), *services_.instrument_clock,
                              services_.language, [&](Instrument& instrument) {
                                if (services_.prepared) services_.prepared(planned, instrument);
                              });
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

void Runner::ConnectAll() {
  Tell(Activity::kConnecting);
  CloseAll();
  for (const PlannedInstrument& planned : plan_.instruments) {
    CheckStop();
    ConnectOne(planned);
  }
  FindChannels();
  connected_ = true;
}

// Names become ids; a channel that the instrument turns out not to have ends the run.
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
      const bool direct = slot.sensor.type.empty() && !slot.scale;
      const double step = direct ? ResolutionOf(slot.station->instrument(), slot.channel) : 0;
      slots.push_back({{"role", slot.role}, {"i", slot.ref.instrument}, {"c", slot.ref.channel}, {"step", step}});
    }
    Json fields{{"slots", std::move(slots)}};
    if (!missing.empty()) PutText(fields, "failed", missing);
    return {Stamped("channels", std::move(fields))};
  };
  const Json entry = recorder_.Do("channels", 1, act).at(0);
  if (entry.contains("failed")) StopNow(TextIn(entry, "failed"));
  for (std::size_t k = 0; k < slots_.size(); ++k) {
    if (slots_[k].resolution == 0) slots_[k].resolution = entry.at("slots").at(k).at("step");
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
  const auto act = [&]() -> Entries {
    Station& station = StationOf(plan_.source.channel);
    const HRESULT result = station.Set(source_channel_, value);
    Json fields{{"i", plan_.source.channel.instrument}, {"c", plan_.source.channel.channel}, {"v", value}};
    if (Failed(result)) fields["failed"] = station.ErrorText(result);
    return {Stamped("set", std::move(fields))};
  };
  source_was_set_ = true;
  const Json entry = recorder_.Do("set", 1, act).at(0);
  if (!entry.contains("failed")) return;
  StopNow(Bilingual(TextId::kRunSourceRefuses, {NumberText(value), entry.at("failed").get<std::string>()}));
}

bool Runner::SendSafeValue(BilingualText& what) {
  const auto found = stations_.find(plan_.source.channel.instrument);
  if (found == stations_.end() || !found->second || !found->second->open()) {
    what = Bilingual(TextId::kRunSourceGone);
    return false;
  }
  for (int attempt = 1;; ++attempt) {
    const HRESULT result = found->second->Set(source_channel_, plan_.source.safe);
    if (Succeeded(result)) return true;
    what = found->second->ErrorText(result);
    if (attempt == kSafeAttempts) return false;
    services_.clock->SleepFor(Milliseconds(static_cast<int>(kSafeRetrySeconds * 1000)));
  }
}

bool Runner::LeaveSafe() {
  if (!source_was_set_) return true;
  Tell(Activity::kLeavingSafe);
  bool safe = true;
  const auto act = [&]() -> Entries {
    BilingualText what;
    safe = SendSafeValue(what);
    Json fields{{"v", plan_.source.safe}};
    if (!safe) PutText(fields, "failed", what);
    return {Stamped("safe", std::move(fields))};
  };
  const Json entry = recorder_.Do("safe", 1, act).at(0);
  if (!entry.contains("failed")) return true;
  Message(Bilingual(TextId::kRunSafeRefused, {TextIn(entry, "failed")}));
  return false;
}

// Only the same instrument may come back.
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
