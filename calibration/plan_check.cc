#include "calibration/plan_check.h"

#include <algorithm>
#include <cmath>
#include <map>
#include <memory>
#include <set>
#include <utility>

#include "calibration/instruments.h"
#include "calibration/json_document.h"
#include "calibration/json_reader.h"
#include "calibration/plan_sensor.h"
#include "drivers/catalogue.h"

namespace ulix::calibration {
namespace {

// Why a sensor is none.
std::optional<std::string> WhyNoSensor(const SensorSpec& sensor) {
  if (sensor.type.empty()) return std::nullopt;
  const auto made = SensorOf(sensor);
  return made ? std::nullopt : std::optional(made.error().en);
}

class PlanChecker {
 public:
  explicit PlanChecker(const Plan& plan) : plan_(plan) {}

  PlanProblems Check() {
    CheckInstruments();
    CheckPorts();
    CheckChannels();
    CheckRoles();
    CheckSource();
    CheckPoints();
    CheckTimes();
    CheckBench();
    CheckTerms();
    return std::move(problems_);
  }

 private:
  void Refuse(int line, const std::string& path, const std::string& message) {
    problems_.push_back({line, path, message, false});
  }
  void Warn(int line, const std::string& path, const std::string& message) {
    problems_.push_back({line, path, message, true});
  }

  void CheckInstruments();
  void CheckPorts();
  void CheckChannels();
  enum class Use { kRead, kWrite };
  void CheckChannel(const ChannelRef& channel, const std::string& path, Use use);
  void CheckRoles();
  void CheckSource();
  void CheckPoints();
  void CheckPoint(const PlannedPoint& point);
  void CheckTimes();
  void CheckBench();
  void CheckTerms();

