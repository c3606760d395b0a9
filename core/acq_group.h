// One acquisition group: a timer thread that ticks at the period, and a scan thread that reads the group's channels and
// reports what changed.
#pragma once

#include <cstdint>
#include <memory>
#include <mutex>
#include <optional>
#include <vector>

#include "core/channel_table.h"
#include "core/events.h"
#include "core/group_events.h"
#include "core/group_settings.h"
#include "core/worker.h"
#include "drivers/driver.h"

namespace ulix {

// What the threads of a control share. Kept alive by whoever still works with it.
struct ControlState {
  ControlState(std::unique_ptr<Driver> instrument, Clock& time)
      : driver(std::move(instrument)), clock(time), channels(driver->card().channels) {}
  const std::unique_ptr<Driver> driver;
  Clock& clock;
  ChannelTable channels;
  EventSinks sinks;
};

// What a group's threads share with it.
class GroupState {
 public:
  explicit GroupState(std::uint32_t group_id) : id(group_id) {}
  const std::uint32_t id;

  GroupSettings Settings() const;
  void SetSettings(GroupSettings settings);  // a period below the shortest becomes the shortest

  bool IsMember(ChannelId channel) const;
  void SetMember(ChannelId channel, bool member);
  std::vector<ChannelId> Members() const;  // in the order of their ids

  // The next scan to begin reports whatever its values are.
  void ForceReport();
  // Whether the scan that begins at `now` reports in any case: it was asked to, or the silence has lasted too long.
  bool TakeReportDue(MonotonicTime now);
  void ForgetLastReport();
  void NoteReport(MonotonicTime now);

 private:
  mutable std::mutex mutex_;  // guards all below
  GroupSettings settings_;
  std::vector<ChannelId> members_;  // sorted: each scan takes them
  std::optional<MonotonicTime> last_report_;
  bool report_forced_ = false;
};

// The threads of one run, or of one immediate read (a scan thread alone).
class GroupRun {
 public:
  GroupRun(std::shared_ptr<ControlState> control, std::shared_ptr<GroupState> group);
  ~GroupRun() { End(); }
  GroupRun(const GroupRun&) = delete;
  GroupRun& operator=(const GroupRun&) = delete;

  void StartTimer();
  void StartScan();
  bool HasTimer() const;
  GroupEvents& events() { return *events_; }
  // What ends the threads: traces name it.
  enum class Ending { kStop, kImmediateRead };
  // Tells the threads to end and waits at most a second for each; one that does not come is left behind. At once inside
  // an event of this run. May be called again, by any thread.
  void End(Ending ending = Ending::kStop);

 private:
  void Finish(std::unique_ptr<Worker> worker, GroupEvent killed, const char* failure);
  std::shared_ptr<ControlState> control_;
  std::shared_ptr<GroupState> group_;
  std::shared_ptr<GroupEvents> events_;
  mutable std::mutex mutex_;
  std::unique_ptr<Worker> timer_;  // guarded by mutex_
  std::unique_ptr<Worker> scan_;   // guarded by mutex_
};

class AcqGroup {
 public:
  AcqGroup(std::uint32_t id, std::shared_ptr<ControlState> control);
  ~AcqGroup() { Stop(); }
  AcqGroup(const AcqGroup&) = delete;
  AcqGroup& operator=(const AcqGroup&) = delete;

  GroupState& state() { return *state_; }
  std::uint32_t id() const { return state_->id; }

  // Both threads; nothing when they run already. The first tick comes one period later.
  HRESULT Run();
  HRESULT Stop();
  // For a Stop that is to come: its threads end as soon as they can, and fire nothing more.
  void TellToEnd();
  bool IsRunning() const;
  // A running group scans as soon as it can and reports; the call does not wait. A stopped one is scanned once, and the
  // call waits for it: at most a second for the thread, one period for the scan, a second for the end.
  HRESULT ImmediateRead();

 private:
  std::shared_ptr<GroupRun> TakeRun();
  void ScanOnce(const std::shared_ptr<GroupRun>& run);
  std::shared_ptr<ControlState> control_;
  std::shared_ptr<GroupState> state_;
  mutable std::mutex mutex_;
  std::shared_ptr<GroupRun> run_;  // guarded by mutex_; null while stopped
};

// Tells the sinks of a failed connection or reading, where the model does so: DevError for a code of the control's own
// block, SysError for any other.
void FireFailure(const ControlState& control, HRESULT code);

// "InstrKelvo10::GrpID3::Stop: Unable to kill Scan Thread\n": a trace line of a control's group.
void TraceGroup(const ControlState& control, std::uint32_t group, const char* what);

}  // namespace ulix
