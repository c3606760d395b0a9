#include "core/acq_group.h"

#include <algorithm>
#include <string>
#include <utility>

#include "base/trace.h"
#include "core/group_threads.h"
#include "core/reporting.h"

namespace ulix {
namespace {

constexpr Milliseconds kHandshake{1000};

}  // namespace

void TraceGroup(const ControlState& control, std::uint32_t group, const char* what) {
  TraceLine(std::string("Instr") + control.driver->card().class_name + "::GrpID" + std::to_string(group) + "::" + what +
            "\n");
}

void FireFailure(const ControlState& control, HRESULT code) {
  const ModelCard& card = control.driver->card();
  if (!card.fires_errors) return;
  control.sinks.Fire(IsOwnCode(card, code) ? &EventSink::DevError : &EventSink::SysError, code);
}

GroupSettings GroupState::Settings() const {
  const std::lock_guard lock(mutex_);
  return settings_;
}

void GroupState::SetSettings(GroupSettings settings) {
  settings.period_ms = std::max(settings.period_ms, kShortestPeriodMs);
  const std::lock_guard lock(mutex_);
  settings_ = settings;
}

bool GroupState::IsMember(ChannelId channel) const {
  const std::lock_guard lock(mutex_);
  return std::ranges::binary_search(members_, channel);
}

void GroupState::SetMember(ChannelId channel, bool member) {
  const std::lock_guard lock(mutex_);
  const auto at = std::ranges::lower_bound(members_, channel);
  const bool was = at != members_.end() && *at == channel;
  if (member && !was) members_.insert(at, channel);
  if (!member && was) members_.erase(at);
}

std::vector<ChannelId> GroupState::Members() const {
  const std::lock_guard lock(mutex_);
  return members_;
}

void GroupState::ForceReport() {
  const std::lock_guard lock(mutex_);
  report_forced_ = true;
}

bool GroupState::TakeReportDue(MonotonicTime now) {
  const std::lock_guard lock(mutex_);
  std::optional<Milliseconds> silence;
  if (last_report_) silence = std::chrono::duration_cast<Milliseconds>(now - *last_report_);
  return std::exchange(report_forced_, false) || ReportIntervalIsOver(silence, settings_.dead_time_max_s);
}

void GroupState::ForgetLastReport() {
  const std::lock_guard lock(mutex_);
  last_report_.reset();
}

void GroupState::NoteReport(MonotonicTime now) {
  const std::lock_guard lock(mutex_);
  last_report_ = now;
}

GroupRun::GroupRun(std::shared_ptr<ControlState> control, std::shared_ptr<GroupState> group)
    : control_(std::move(control)), group_(std::move(group)), events_(std::make_shared<GroupEvents>(control_->clock)) {}

void GroupRun::StartTimer() {
  const std::lock_guard lock(mutex_);
  timer_ =
      std::make_unique<Worker>([control = control_, group = group_, events = events_, start = control_->clock.Now()] {
        TimerThreadProc(*control, *group, *events, start);
      });
}

void GroupRun::StartScan() {
  const std::lock_guard lock(mutex_);
  scan_ = std::make_unique<Worker>(
      [control = control_, group = group_, events = events_] { ScanThreadProc(*control, *group, *events); });
}

bool GroupRun::HasTimer() const {
  const std::lock_guard lock(mutex_);
  return timer_ != nullptr;
}

void GroupRun::End(Ending ending) {
  std::unique_ptr<Worker> timer, scan;
  {
    const std::lock_guard lock(mutex_);
    timer = std::move(timer_);
    scan = std::move(scan_);
  }
  if (timer) {
    events_->Set(KillTimer);
    events_->Reset(TimeToScan);
    Finish(std::move(timer), TimerKilled, "Stop: Unable to kill Timer Thread");
    events_->Reset(TimeToScan);  // a tick that raced in is dropped
  }
  if (scan) {
    events_->Set(KillScan);
    Finish(std::move(scan), ScanKilled,
           ending == Ending::kStop ? "Stop: Unable to kill Scan Thread" : "ImmediateRead: Unable to kill Scan Thread");
  }
}

void GroupRun::Finish(std::unique_ptr<Worker> worker, GroupEvent killed, const char* failure) {
  if (worker->IsCaller()) return worker->LeaveBehind();
  if (events_->Wait(killed, Deadline::In(control_->clock, kHandshake))) return worker->Join();
  TraceGroup(*control_, group_->id, failure);
  worker->LeaveBehind();
}

AcqGroup::AcqGroup(std::uint32_t id, std::shared_ptr<ControlState> control)
    : control_(std::move(control)), state_(std::make_shared<GroupState>(id)) {}

HRESULT AcqGroup::Run() {
  const std::lock_guard lock(mutex_);
  if (run_ && run_->HasTimer()) return S_OK;
  auto run = std::make_shared<GroupRun>(control_, state_);
  run->StartTimer();
  run->StartScan();
  run_ = std::move(run);
  return S_OK;
}

std::shared_ptr<GroupRun> AcqGroup::TakeRun() {
  const std::lock_guard lock(mutex_);
  return std::exchange(run_, nullptr);
}

// No lock is held while the threads end: their events may call this group.
HRESULT AcqGroup::Stop() {
  if (const auto run = TakeRun()) run->End();
  return S_OK;
}

void AcqGroup::TellToEnd() {
  const std::lock_guard lock(mutex_);
  if (!run_) return;
  run_->events().Set(KillTimer);
  run_->events().Set(KillScan);
}

bool AcqGroup::IsRunning() const {
  const std::lock_guard lock(mutex_);
  return run_ && run_->HasTimer();
}

HRESULT AcqGroup::ImmediateRead() {
  std::shared_ptr<GroupRun> run;
  {
    const std::lock_guard lock(mutex_);
    if (run_) {
      state_->ForceReport();
      run_->events().Set(TimeToScan);
      return S_OK;
    }
    run = std::make_shared<GroupRun>(control_, state_);
    run->StartScan();
    run_ = run;
  }
  ScanOnce(run);
  {
    const std::lock_guard lock(mutex_);
    if (run_ == run) run_.reset();
  }
  run->End(GroupRun::Ending::kImmediateRead);
  return S_OK;
}

void AcqGroup::ScanOnce(const std::shared_ptr<GroupRun>& run) {
  GroupEvents& events = run->events();
  Clock& clock = control_->clock;
  if (!events.Wait(ScanCreated | ScanKilled, Deadline::In(clock, kHandshake))) {
    TraceGroup(*control_, id(), "ImmediateRead: Scanning Not Created");
  }
  events.Set(TimeToScan);
  const Milliseconds period{state_->Settings().period_ms};
  if (!events.Wait(ScanDone | ScanKilled, Deadline::In(clock, period))) {
    TraceGroup(*control_, id(), "ImmediateRead: No Scanning done");
  }
}

}  // namespace ulix
