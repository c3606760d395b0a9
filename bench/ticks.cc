// The lateness of a 100 ms group's ticks against the monotonic schedule, compared with a bare sleep to absolute
// deadlines, on an idle machine and with two busy processes. Usage: bench_ticks [seconds]
#include <time.h>

#include <cstdio>
#include <cstdlib>
#include <memory>
#include <mutex>
#include <optional>
#include <thread>

#include "bench/measure.h"
#include "bench/plain_driver.h"
#include "core/instrument.h"
#include "platform/mutex.h"
#include "platform/thread_priority.h"

namespace ulix::bench {
namespace {

constexpr std::chrono::milliseconds kPeriod{100};
constexpr double kBound = 1.25;

// The times of events that were due once per period from a start.
class TickLog {
 public:
  void Start(MonotonicTime start) {
    const std::lock_guard lock(mutex_);
    start_ = start;
    late_us_.clear();
  }
  void Note(MonotonicTime at) {
    const std::lock_guard lock(mutex_);
    late_us_.push_back(std::chrono::duration<double, std::micro>((at - start_) % kPeriod).count());
    last_ = at;
  }
  std::vector<double> late_us() const {
    const std::lock_guard lock(mutex_);
    return late_us_;
  }
  // How many ticks before the last one did not come.
  long Missed() const {
    const std::lock_guard lock(mutex_);
    return (last_ - start_) / kPeriod - static_cast<long>(late_us_.size());
  }

 private:
  mutable platform::Mutex mutex_;
  MonotonicTime start_, last_;
  std::vector<double> late_us_;
};

constexpr ChannelRow kChannels[] = {{"IN", ChanIn}};
constexpr ModelCard kCard = {.model_id = "ticks", .class_name = "Ticks", .channels = kChannels};

// A driver that answers at once and records the times of its readings.
class NotingDriver final : public PlainDriver {
 public:
  explicit NotingDriver(TickLog& log) : PlainDriver(kCard), log_(log) {}
  Reading ReadChannel(ChannelId) override {
    log_.Note(std::chrono::steady_clock::now());
    return {};
  }

 private:
  TickLog& log_;
};

// The machine's clock. It records each wait that ended at its time: only a group's timer waits for a time.
class NotingClock final : public Clock {
 public:
  explicit NotingClock(TickLog& log) : log_(log) {}
  MonotonicTime Now() override { return SystemClock().Now(); }
  Date LocalTime() override { return SystemClock().LocalTime(); }
  void WaitUntil(std::unique_lock<platform::Mutex>& lock, platform::ConditionVariable& changed,
                 MonotonicTime until) override {
    SystemClock().WaitUntil(lock, changed, until);
    if (const MonotonicTime now = Now(); now >= until) log_.Note(now);
  }

