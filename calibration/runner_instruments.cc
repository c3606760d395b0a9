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
    std::string failure = made ? "" : made.error();
    Outcome<std::string> identity = made ? (*made)->Open() : tl::unexpected(failure);
    if (made) stations_[planned.name] = std::move(*made);
    Json fields{{"i", planned.name}, {"model", planned.model}, {"port", planned.port}};
    if (!planned.host.empty()) fields["host"] = planned.host;
    if (!identity) {
      fields["failed"] = identity.error();
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
  if (entry.contains("failed")) StopNow(entry.at("failed").get<std::string>());
  const std::string identity = entry.at("identity");
  const auto [known, is_new] = identities_.emplace(planned.name, identity);
  if (!is_new && known->second != identity) {
    StopNow(planned.name + ": another instrument answers: '" + identity + "' in place of '" + known->second + "'");
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
  std::string missing;
  const auto find = [&](const ChannelRef& ref, ChannelId& id) {
    const auto found = FindChannel(StationOf(ref).instrument(), ref.channel);
    if (found) id = *found;
    if (!found && missing.empty()) missing = ref.instrument + ": " + found.error();
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
    return {missing.empty() ? Stamped("channels", {{"slots", slots}}) : Stamped("channels", {{"failed", missing}})};
  };
  const Json entry = recorder_.Do("channels", 1, act).at(0);
  if (entry.contains("failed")) StopNow(entry.at("failed").get<std::string>());
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
  StopNow("the source does not take " + NumberText(value) + ": " + entry.at("failed").get<std::string>());
}

bool Runner::SendSafeValue(std::string& what) {
  const auto found = stations_.find(plan_.source.channel.instrument);
  if (found == stations_.end() || !found->second || !found->second->open()) {
    what = "the source is not connected";
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
    std::string what;
    safe = SendSafeValue(what);
    Json fields{{"v", plan_.source.safe}};
    if (!safe) fields["failed"] = what;
    return {Stamped("safe", std::move(fields))};
  };
  const Json entry = recorder_.Do("safe", 1, act).at(0);
  if (!entry.contains("failed")) return true;
  Message("the source did not take its safe value: " + entry.at("failed").get<std::string>());
  return false;
}

// Only the same instrument may come back.
void Runner::CheckIdentity(Slot& slot) {
  const std::string name = slot.ref.instrument;
  if (std::erase(doubtful_stations_, name) == 0) return;
  const auto act = [&]() -> Entries {
    const auto identity = slot.station->Identify();
    Json fields{{"i", name}};
    fields[identity ? "identity" : "failed"] = identity ? *identity : identity.error();
    return {Stamped("identify", std::move(fields))};
  };
  const Json entry = recorder_.Do("identify", 1, act).at(0);
  const std::string identity = entry.value("identity", entry.value("failed", ""));
  if (identity != identities_[name]) {
    StopNow(name + ": another instrument came back: '" + identity + "' in place of '" + identities_[name] + "'");
  }
  Message(name + " is back");
}

}  // namespace ulix::calibration
