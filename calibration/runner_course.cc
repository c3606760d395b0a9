// The course of a run: phases, points, stability, readings.
#include <algorithm>
#include <cmath>
#include <utility>

#include "calibration/json_reader.h"
#include "calibration/plan_sensor.h"
#include "calibration/runner.h"
#include "calibration/schedule.h"

namespace ulix::calibration {
namespace {

// Measures for how long a condition has held without a break.
class Holding {
 public:
  void Note(bool holds, double now) {
    if (!holds || !holds_) since_ = now;
    holds_ = holds;
    now_ = now;
  }
  bool holds() const { return holds_; }
  bool For(double seconds) const { return holds_ && now_ - since_ >= seconds; }

 private:
  bool holds_ = false;
  double since_ = 0;  // in seconds of the run
  double now_ = 0;
};

}  // namespace

double ResolutionAt(const Slot& slot, double value) {
  if (slot.resolution > 0) return slot.resolution;
  return StepInPlanUnit(slot.sensor, slot.scale, slot.step, slot.unit, value);
}

void Runner::PrepareDetectors(const PlannedPoint& to) {
  const StabilityRule& rule = to.stability;
  for (std::size_t k = 0; k <= plan_.units.size(); ++k) {
    StabilityLimits limits{.window = rule.window,
                           .spread = rule.spread,
                           .drift = rule.drift,
                           .min_samples = rule.min_samples,
                           .resolution = ResolutionAt(slots_[k], to.value)};
    if (k == kReference) {
      limits.target = to.value;
      limits.near = plan_.source.near;
    } else {
      if (rule.unit_spread > 0) limits.spread = rule.unit_spread;
      if (rule.unit_drift > 0) limits.drift = rule.unit_drift;
    }
    slots_[k].detector = StabilityDetector(limits);
  }
  state_ = StabilityState::kWaiting;
}

// The state of that channel, among reference and units, which is furthest from being stable.
StabilityState Runner::WorstState() {
  constexpr int kRank[] = {0, 1, 3, 4, 2};  // waiting, near, settling, stable, lost
  StabilityState worst = StabilityState::kStable;
  for (std::size_t k = 0; k <= plan_.units.size(); ++k) {
    const StabilityState state = slots_[k].detector.report().state;
    if (kRank[static_cast<std::size_t>(state)] < kRank[static_cast<std::size_t>(worst)]) worst = state;
  }
  return worst;
}

Json WindowOf(const std::vector<Slot>& slots, std::size_t count) {
  Json windows = Json::array();
  for (std::size_t k = 0; k < count; ++k) {
    const StabilityReport& report = slots[k].detector.report();
    windows.push_back({report.spread, report.drift, report.spread_limit, report.drift_limit});
  }
  return windows;
}

void Runner::NoteState(StabilityState state) {
  if (state == state_) return;
  state_ = state;
  Note("state", {{"p", status_.point}, {"is", NameOf(state)}, {"w", WindowOf(slots_, plan_.units.size() + 1)}}, false);
}

void Runner::CheckLimits() {
  const double now = recorder_.last_seconds();
  if (now > plan_.limits.run) StopNow(Bilingual(TextId::kRunTooLong, {NumberText(plan_.limits.run)}));
  if (now - point_began_ <= plan_.limits.point) return;
  const Slot* slow = nullptr;
  for (std::size_t k = 0; k <= plan_.units.size() && !slow; ++k) {
    if (slots_[k].detector.report().state != StabilityState::kStable) slow = &slots_[k];
  }
  const std::string value = NumberText(point().value), limit = NumberText(plan_.limits.point);
  if (!slow) StopNow(Bilingual(TextId::kRunPointTooLong, {value, plan_.unit, limit}));
  StopNow(Bilingual(TextId::kRunPointTooLongState,
                    {value, plan_.unit, limit, RoleOf(*slow), Bilingual(TextOf(slow->detector.report().state))}));
}

// Waits until reference and units have been stable for the dwell of the point.
void Runner::Approach() {
  Holding stable;
  for (;;) {
    WaitUntil(next_scan_);
    next_scan_ = std::max(next_scan_ + plan_.sampling, recorder_.last_seconds());
    ReadAll();
    const StabilityState state = WorstState();
    NoteState(state);
    stable.Note(state == StabilityState::kStable, recorder_.last_seconds());
    if (stable.For(point().dwell)) return;
    Tell(stable.holds() ? Activity::kDwelling : Activity::kApproaching);
    CheckLimits();
  }
}

// Reads the point. Whether all channels stayed stable meanwhile.
bool Runner::ReadPoint() {
  const ReadingRule& rule = point().readings;
  const bool twice = rule.order == ReadingOrder::kReferenceFirstAndLast;
  const auto rounds = static_cast<std::size_t>(twice ? (rule.count + 1) / 2 : rule.count);
  Note("reading",
       {{"p", status_.point}, {"attempt", status_.attempt}, {"w", WindowOf(slots_, plan_.units.size() + 1)}});
  taken_.assign(slots_.size(), {});
  status_.readings_wanted = rounds;
  double next = recorder_.last_seconds();
  for (std::size_t round = 0; round < rounds; ++round) {
    status_.readings_done = round;
    WaitUntil(next);
    next += twice ? 2 * rule.period : rule.period;
    ReadRound();
    Tell(Activity::kReading);
    const StabilityState state = WorstState();
    NoteState(state);
    if (state != StabilityState::kStable) return false;
    CheckLimits();
  }
  next_scan_ = next;
  return true;
}

void Runner::TakePoint() {
  status_.attempt = 1;
  status_.nominal = point().value;
  point_began_ = recorder_.last_seconds();
  Note("point", {{"p", status_.point},
                 {"value", point().value},
                 {"dir", point().direction == Direction::kRising ? "rising" : "falling"},
                 {"cycle", point().cycle}});
  CheckLimits();
  SetSource(point().value);
  PrepareDetectors(point());
  next_scan_ = recorder_.last_seconds() + plan_.sampling;
  for (;;) {
    status_.readings_done = status_.readings_wanted = 0;
    Approach();
    if (ReadPoint()) break;
    if (status_.attempt > plan_.limits.repeats) {
      StopNow(
          Bilingual(TextId::kRunUnstable, {NumberText(point().value), plan_.unit, std::to_string(status_.attempt)}));
    }
    Note("repeat", {{"p", status_.point}, {"attempt", status_.attempt}, {"why", "stability was lost"}});
    Message(Bilingual(TextId::kRunReadAgain, {NumberText(point().value), plan_.unit}));
    ++status_.attempt;
  }
  Note("taken", {{"p", status_.point}, {"attempt", status_.attempt}});
  Summarize();
}

// Sets the source, and waits until the reference is near and then for the dwell.
void Runner::GoTo(double value, double dwell, const PlannedPoint& like) {
  PlannedPoint target = like;
  target.value = status_.nominal = value;
  SetSource(value);
  PrepareDetectors(target);
  Holding near;
  for (;;) {
    WaitUntil(next_scan_ = std::max(next_scan_, recorder_.last_seconds()) + plan_.sampling);
    ReadAll();
    Tell(Activity::kPreloading);
    const auto& reference = slots_[kReference].value;
    near.Note(reference && std::abs(*reference - value) <= plan_.source.near, recorder_.last_seconds());
    if (near.For(dwell)) return;
    CheckLimits();
  }
}

void Runner::Preload() {
  for (int k = 1; k <= plan_.preload.count; ++k) {
    point_began_ = recorder_.last_seconds();
    Note("preload", {{"number", k}, {"value", plan_.preload.value}});
    GoTo(plan_.preload.value, plan_.preload.dwell, plan_.points.front());
    GoTo(plan_.points.front().value, plan_.preload.dwell, plan_.points.front());
  }
}

void Runner::ReadAmbient() {
  Json fields{{"phase", status_.phase == Phase::kAsFound ? "as-found" : "as-left"}};
  const AmbientPlan& ambient = plan_.ambient;
  if (ambient.temperature) fields["temperature"] = *ambient.temperature;
  if (ambient.humidity) fields["humidity"] = *ambient.humidity;
  if (ambient.pressure) fields["pressure"] = *ambient.pressure;
  const auto act = [&]() -> Entries {
    if (ambient.temperature_channel) {
      Station& station = StationOf(*ambient.temperature_channel);
      const auto channel = FindChannel(station.instrument(), ambient.temperature_channel->channel);
      const StationReading reading = channel ? station.Read(*channel) : StationReading();
      if (reading.value) fields["temperature"] = *reading.value;
    }
    return {Stamped("ambient", fields)};
  };
  recorder_.Do("ambient", 1, act);
}

void Runner::TakePhase() {
  status_.phase = plan_.phases[phase_];
  if (!phase_began_) {
    status_.point = 0;
    Note("phase", {{"phase", status_.phase == Phase::kAsFound ? "as-found" : "as-left"}});
    ReadAmbient();
    phase_began_ = true;
  }
  if (status_.point == 0) Preload();
  for (; status_.point < plan_.points.size(); ++status_.point) {
    CheckStop();
    TakePoint();
  }
  ReadAmbient();
  Note("phase-end", {});
  phase_began_ = false;
  ++phase_;
}

// Between the phases "as found" and "as left" a person adjusts the units. Meanwhile the source has its safe value.
bool Runner::AwaitAdjustment() {
  if (phase_ == 0 || phase_ >= plan_.phases.size() || adjusted_) return true;
  Tell(Activity::kAdjusting);
  bool done = adjustment_was_asked_ || services_.simulated;
  if (recorder_.catching_up())
    done = recorder_.next_kind() == "adjusted";
  else if (!done)
    done = services_.confirm_adjustment && services_.confirm_adjustment();
  if (!done) {
    adjustment_was_asked_ = true;
    StopNow(Bilingual(TextId::kRunAdjustThen));
  }
  const auto act = [&]() -> Entries {
    if (services_.adjust) services_.adjust();
    return {Stamped("adjusted", Json::object())};
  };
  recorder_.Do("adjusted", 1, act);
  return adjusted_ = true;
}

void Runner::TakePhases() {
  while (phase_ < plan_.phases.size()) {
    if (phase_ > 0 && !adjusted_) {
      // No person is asked to touch the units while the source may be hot.
      if (const BilingualText refusal = LeaveSafe(); !refusal.empty()) StopNow(refusal);
    }
    AwaitAdjustment();
    TakePhase();
  }
}

RunEnd EndedEarly(const BilingualText& why, const BilingualText& unsafe) {
  RunEnd end{RunEnd::kEndedEarly, why, unsafe.empty()};
  end.unsafe_reason = unsafe;
  return end;
}

// Ends the run and sets the source to its safe value, without a line in the journal.
RunEnd Runner::EndWithoutJournal(const BilingualText& why) {
  if (!source_was_set_ || !recorder_.acts()) return EndedEarly(why, {});
  const BilingualText refusal = SendSafeValue();
  return EndedEarly(why, refusal.empty() ? refusal : Bilingual(TextId::kRunSafeRefused, {refusal}));
}

RunEnd Runner::Run() {
  RunEnd end{RunEnd::kEndedEarly, {}, true};
  try {
    recorder_.Do("run", 1, [&] { return Entries{Stamped("run", header_)}; });
    for (;;) {
      try {
        if (!connected_) ConnectAll();
        TakePhases();
        const BilingualText refusal = LeaveSafe();
        Note("end", {{"why", "complete"}});
        end = EndedEarly({}, refusal);
        end.kind = RunEnd::kComplete;
        break;
      } catch (const RunRestarted&) {
        connected_ = false;
      } catch (const RunStopped& stopped) {
        end = EndedEarly(stopped.why, LeaveSafe());
        CloseAll();
        if (!recorder_.Resumed()) break;
        end = {RunEnd::kEndedEarly, {}, true};
      }
    }
  } catch (const RunRestarted&) {
    // The last step in the journal is one of leaving the source safe, so nothing else is to do.
    end.reason = Bilingual(TextId::kRunEndedLeavingSafe);
  } catch (const JournalFailed& failure) {
    end = EndWithoutJournal(failure.why);
  } catch (const std::exception& failure) {
    end = EndWithoutJournal(failure.what());
  }
  CloseAll();
  Tell(Activity::kFinished);
  end.was_set = source_was_set_;
  return end;
}

}  // namespace ulix::calibration
