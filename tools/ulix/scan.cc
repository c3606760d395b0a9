#include "tools/ulix/scan.h"

#include <algorithm>
#include <chrono>
#include <deque>
#include <mutex>
#include <utility>

#include "platform/clock.h"
#include "platform/mutex.h"
#include "tools/ulix/failures.h"
#include "tools/ulix/interrupt.h"

namespace ulix::cli {
namespace {

// While no report comes, the end of the scan is checked at this interval.
constexpr std::chrono::milliseconds kGlance{50};
// ReadOnce waits at least this long for its one scan, longer when the user allows longer exchanges.
constexpr std::uint32_t kReadTimeMs = 60000;

// Passes reports from the scan thread to the main thread.
class ReportQueue final : public EventSink {
 public:
  explicit ReportQueue(std::uint32_t period_ms) : period_s_(period_ms / 1000.0) {}

  void DataChange(std::uint32_t group, const ChannelArrays& data) override {
    constexpr double kSecondsPerDay = 86400;
    const Date begun = data.times.empty() ? SystemClock().LocalTime() : data.times.front();
    const double behind_s = (SystemClock().LocalTime() - begun) * kSecondsPerDay;
    const std::lock_guard lock(mutex_);
    reports_.push_back({group, data, behind_s > period_s_ ? behind_s : 0});
    arrived_.notify_one();
  }

  std::optional<ScanReport> Take(std::chrono::milliseconds wait) {
    std::unique_lock lock(mutex_);
    if (!arrived_.wait_for(lock, wait, [&] { return !reports_.empty(); })) return std::nullopt;
    ScanReport report = std::move(reports_.front());
    reports_.pop_front();
    return report;
  }

 private:
  platform::Mutex mutex_;
  platform::ConditionVariable arrived_;
  std::deque<ScanReport> reports_;  // guarded by mutex_
  const double period_s_;
};

// An acquisition group of the instrument. The destructor removes it.
class Group {
 public:
  Group(Session& session, std::span<const Channel> channels, const GroupSettings& settings) : session_(session) {
    session_.Check(session_.instrument().CreateGroup(&id_));
    session_.Check(session_.instrument().SetGroupSettings(id_, settings));
    for (const Channel& channel : channels) session_.Check(session_.instrument().ConnectGroupChan(id_, channel.id));
  }
  ~Group() { session_.instrument().RemoveGroup(id_); }
  Group(const Group&) = delete;
  Group& operator=(const Group&) = delete;

  std::uint32_t id() const { return id_; }
  void Run() { session_.Check(session_.instrument().RunGroup(id_)); }
  void Stop() { session_.Check(session_.instrument().StopGroup(id_)); }
  void ReadNow() { session_.Check(session_.instrument().ImmediateReadGroups(std::span(&id_, 1))); }

 private:
  Session& session_;
  std::uint32_t id_ = 0;
};

// A subscription to the events of an instrument. The destructor ends it.
class Subscription {
 public:
  Subscription(EventSinks& sinks, std::shared_ptr<EventSink> sink)
      : sinks_(sinks), cookie_(sinks.Advise(std::move(sink))) {}
  ~Subscription() { sinks_.Unadvise(cookie_); }
  Subscription(const Subscription&) = delete;
  Subscription& operator=(const Subscription&) = delete;

 private:
  EventSinks& sinks_;
  std::uint32_t cookie_;
};

// Passes reports to the outputs until the planned count is reached or an output fails. A failed output gets no more
// reports.
class Reporter {
 public:
  Reporter(const ScanPlan& plan, ScanOutputs& outputs) : plan_(plan), outputs_(outputs) {}
  bool Wanted() const { return !failure_ && (!plan_.count || shown_ < *plan_.count); }
  void Show(const ScanReport& report) {
    std::erase_if(outputs_, [&](const auto& output) { return !failure_.Attempt([&] { output->Show(report); }); });
    ++shown_;
  }
  // After the first report, a failure must not lose what the outputs have: all of them are finished.
  template <typename Call>
  void FillWith(Call&& acquire) {
    failure_.Attempt(acquire);
    if (shown_ == 0) failure_.Rethrow();
    for (const auto& output : outputs_) failure_.Attempt([&] { output->Finish(); });
    failure_.Rethrow();
  }
  std::uint64_t shown() const { return shown_; }

 private:
  const ScanPlan& plan_;
  ScanOutputs& outputs_;
  FirstFailure failure_;
  std::uint64_t shown_ = 0;
};

void Acquire(Session& session, std::span<const Channel> channels, const ScanPlan& plan, Reporter& reporter) {
  const std::atomic<bool>& interrupted = CatchInterrupts();
  if (interrupted) return;
  const auto queue = std::make_shared<ReportQueue>(plan.settings.period_ms);
  const Subscription subscription(session.instrument().events(), queue);
  Group group(session, channels, plan.settings);

  group.Run();
  const auto started = std::chrono::steady_clock::now();
  const auto over = [&] {
    const std::chrono::duration<double> elapsed = std::chrono::steady_clock::now() - started;
    return interrupted || (plan.duration_s && elapsed.count() >= *plan.duration_s);
  };
  while (reporter.Wanted() && !over()) {
    if (const auto report = queue->Take(kGlance)) reporter.Show(*report);
  }
  group.Stop();
  while (reporter.Wanted()) {
    const auto report = queue->Take(std::chrono::milliseconds(0));
    if (!report) break;
    reporter.Show(*report);
  }
}

}  // namespace

std::uint64_t RunScan(Session& session, std::span<const Channel> channels, const ScanPlan& plan, ScanOutputs& outputs) {
  Reporter reporter(plan, outputs);
  reporter.FillWith([&] { Acquire(session, channels, plan, reporter); });
  return reporter.shown();
}

ChannelArrays ReadOnce(Session& session, std::span<const Channel> channels, std::uint32_t timeout_ms) {
  const auto exchanges = static_cast<std::uint32_t>(2 * (channels.size() + 1));
  Group group(session, channels, {.period_ms = std::max(kReadTimeMs, exchanges * timeout_ms)});
  group.ReadNow();
  std::vector<ChannelId> ids;
  for (const Channel& channel : channels) ids.push_back(channel.id);
  ChannelArrays arrays;
  session.Check(session.instrument().GetChansVals(ids, &arrays));
  for (std::size_t k = 0; k < arrays.size(); ++k) {
    const bool never_read = arrays.times[k] == 0 && arrays.errors[k] == S_OK;
    if (never_read) arrays.errors[k] = E_FAIL;
  }
  return arrays;
}

}  // namespace ulix::cli
