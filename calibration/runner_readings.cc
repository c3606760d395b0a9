// The channels of a run: readings, conversions and stability.
#include <algorithm>
#include <future>
#include <utility>

#include "calibration/json_reader.h"
#include "calibration/plan_sensor.h"
#include "calibration/runner.h"
#include "calibration/schedule.h"

namespace ulix::calibration {
namespace {

// A unit in a form that can be compared: "°C", "C" and "CEL" are the same, and so are "KPA" and "kPa".
std::string PlainUnit(const std::string& unit) {
  std::string plain;
  for (const char c : AsciiUpper(unit)) {
    if (c >= 'A' && c <= 'Z') plain += c;
  }
  return plain == "CEL" || plain == "DEGC" || plain == "CELSIUS" ? "C" : plain;
}

}  // namespace

std::size_t Runner::AddSlot(Slot slot) {
  const auto same =
      std::find_if(slots_.begin(), slots_.end(), [&](const Slot& other) { return other.ref == slot.ref; });
  if (same != slots_.end()) return static_cast<std::size_t>(same - slots_.begin());
  slots_.push_back(std::move(slot));
  return slots_.size() - 1;
}

void Runner::AddJunction(Slot& slot) {
  if (!slot.sensor.junction_channel) return;
  Slot junction;
  junction.role = "junction";
  junction.ref = *slot.sensor.junction_channel;
  junction.in_plan_unit = false;
  const auto owner = static_cast<std::size_t>(&slot - slots_.data());
  const std::size_t added = AddSlot(std::move(junction));
  slots_[owner].junction = added;
}

void Runner::MakeSlots() {
  Slot reference;
  reference.role = "reference";
  reference.ref = plan_.reference.channel;
  reference.sensor = plan_.reference.sensor;
  reference.scale = plan_.reference.scale;
  reference.resolution = plan_.reference.resolution;
  slots_.push_back(std::move(reference));
  for (const UnitPlan& unit : plan_.units) {
    Slot slot;
    slot.role = unit.name;
    slot.ref = unit.channel;
    slot.sensor = unit.sensor;
    slot.scale = unit.scale;
    slot.resolution = unit.resolution;
    slots_.push_back(std::move(slot));
  }
  for (std::size_t k = 0; k <= plan_.units.size(); ++k) AddJunction(slots_[k]);
  schedule_ = TimeTableOf(plan_).point_seconds;
  status_.catching_up = recorder_.catching_up();
}

// The name of a channel's role. A unit under test has its own name; the other roles have names in both languages.
BilingualText Runner::RoleOf(const Slot& slot) const {
  if (&slot == &slots_[kReference]) return Bilingual(TextId::kRunRoleReference);
  return slot.in_plan_unit ? BilingualText(slot.role) : Bilingual(TextId::kRunRoleJunction);
}

std::optional<double> Runner::Converted(const Slot& slot, double raw, const std::string& unit, std::string& why) const {
  if (slot.scale) return slot.scale->Apply(raw);
  if (slot.sensor.type.empty()) return raw;
  std::optional<double> junction = slot.sensor.junction;
  if (slot.junction) junction = slots_[*slot.junction].value;
  if (slot.junction && !junction) return why = Utf8Of(TextId::kRunNoJunction, services_.language), std::nullopt;
  const auto celsius = ToTemperature(slot.sensor, raw, unit, junction);
  if (!celsius) return why = celsius.error().In(services_.language), std::nullopt;
  return *celsius;
}

Json Runner::ReadSlot(std::size_t number, Purpose purpose) {
  Slot& slot = slots_[number];
  const StationReading reading = slot.station->Read(slot.channel);
  Json fields{{"s", number}, {"i", slot.ref.instrument}, {"c", slot.ref.channel}};
  fields["raw"] = Utf8FromAnsi(reading.raw);
  std::string error = reading.error;
  if (reading.value) {
    const std::string unit = slot.station->UnitOf(slot.channel);
    fields["v"] = *reading.value;
    fields["u"] = unit;
    const auto value = Converted(slot, *reading.value, unit, error);
    if (value) fields["q"] = *value;
    // The temperature of the junction for the thermocouple that is read next.
    slot.value = value;
  }
  if (!error.empty()) fields["failed"] = error;
  fields["f"] = purpose == Purpose::kPoint ? "p" : "l";
  return Stamped("r", std::move(fields));
}

// Reads channels on different lines at the same time, and channels on one line in order. A simulated bench has one time
// for all and is read in order.
std::vector<Json> Runner::ReadSlots(const std::vector<std::size_t>& slots, Purpose purpose) {
  std::vector<Json> entries(slots.size());
  std::map<std::string, std::vector<std::size_t>> lines;  // indexes in `slots`
  for (std::size_t k = 0; k < slots.size(); ++k) {
    const bool helps = slots_[slots[k]].junction.has_value() || !slots_[slots[k]].in_plan_unit;
    lines[services_.simulated || helps ? "" : slots_[slots[k]].station->line()].push_back(k);
  }
  const auto read = [&](const std::vector<std::size_t>& places) {
    for (const std::size_t k : places) entries[k] = ReadSlot(slots[k], purpose);
  };
  std::vector<std::future<void>> others;
  for (auto line = std::next(lines.begin()); line != lines.end(); ++line) {
    others.push_back(std::async(std::launch::async, read, std::cref(line->second)));
  }
  read(lines.begin()->second);
  for (auto& other : others) other.get();
  return entries;
}

void Runner::CheckUnit(const Slot& slot, const std::string& unit) {
  if (const auto wrong = slot.scale ? std::nullopt : WhyUnitIsWrong(slot.sensor, unit)) {
    const BilingualText role = RoleOf(slot);
    StopNow({role.en + " (" + PlaceOf(slot) + "): " + wrong->en, role.fr + " (" + PlaceOf(slot) + ") : " + wrong->fr});
  }
  const bool free = !slot.in_plan_unit || slot.scale || !slot.sensor.type.empty() || unit.empty();
  if (free || PlainUnit(unit) == PlainUnit(plan_.unit)) return;
  StopNow(Bilingual(TextId::kRunOtherUnit, {RoleOf(slot), PlaceOf(slot), unit, plan_.unit}));
}

void Runner::CheckLost(Slot& slot, const Json& entry) {
  const double seconds = entry.at("t");
  if (!slot.failing_since) {
    slot.failing_since = seconds;
    const BilingualText role = RoleOf(slot);
    Message({role.en + ": " + slot.error, role.fr + " : " + slot.error});
  }
  const bool known = std::count(doubtful_stations_.begin(), doubtful_stations_.end(), slot.ref.instrument) > 0;
  if (!known) doubtful_stations_.push_back(slot.ref.instrument);
  if (seconds - *slot.failing_since < plan_.limits.lost) return;
  StopNow(Bilingual(TextId::kRunNoReading, {RoleOf(slot), PlaceOf(slot), NumberText(plan_.limits.lost), slot.error}));
}

void Runner::Take(const Json& entry, Purpose purpose) {
  const std::size_t number = entry.at("s");
  Slot& slot = slots_.at(number);
  slot.value.reset();
  if (entry.contains("q")) slot.value = entry.at("q").get<double>();
  slot.error = entry.value("failed", "");
  if (entry.contains("u") && slot.unit != entry.at("u")) CheckUnit(slot, slot.unit = entry.at("u").get<std::string>());
  if (number <= plan_.units.size()) slot.detector.Add(entry.at("t"), slot.value);
  if (!slot.value) return CheckLost(slot, entry);
  slot.failing_since.reset();
  CheckIdentity(slot);
  if (purpose == Purpose::kPoint) {
    taken_[number].push_back({entry.at("t"), 0, *slot.value, entry.value("v", 0.0)});
  }
}

void Runner::Read(const std::vector<std::size_t>& order, Purpose purpose) {
  const Entries entries = recorder_.Do(
      "r", order.size(), [&] { return ReadSlots(order, purpose); }, purpose == Purpose::kPoint);
  for (const Json& entry : entries) Take(entry, purpose);
}

// Checks the unit of each channel before the source is set for the first time, and again after an interruption.
void Runner::CheckUnits() {
  for (Slot& slot : slots_) slot.unit.clear();
  for (;;) {
    ReadAll();
    const bool known = std::none_of(slots_.begin(), slots_.end(),
                                    [](const Slot& slot) { return slot.failing_since && slot.unit.empty(); });
    if (known) return;
    WaitUntil(recorder_.last_seconds() + plan_.sampling);
  }
}

// Reads every channel once; cold junctions come first, because others need them.
void Runner::ReadAll() {
  std::vector<std::size_t> order;
  for (std::size_t k = plan_.units.size() + 1; k < slots_.size(); ++k) order.push_back(k);
  for (std::size_t k = 0; k <= plan_.units.size(); ++k) order.push_back(k);
  Read(order, Purpose::kApproach);
}

void Runner::ReadRound() {
  std::vector<std::size_t> helpers, units;
  for (std::size_t k = plan_.units.size() + 1; k < slots_.size(); ++k) helpers.push_back(k);
  for (std::size_t k = 1; k <= plan_.units.size(); ++k) units.push_back(k);
  if (!helpers.empty()) Read(helpers, Purpose::kApproach);
  Read({kReference}, Purpose::kPoint);
  Read(units, Purpose::kPoint);
  if (point().readings.order == ReadingOrder::kReferenceThenUnits) return;
  Read({units.rbegin(), units.rend()}, Purpose::kPoint);
  Read({kReference}, Purpose::kPoint);
}

}  // namespace ulix::calibration
