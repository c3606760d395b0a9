#include "calibration/plan_check.h"

#include <algorithm>
#include <cmath>
#include <map>
#include <memory>
#include <set>
#include <utility>

#include "base/nearest_word.h"
#include "calibration/instruments.h"
#include "calibration/json_reader.h"
#include "calibration/plan_sensor.h"
#include "calibration/planned_instrument.h"
#include "calibration/schedule.h"
#include "calibration/stability_rule.h"

namespace ulix::calibration {
namespace {

// The problem of a sensor, if it has one.
std::optional<Problem> WhyNoSensor(const SensorSpec& sensor) {
  if (sensor.type.empty()) return std::nullopt;
  const auto made = SensorOf(sensor);
  return made ? std::nullopt : std::optional(made.error());
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
  void Refuse(int line, const std::string& path, const BilingualText& message) {
    problems_.push_back({line, path, message, false});
  }
  void Warn(int line, const std::string& path, const BilingualText& message) {
    problems_.push_back({line, path, message, true});
  }

  void CheckInstruments();
  void CheckPorts();
  void CheckChannels();
  void CheckChannel(const ChannelRef& channel, const std::string& path, ChannelUse use);
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
  if (plan_.instruments.empty()) Refuse(0, "instruments", Bilingual(TextId::kPlanNoInstruments));
  for (const PlannedInstrument& planned : plan_.instruments) {
    if (auto made = CheckInstrument(planned, plan_.folder, problems_)) instruments_[planned.name] = std::move(made);
  }
}

void PlanChecker::CheckPorts() {
  calibration::CheckPorts(plan_.instruments, problems_);
  const auto simulated = static_cast<std::size_t>(std::count_if(
      plan_.instruments.begin(), plan_.instruments.end(), [](const PlannedInstrument& i) { return i.simulated(); }));
  if (simulated > 0 && simulated < plan_.instruments.size()) {
    Refuse(0, "instruments", Bilingual(TextId::kPlanOneWorld));
  }
}

void PlanChecker::CheckChannel(const ChannelRef& channel, const std::string& path, ChannelUse use) {
  if (!plan_.FindInstrument(channel.instrument)) {
    std::vector<std::string> names;
    for (const PlannedInstrument& planned : plan_.instruments) names.push_back(planned.name);
    return Refuse(channel.line, path,
                  Bilingual(TextId::kPlanNoInstrumentNamed, {channel.instrument}) +
                      DidYouMean(NearestWord(channel.instrument, names)));
  }
  const auto found = instruments_.find(channel.instrument);
  if (found == instruments_.end()) return;  // already reported
  calibration::CheckChannel(*found->second, channel.channel, use, channel.line, path, problems_);
}

void PlanChecker::CheckChannels() {
  CheckChannel(plan_.source.channel, "source.set", ChannelUse::kWrite);
  if (plan_.source.actual) CheckChannel(*plan_.source.actual, "source.actual", ChannelUse::kRead);
  CheckChannel(plan_.reference.channel, "reference.channel", ChannelUse::kRead);
  const auto junction = [&](const SensorSpec& sensor, const std::string& path) {
    const auto made = WhyNoSensor(sensor);
    if (made) Refuse(sensor.line, path + ".sensor", *made);
    if (sensor.junction_channel)
      CheckChannel(*sensor.junction_channel, path + ".sensor.junction-channel", ChannelUse::kRead);
  };
  junction(plan_.reference.sensor, "reference");
  for (std::size_t k = 0; k < plan_.units.size(); ++k) {
    const std::string path = "units[" + std::to_string(k) + "]";
    CheckChannel(plan_.units[k].channel, path + ".channel", ChannelUse::kRead);
    junction(plan_.units[k].sensor, path);
  }
  if (plan_.ambient.temperature_channel) {
    CheckChannel(*plan_.ambient.temperature_channel, "ambient.temperature-channel", ChannelUse::kRead);
  }
}

// Whether two texts name the same channel, by name or id.
bool SameChannel(const std::map<std::string, std::unique_ptr<Instrument>>& instruments, const ChannelRef& a,
                 const ChannelRef& b) {
  if (a == b) return true;
  const auto found = instruments.find(a.instrument);
  if (a.instrument != b.instrument || found == instruments.end()) return false;
  const auto one = FindChannel(*found->second, a.channel), other = FindChannel(*found->second, b.channel);
  return one && other && *one == *other;
}

void PlanChecker::CheckRoles() {
  if (plan_.units.empty()) Refuse(0, "units", Bilingual(TextId::kPlanNoUnits));
  std::set<std::string> names;
  for (std::size_t k = 0; k < plan_.units.size(); ++k) {
    const UnitPlan& unit = plan_.units[k];
    const std::string path = "units[" + std::to_string(k) + "]";
    if (!names.insert(unit.name).second) Refuse(unit.channel.line, path + ".name", Bilingual(TextId::kPlanNameTaken));
    if (SameChannel(instruments_, unit.channel, plan_.reference.channel)) {
      Refuse(unit.channel.line, path + ".channel", Bilingual(TextId::kPlanIsReference));
    }
    if (SameChannel(instruments_, unit.channel, plan_.source.channel)) {
      Refuse(unit.channel.line, path + ".channel", Bilingual(TextId::kPlanIsSetPoint));
    }
    for (std::size_t other = 0; other < k; ++other) {
      if (!SameChannel(instruments_, unit.channel, plan_.units[other].channel)) continue;
      Refuse(unit.channel.line, path + ".channel", Bilingual(TextId::kPlanIsUnit, {std::to_string(other)}));
    }
  }
  if (SameChannel(instruments_, plan_.reference.channel, plan_.source.channel)) {
    Refuse(plan_.reference.channel.line, "reference.channel", Bilingual(TextId::kPlanIsSetPoint));
  }
}

void PlanChecker::CheckSource() {
  const SourcePlan& source = plan_.source;
  const int line = source.channel.line;
  if (!std::isfinite(source.min) || !std::isfinite(source.max)) {
    Refuse(line, "source", Bilingual(TextId::kPlanNeedsRange));
  }
  if (source.safe < source.min || source.safe > source.max) {
    Refuse(line, "source.safe", Bilingual(TextId::kPlanSafeOutside, {NumberText(source.safe)}));
  }
  if (source.rate <= 0 && !plan_.simulated()) {
    Warn(line, "source.rate", Bilingual(TextId::kPlanNoRate));
  }
}

void PlanChecker::CheckPoint(const PlannedPoint& point) {
  const auto within = [&](const BilingualText& what, double min, double max) {
    if (point.value >= min && point.value <= max) return;
    Refuse(point.line, "points",
           Bilingual(TextId::kPlanOutside, {NumberText(point.value), what, NumberText(min), NumberText(max)}));
  };
  within(Bilingual(TextId::kPlanSourceRange), plan_.source.min, plan_.source.max);
  within(Bilingual(TextId::kPlanReferenceRange), plan_.reference.min, plan_.reference.max);
  for (const UnitPlan& unit : plan_.units) within(Bilingual(TextId::kPlanUnitRange, {unit.name}), unit.min, unit.max);
}

void PlanChecker::CheckPoints() {
  // Each point is reported once, although falling and repeated points have it again.
  std::set<std::pair<int, double>> checked;
  for (const PlannedPoint& point : plan_.points) {
    if (checked.emplace(point.line, point.value).second) CheckPoint(point);
  }
  if (plan_.preload.count == 0) return;
  PlannedPoint preload;
  preload.value = plan_.preload.value;
  preload.line = plan_.points.empty() ? 0 : plan_.points.front().line;
  CheckPoint(preload);
}

void PlanChecker::CheckTimes() {
  std::set<int> checked;
  for (const PlannedPoint& point : plan_.points) {
    const StabilityRule& rule = point.stability;
    if (!checked.insert(point.line).second) continue;
    const auto refuse = [&](const BilingualText& message) { Refuse(point.line, "stability", message); };
    if (rule.spread <= 0 || rule.drift <= 0) refuse(Bilingual(TextId::kPlanZeroLimits));
    if (const auto sparse = WhyWindowIsSparse(rule.window, plan_.sampling, rule.min_samples)) refuse(*sparse);
    const double shortest = rule.window + point.dwell + point.readings.count * point.readings.period;
    if (shortest >= plan_.limits.point) {
      refuse(Bilingual(TextId::kPlanPointTooLong, {NumberText(shortest), NumberText(plan_.limits.point)}));
    }
  }
  std::set<Phase> phases;
  for (const Phase phase : plan_.phases) {
    if (!phases.insert(phase).second) Refuse(0, "phases", Bilingual(TextId::kPlanPhaseTwice));
  }
  if (plan_.phases.size() == 2 && plan_.phases.front() == Phase::kAsLeft)
    Refuse(0, "phases", Bilingual(TextId::kPlanAsFoundFirst));
  if (plan_.phases.empty()) Refuse(0, "phases", Bilingual(TextId::kPlanNoPhase));
  const double run = TimeTableOf(plan_).run_seconds;
  if (run <= plan_.limits.run) return;
  Warn(0, "limits.run",
       Bilingual(TextId::kPlanRunTooShort, {NumberText(std::ceil(run)), NumberText(plan_.limits.run)}));
}

void PlanChecker::CheckBench() {
  if (plan_.bench.line > 0 && !plan_.simulated()) {
    Warn(plan_.bench.line, "bench", Bilingual(TextId::kPlanBenchUnused));
  }
  for (std::size_t k = 0; k < plan_.bench.sensors.size(); ++k) {
    const BenchSensor& sensor = plan_.bench.sensors[k];
    ChannelRef channel{sensor.instrument, sensor.channel, sensor.line};
    CheckChannel(channel, "bench.sensors[" + std::to_string(k) + "].channel", ChannelUse::kRead);
    if (sensor.span_low >= sensor.span_high) {
      Refuse(sensor.line, "bench.sensors[" + std::to_string(k) + "].span", Bilingual(TextId::kPlanSpanFalls));
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
             Bilingual(TextId::kPlanNoUnitNamed, {term.unit_under_test}));
    }
  }
  const bool decides =
      std::any_of(plan_.units.begin(), plan_.units.end(), [](const UnitPlan& u) { return u.tolerance > 0; });
  if (plan_.decision.rule != DecisionRule::kNone && !decides && !plan_.units.empty()) {
    Refuse(0, "decision", Bilingual(TextId::kPlanNoTolerance));
  }
}

}  // namespace

std::vector<PlanProblem> CheckPlan(const Plan& plan) { return PlanChecker(plan).Check(); }

}  // namespace ulix::calibration
