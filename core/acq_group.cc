#include "core/acq_group.h"

#include <algorithm>
#include <array>
#include <cstdio>
#include <utility>

#include "base/trace.h"
#include "core/group_threads.h"
#include "core/reporting.h"

namespace ulix {
namespace {

constexpr Milliseconds kHandshake{1000};

}  // namespace

void TraceGroup(const ControlState& control, std::uint32_t group, const char* what) noexcept {
  std::array<char, 160> line{};
  const int length = std::snprintf(line.data(), line.size(), "Instr%s::GrpID%lu::%s\n",
                                   control.driver->card().class_name, static_cast<unsigned long>(group), what);
  TraceLine({line.data(), std::min(static_cast<std::size_t>(length), line.size() - 1)});
}

void FireError(const ControlState& control, HRESULT code) {
  const bool own = IsOwnCode(control.driver->card(), code);
  control.sinks.Fire(own ? &EventSink::DevError : &EventSink::SysError, code);
}

void FireFailure(const ControlState& control, HRESULT code) {
  if (control.driver->card().fires_errors) FireError(control, code);
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

void GroupState::GetMembers(std::vector<ChannelId>* members) const {
  const std::lock_guard lock(mutex_);
  members->assign(members_.begin(), members_.end());
}

RunState::RunState(Clock& clock, std::size_t channels) : events(clock), last_reported(channels, 0.0F) {
  scanned.reserve(channels);
  arrays.reserve(channels);
}

void RunState::ForceReport() {
  const std::lock_guard lock(mutex_);
  report_forced_ = true;
}

bool RunState::TakeReportDue(MonotonicTime now, std::uint32_t dead_time_max_s) {
  const std::lock_guard lock(mutex_);
  std::optional<Milliseconds> interval;
  if (last_report_) interval = std::chrono::duration_cast<Milliseconds>(now - *last_report_);
  return std::exchange(report_forced_, false) || ReportIntervalIsOver(interval, dead_time_max_s);
}

void RunState::NoteReport(MonotonicTime now) {
  const std::lock_guard lock(mutex_);
  last_report_ = now;
}

GroupRun::GroupRun(std::shared_ptr<ControlState> control, std::shared_ptr<GroupState> group)
    : control_(std::move(control)),
      group_(std::move(group)),
      state_(std::make_shared<RunState>(control_->clock, control_->channels.size())) {}

void GroupRun::StartTimer() {
  const std::lock_guard lock(mutex_);
  timer_ = std::make_unique<Worker>([control = control_, group = group_, run = state_, start = control_->clock.Now()] {
    TimerThreadProc(*control, *group, run->events, start);
  });
}

void GroupRun::StartScan() {
  const std::lock_guard lock(mutex_);
  scan_ = std::make_unique<Worker>(
      [control = control_, group = group_, run = state_] { ScanThreadProc(*control, *group, *run); });
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
    state_->events.Set(KillTimer);
    state_->events.Reset(TimeToScan);
    Finish(std::move(timer), TimerKilled, "Stop: Unable to kill Timer Thread");
    state_->events.Reset(TimeToScan);  // A tick that came meanwhile is dropped.
  }
  if (scan) {
    state_->events.Set(KillScan);
    Finish(std::move(scan), ScanKilled,
           ending == Ending::kStop ? "Stop: Unable to kill Scan Thread" : "ImmediateRead: Unable to kill Scan Thread");
  }
}

void GroupRun::Finish(std::unique_ptr<Worker> worker, GroupEvent killed, const char* failure) {
  if (worker->IsCaller()) return worker->LeaveBehind();
  if (state_->events.Wait(killed, Deadline::In(control_->clock, kHandshake))) return worker->Join();
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
  run_->state().events.Set(KillTimer);
  run_->state().events.Set(KillScan);
}

bool AcqGroup::IsRunning() const {
  const std::lock_guard lock(mutex_);
  return run_ && run_->HasTimer();
}

bool AcqGroup::IsActive() const {
  const std::lock_guard lock(mutex_);
  return run_ != nullptr;
}

HRESULT AcqGroup::ImmediateRead() {
  std::shared_ptr<GroupRun> run;
  {
    const std::lock_guard lock(mutex_);
    if (run_) {
      run_->state().ForceReport();
      run_->state().events.Set(TimeToScan);
      return S_OK;
    }
    run = std::make_shared<GroupRun>(control_, state_);
    run->StartScan();
    run_ = run;
  }
  ScanOnce(run->state().events);
  {
    const std::lock_guard lock(mutex_);
    if (run_ == run) run_.reset();
  }
  run->End(GroupRun::Ending::kImmediateRead);
  return S_OK;
}

void AcqGroup::ScanOnce(GroupEvents& events) {
  Clock& clock = control_->clock;
  // A thread that cannot open the link ends without setting ScanCreated.
  if (!(events.Wait(ScanCreated | ScanKilled, Deadline::In(clock, kHandshake)) & ScanCreated)) {
    TraceGroup(*control_, id(), "ImmediateRead: Scanning Not Created");
  }
  events.Set(TimeToScan);
  const Milliseconds period{state_->Settings().period_ms};
  if (!(events.Wait(ScanDone | ScanKilled, Deadline::In(clock, period)) & ScanDone)) {
    TraceGroup(*control_, id(), "ImmediateRead: No Scanning done");
  }
}

}  // namespace ulix