  const Plan& plan_;
  PlanProblems problems_;
  std::map<std::string, std::unique_ptr<Instrument>> instruments_;
};

void PlanChecker::CheckInstruments() {
  if (plan_.instruments.empty()) Refuse(0, "instruments", "names no instrument");
  for (const PlannedInstrument& planned : plan_.instruments) {
    const std::string path = "instruments." + planned.name;
    if (!FindModel(planned.model)) {
      std::vector<std::string> models;
      for (const CatalogueEntry& entry : Catalogue()) models.emplace_back(entry.card->model_id);
      const std::string meant = Closest(planned.model, models);
      Refuse(planned.line, path + ".model",
             "'" + planned.model + "' is no model" + (meant.empty() ? "" : "; did you mean \"" + meant + "\"?"));
      continue;
    }
    auto made = MakeInstrument(planned, plan_.folder, {}, {});
    if (made) {
      instruments_[planned.name] = std::move(*made);
    } else {
      Refuse(planned.line, path, made.error());
    }
    if (planned.port.empty() && planned.host.empty() && planned.config_file.empty()) {
      Refuse(planned.line, path, "says neither a port nor a host");
    }
  }
}

// "COM5", "com5" and "5" are one.
std::string CanonicalPort(const std::string& port) {
  const bool com = port.size() > 3 && EqualIgnoringCase(port.substr(0, 3), "COM");
  return com ? port.substr(3) : port;
}

void PlanChecker::CheckPorts() {
  std::map<std::string, std::string> taken;
  std::size_t simulated = 0;
  for (const PlannedInstrument& planned : plan_.instruments) {
    simulated += planned.simulated() ? 1 : 0;
    if (planned.simulated() || planned.port.empty()) continue;
    const auto [other, is_new] = taken.emplace(CanonicalPort(planned.port), planned.name);
    if (!is_new) {
      Refuse(planned.line, "instruments." + planned.name + ".port",
             "port " + planned.port + " is taken by " + other->second + " already");
    }
  }
  if (simulated > 0 && simulated < plan_.instruments.size()) {
    Refuse(0, "instruments", "either every instrument is on port sim or none is: they share one world");
  }
}

void PlanChecker::CheckChannel(const ChannelRef& channel, const std::string& path, Use use) {
  if (!plan_.FindInstrument(channel.instrument)) {
    std::vector<std::string> names;
    for (const PlannedInstrument& planned : plan_.instruments) names.push_back(planned.name);
    const std::string meant = Closest(channel.instrument, names);
    return Refuse(channel.line, path,
                  "there is no instrument '" + channel.instrument + "'" +
                      (meant.empty() ? "" : "; did you mean \"" + meant + "\"?"));
  }
  const auto found = instruments_.find(channel.instrument);
  if (found == instruments_.end()) return;  // told already
  const auto id = FindChannel(*found->second, channel.channel);
  // Which channels there are is the instrument's to say for some models: the run asks it.
  if (!id && found->second->card().channels_in_instrument) return;
  if (!id) return Refuse(channel.line, path, id.error());
  std::int32_t direction = ChanIn;
  found->second->GetChanDir(*id, &direction);
  if (use == Use::kWrite && direction == ChanIn) Refuse(channel.line, path, "the channel cannot be set");
  if (use == Use::kRead && direction == ChanOut) Refuse(channel.line, path, "the channel cannot be read");
}

void PlanChecker::CheckChannels() {
  CheckChannel(plan_.source.channel, "source.set", Use::kWrite);
  if (plan_.source.actual) CheckChannel(*plan_.source.actual, "source.actual", Use::kRead);
  CheckChannel(plan_.reference.channel, "reference.channel", Use::kRead);
  const auto junction = [&](const SensorSpec& sensor, const std::string& path) {
    const auto made = WhyNoSensor(sensor);
    if (made) Refuse(sensor.line, path + ".sensor", *made);
    if (sensor.junction_channel) CheckChannel(*sensor.junction_channel, path + ".sensor.junction-channel", Use::kRead);
  };
  junction(plan_.reference.sensor, "reference");
  for (std::size_t k = 0; k < plan_.units.size(); ++k) {
    const std::string path = "units[" + std::to_string(k) + "]";
    CheckChannel(plan_.units[k].channel, path + ".channel", Use::kRead);
    junction(plan_.units[k].sensor, path);
  }
  if (plan_.ambient.temperature_channel) {
    CheckChannel(*plan_.ambient.temperature_channel, "ambient.temperature-channel", Use::kRead);
  }
}

// By what it is, not by how it is written.
bool SameChannel(const std::map<std::string, std::unique_ptr<Instrument>>& instruments, const ChannelRef& a,
                 const ChannelRef& b) {
  if (a == b) return true;
  const auto found = instruments.find(a.instrument);
  if (a.instrument != b.instrument || found == instruments.end()) return false;
  const auto one = FindChannel(*found->second, a.channel), other = FindChannel(*found->second, b.channel);
  return one && other && *one == *other;
}

void PlanChecker::CheckRoles() {
  if (plan_.units.empty()) Refuse(0, "units", "names no unit under test");
  std::set<std::string> names;
  for (std::size_t k = 0; k < plan_.units.size(); ++k) {
    const UnitPlan& unit = plan_.units[k];
    const std::string path = "units[" + std::to_string(k) + "]";
    if (!names.insert(unit.name).second)
      Refuse(unit.channel.line, path + ".name", "another unit has this name already");
    if (SameChannel(instruments_, unit.channel, plan_.reference.channel)) {
      Refuse(unit.channel.line, path + ".channel", "is the reference too");
    }
    if (SameChannel(instruments_, unit.channel, plan_.source.channel)) {
      Refuse(unit.channel.line, path + ".channel", "is the source's set point too");
    }
    for (std::size_t other = 0; other < k; ++other) {
      if (!SameChannel(instruments_, unit.channel, plan_.units[other].channel)) continue;
      Refuse(unit.channel.line, path + ".channel", "is that of units[" + std::to_string(other) + "] too");
    }
  }
  if (SameChannel(instruments_, plan_.reference.channel, plan_.source.channel)) {
    Refuse(plan_.reference.channel.line, "reference.channel", "is the source's set point too");
  }
}

void PlanChecker::CheckSource() {
  const SourcePlan& source = plan_.source;
  const int line = source.channel.line;
  if (!std::isfinite(source.min) || !std::isfinite(source.max)) {
    Refuse(line, "source", "needs \"min\" and \"max\": the values that it may be set to");
  }
  if (source.safe < source.min || source.safe > source.max) {
    Refuse(line, "source.safe", NumberText(source.safe) + " is outside the source's range");
  }
  if (source.rate <= 0 && !plan_.simulated()) {
    Warn(line, "source.rate", "is not given: the time table counts no time for the source's way");
  }
}

void PlanChecker::CheckPoint(const PlannedPoint& point) {
  const auto within = [&](const std::string& what, double min, double max) {
    if (point.value >= min && point.value <= max) return;
    Refuse(point.line, "points",
           NumberText(point.value) + " is outside " + what + ", " + NumberText(min) + " to " + NumberText(max));
  };
  within("the source's range", plan_.source.min, plan_.source.max);
  within("the reference's range", plan_.reference.min, plan_.reference.max);
  for (const UnitPlan& unit : plan_.units) within("the range of " + unit.name, unit.min, unit.max);
}

void PlanChecker::CheckPoints() {
  std::set<std::pair<int, double>> told;  // falling and repeated points are the same ones
  for (const PlannedPoint& point : plan_.points) {
    if (told.emplace(point.line, point.value).second) CheckPoint(point);
  }
  if (plan_.preload.count == 0) return;
  PlannedPoint preload;
  preload.value = plan_.preload.value;
  preload.line = plan_.points.empty() ? 0 : plan_.points.front().line;
  CheckPoint(preload);
}

void PlanChecker::CheckTimes() {
  std::set<int> told;
  for (const PlannedPoint& point : plan_.points) {
    const StabilityRule& rule = point.stability;
    if (!told.insert(point.line).second) continue;
    const auto refuse = [&](const std::string& message) { Refuse(point.line, "stability", message); };
    if (rule.spread <= 0 || rule.drift <= 0) refuse("spread and drift are to be above 0");
    if (rule.window / plan_.sampling < rule.min_samples) {
      refuse("a window of " + NumberText(rule.window) + " s holds fewer than " + std::to_string(rule.min_samples) +
             " samples, one every " + NumberText(plan_.sampling) + " s");
    } else if (plan_.sampling > rule.window / 10) {
      refuse("samples are more than a tenth of the window apart");
    }
    const double least = rule.window + point.dwell + point.readings.count * point.readings.period;
    if (least >= plan_.limits.point) {
      refuse("a point takes " + NumberText(least) + " s at least, and limits.point is " +
             NumberText(plan_.limits.point));
    }
  }
  std::set<Phase> phases;
  for (const Phase phase : plan_.phases) {
    if (!phases.insert(phase).second) Refuse(0, "phases", "names a phase twice");
  }
  if (plan_.phases.size() == 2 && plan_.phases.front() == Phase::kAsLeft) Refuse(0, "phases", "as-found comes first");
}

void PlanChecker::CheckBench() {
  if (plan_.bench.line > 0 && !plan_.simulated()) {
    Warn(plan_.bench.line, "bench", "is not used: the instruments are real ones");
  }
  for (std::size_t k = 0; k < plan_.bench.sensors.size(); ++k) {
    const BenchSensor& sensor = plan_.bench.sensors[k];
    ChannelRef channel{sensor.instrument, sensor.channel, sensor.line};
    CheckChannel(channel, "bench.sensors[" + std::to_string(k) + "].channel", Use::kRead);
    if (sensor.span_low >= sensor.span_high) {
      Refuse(sensor.line, "bench.sensors[" + std::to_string(k) + "].span", "is to rise");
    }
  }
}

void PlanChecker::CheckTerms() {
  for (std::size_t k = 0; k < plan_.uncertainty.size(); ++k) {
    const UncertaintyTerm& term = plan_.uncertainty[k];
    const bool known = term.unit_under_test.empty() ||
                       std::any_of(plan_.units.begin(), plan_.units.end(),
                                   [&](const UnitPlan& unit) { return unit.name == term.unit_under_test; });
    if (!known) {
      Refuse(term.line, "uncertainty[" + std::to_string(k) + "].unit",
             "there is no unit '" + term.unit_under_test + "'");
    }
  }
}

}  // namespace

std::vector<PlanProblem> CheckPlan(const Plan& plan) { return PlanChecker(plan).Check(); }

}  // namespace ulix::calibration