 private:
  TickLog& log_;
};

// Sleeps from deadline to deadline. `phase` shifts the deadlines against those of the other threads.
std::thread BareSleep(TickLog& log, platform::ThreadPriority priority, std::chrono::milliseconds phase, int ticks) {
  return std::thread([&log, priority, phase, ticks] {
    platform::SetThreadPriority(priority);
    MonotonicTime due = std::chrono::steady_clock::now() + phase;
    log.Start(due);
    for (int i = 0; i < ticks; ++i) {
      due += kPeriod;
      const std::int64_t ns = std::chrono::nanoseconds(due.time_since_epoch()).count();
      const timespec at{.tv_sec = ns / 1'000'000'000, .tv_nsec = ns % 1'000'000'000};
      clock_nanosleep(CLOCK_MONOTONIC, TIMER_ABSTIME, &at, nullptr);
      log.Note(std::chrono::steady_clock::now());
    }
  });
}

// The lateness of one clock or thread over all rounds.
struct Lateness {
  std::vector<double> all_us, p99_of_rounds;
  void Add(const TickLog& log) {
    const std::vector<double> late = log.late_us();
    all_us.insert(all_us.end(), late.begin(), late.end());
    p99_of_rounds.push_back(Percentile(late, 0.99));
  }
};

// Shows the 99th percentile of lateness as a ratio to that of the bare sleep: the median of the rounds.
bool ShowLateness(const std::string& what, const Lateness& late, const Lateness& bare, double bound,
                  const std::string& more) {
  std::vector<double> ratios;
  for (std::size_t i = 0; i < late.p99_of_rounds.size(); ++i) {
    ratios.push_back(late.p99_of_rounds[i] / bare.p99_of_rounds[i]);
  }
  const auto of_all = [](const Lateness& l, double share) { return Percentile(l.all_us, share); };
  return Show(
      {what, Percentile(ratios, 0.5), "of bare p99", bound, false,
       Text("%zu rounds, %.2f to %.2f; of all p50 %.0f, p99 %.0f, most %.0f us; bare p50 %.0f, p99 %.0f, most "
            "%.0f us; %s",
            ratios.size(), Percentile(ratios, 0.0), Percentile(ratios, 1.0), of_all(late, 0.5), of_all(late, 0.99),
            of_all(late, 1.0), of_all(bare, 0.5), of_all(bare, 0.99), of_all(bare, 1.0), more.c_str())});
}

struct Measured {
  Lateness ticks, readings, critical, normal;
  long missed = 0;
};

void MeasureRound(std::chrono::milliseconds length, Measured& measured) {
  TickLog tick_log, reading_log, critical_log, normal_log;
  NotingClock clock(tick_log);
  Instrument instrument(std::make_unique<NotingDriver>(reading_log), {.clock = &clock});
  std::uint32_t group = 0;
  instrument.CreateGroup(&group);
  instrument.SetGroupSettings(group, {.period_ms = static_cast<std::uint32_t>(kPeriod.count())});
  instrument.ConnectGroupChan(group, 0);

  const int ticks = static_cast<int>(length / kPeriod);
  const MonotonicTime start = std::chrono::steady_clock::now();
  tick_log.Start(start);
  reading_log.Start(start);
  Require("RunGroup", instrument.RunGroup(group));
  using std::chrono::milliseconds;
  auto critical = BareSleep(critical_log, platform::ThreadPriority::kTimeCritical, milliseconds(33), ticks);
  auto normal = BareSleep(normal_log, platform::ThreadPriority::kNormal, milliseconds(67), ticks);
  critical.join();
  normal.join();
  instrument.StopGroup(group);
  measured.ticks.Add(tick_log);
  measured.readings.Add(reading_log);
  measured.critical.Add(critical_log);
  measured.normal.Add(normal_log);
  measured.missed += tick_log.Missed();
}

// Measures in rounds that start at different phases: the machine may have work of its own every 100 ms, which in one
// round delays only one of the compared threads.
bool Measure(const std::string& when, int seconds) {
  constexpr int kRounds = 11;
  constexpr std::chrono::milliseconds kShift{17};
  Measured measured;
  for (int round = 0; round < kRounds; ++round) {
    std::this_thread::sleep_for(kShift);
    MeasureRound(std::chrono::milliseconds(seconds * 1000 / kRounds), measured);
  }
  const bool held = ShowLateness("ticks late, " + when, measured.ticks, measured.critical, kBound,
                                 Text("%zu ticks, %ld missed", measured.ticks.all_us.size(), measured.missed));
  ShowLateness("readings late, " + when, measured.readings, measured.normal, 0, "");
  return held;
}

void Spin() {
  volatile bool forever = true;
  while (forever) {
  }
}

int Run(int seconds) {
  const bool granted = platform::SetThreadPriority(platform::ThreadPriority::kTimeCritical);
  platform::SetThreadPriority(platform::ThreadPriority::kNormal);
  if (!granted) std::fprintf(stderr, "time-critical priority is not granted to this user\n");
  const bool idle = Measure("idle", seconds);
  const ChildProcess one(Spin), two(Spin);
  const bool busy = Measure("two busy processes", seconds);
  return idle && busy ? 0 : 1;
}

}  // namespace
}  // namespace ulix::bench

int main(int argc, char** argv) { return ulix::bench::Run(ulix::bench::SecondsFrom(argc, argv, 60)); }
