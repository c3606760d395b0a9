// The time of a run, its journal, and the reports to its observer.
#include <algorithm>
#include <cmath>
#include <utility>

#include "calibration/run_journal.h"
#include "calibration/runner.h"
#include "platform/mutex.h"

namespace ulix::calibration {
namespace {

constexpr double kGlanceSeconds = 0.25;  // period of the checks whether to stop
constexpr double kTick = 0.001;          // resolution of times in the journal

double Milli(double seconds) { return std::round(seconds * 1000) / 1000; }

}  // namespace

double Runner::Now() const {
  return Milli(offset_ + std::chrono::duration<double>(services_.clock->Now() - began_).count());
}

Json Runner::Stamped(const std::string& kind, Json fields) const {
  Json entry{{"k", kind}, {"t", Now()}, {"at", IsoTime(services_.clock->LocalTime())}};
  for (auto& [key, value] : fields.items()) entry[key] = std::move(value);
  return entry;
}

// The time of the run continues where the journal ends. The time of the interruption does not count for any limit.
void Runner::CaughtUp() {
  status_.catching_up = false;
  if (services_.simulated) {
    if (services_.hurry) services_.hurry(false);
    return;
  }
  offset_ = recorder_.last_seconds() + kTick;
  began_ = services_.clock->Now();
}

Runner::Entries Runner::Note(const std::string& kind, Json fields, bool sync) {
  return recorder_.Do(
      kind, 1, [&] { return Entries{Stamped(kind, std::move(fields))}; }, sync);
}

void Runner::WaitUntil(double seconds) {
  if (!recorder_.acts()) return CheckStop();
  platform::Mutex mutex;
  platform::ConditionVariable never;
  std::unique_lock lock(mutex);
  const auto moment = [&](double at) {
    return began_ + std::chrono::duration_cast<MonotonicTime::duration>(std::chrono::duration<double>(at - offset_));
  };
  const MonotonicTime end = moment(seconds);
  CheckStop();
  while (services_.clock->Now() < end) {
    services_.clock->WaitUntil(lock, never, std::min(end, moment(Now() + kGlanceSeconds)));
    if (!recorder_.catching_up()) CheckStop();
  }
}

// Waits until this time of the run without reading channels.
void Runner::PassTo(double seconds) {
  const double left = seconds - Now();
  if (left > 0) services_.clock->SleepFor(Milliseconds(std::llround(left * 1000)));
}

void Runner::CheckStop() {
  if (recorder_.next_kind() == "stop") {
    if (recorder_.acts()) PassTo(recorder_.next().at("t"));
    StopNow(TextIn(recorder_.next(), "why"));
  }
  const bool asked = !recorder_.catching_up() && services_.stop && *services_.stop;
  if (asked) StopNow(Bilingual(TextId::kRunInterrupted));
}

void Runner::StopNow(const BilingualText& why) {
  Json fields;
  PutText(fields, "why", why);
  Note("stop", std::move(fields));
  throw RunStopped{why};
}

void Runner::Summarize() {
  PointSummary summary{
      .phase = status_.phase, .index = status_.point, .nominal = point().value, .direction = point().direction};
  summary.reference = SeriesOf(taken_[kReference]).mean;
  for (std::size_t k = 1; k <= plan_.units.size(); ++k) summary.indications.push_back(SeriesOf(taken_[k]).mean);
  if (services_.observer) services_.observer->OnPoint(summary);
}

void Runner::Tell(Activity activity) {
  status_.activity = activity;
  status_.state = state_;
  if (!services_.observer) return;
  status_.seconds = recorder_.last_seconds();
  status_.time = services_.clock->LocalTime();
  status_.catching_up = recorder_.catching_up();
  status_.channels.resize(plan_.units.size() + 1);
  double left = 0;
  for (std::size_t k = 0; k <= plan_.units.size(); ++k) {
    const StabilityReport& report = slots_[k].detector.report();
    status_.channels[k] = {RoleOf(slots_[k]).In(services_.language), slots_[k].value, slots_[k].error, report};
    left = std::max(left, report.seconds_left.value_or(0));
  }
  const bool on_point = status_.point < schedule_.size() && phase_ < plan_.phases.size();
  if (on_point) {
    const double read = point().readings.count * point().readings.period;
    const bool waiting = state_ == StabilityState::kWaiting;
    const double planned = std::max(0.0, schedule_[status_.point] - (status_.seconds - point_began_));
    status_.point_seconds_left = waiting ? planned : left + read + (left > 0 ? point().dwell : 0);
    if (activity == Activity::kReading) {
      const auto rest = static_cast<double>(status_.readings_wanted - status_.readings_done);
      status_.point_seconds_left = read * rest / std::max(1.0, static_cast<double>(status_.readings_wanted));
    }
    double run = *status_.point_seconds_left;
    for (std::size_t k = status_.point + 1; k < schedule_.size(); ++k) run += schedule_[k];
    double phase = 0;
    for (const double seconds : schedule_) phase += seconds;
    status_.run_seconds_left = run + phase * static_cast<double>(plan_.phases.size() - phase_ - 1);
  }
  services_.observer->OnStatus(status_);
}

}  // namespace ulix::calibration
