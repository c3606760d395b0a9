// Lateness of the beats of a 100 ms group against the monotonic schedule, beside a bare sleep to absolute deadlines, on
// an idle machine and with two busy processes. Usage: bench_beats [seconds]
#include <time.h>

#include <cstdio>
#include <cstdlib>
#include <memory>
#include <mutex>
#include <optional>
#include <thread>

#include "bench/measure.h"
#include "core/instrument.h"
#include "platform/thread_priority.h"

namespace ulix::bench {
namespace {

constexpr std::chrono::milliseconds kPeriod{100};

// Moments at which something happened that was due every period from a start.
class BeatLog {
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
  // Beats that were due up to the last one and never came.
  long Missed() const {
    const std::lock_guard lock(mutex_);
    return (last_ - start_) / kPeriod - static_cast<long>(late_us_.size());
  }

 private:
  mutable std::mutex mutex_;
  MonotonicTime start_, last_;
  std::vector<double> late_us_;
};

constexpr ChannelRow kChannels[] = {{"IN", ChanIn}};
constexpr ModelCard kCard = {.word = "beats", .class_name = "Beats", .channels = kChannels};

// An instrument that answers at once and notes when it was asked.
class NotingDriver final : public Driver {
 public:
  explicit NotingDriver(BeatLog& log) : Driver(kCard), log_(log) {}
  Reading ReadChannel(ChannelId) override {
    log_.Note(std::chrono::steady_clock::now());
    return {};
  }
  HRESULT OpenLink() override { return S_OK; }
  bool LinkIsOpen() const override { return true; }
  HRESULT Connect() override { return S_OK; }
  void Disconnect() override {}
  Expected<std::string> Identify() override { return std::string(); }
  HRESULT SendCfg() override { return S_OK; }
  HRESULT ReadCfg() override { return S_OK; }
  HRESULT WriteChannel(ChannelId, float) override { return S_OK; }
  std::string ChannelUnit(ChannelId) const override { return ""; }
  int ChannelResolution(ChannelId) const override { return 6; }
  std::string CommInfo(Language) const override { return ""; }
  void ResetCommParams() override {}
  void SaveCommParams(VariantWriter&) const override {}
  HRESULT LoadCommParams(VariantReader&) override { return S_OK; }
  std::span<const ErrorRow> LinkErrors() const override { return {}; }

 private:
  BeatLog& log_;
};

// The machine's clock, noting each wait that ran its time: only a group's timer waits for a moment.
class NotingClock final : public Clock {
 public:
  explicit NotingClock(BeatLog& log) : log_(log) {}
  MonotonicTime Now() override { return SystemClock().Now(); }
  Date LocalTime() override { return SystemClock().LocalTime(); }
  void WaitUntil(std::unique_lock<std::mutex>& lock, std::condition_variable& changed, MonotonicTime until) override {
    SystemClock().WaitUntil(lock, changed, until);
    if (const MonotonicTime now = Now(); now >= until) log_.Note(now);
  }

 private:
  BeatLog& log_;
};

// Sleeps from deadline to deadline, a part of a period out of step with the others.
std::thread BareSleep(BeatLog& log, platform::ThreadPriority priority, std::chrono::milliseconds phase, int beats) {
  return std::thread([&log, priority, phase, beats] {
    platform::SetThreadPriority(priority);
    MonotonicTime due = std::chrono::steady_clock::now() + phase;
    log.Start(due);
    for (int i = 0; i < beats; ++i) {
      due += kPeriod;
      const std::int64_t ns = std::chrono::nanoseconds(due.time_since_epoch()).count();
      const timespec at{.tv_sec = ns / 1'000'000'000, .tv_nsec = ns % 1'000'000'000};
      clock_nanosleep(CLOCK_MONOTONIC, TIMER_ABSTIME, &at, nullptr);
      log.Note(std::chrono::steady_clock::now());
    }
  });
}

// How late the punctual ones are in the first or the last tenth: what other work on the machine leaves alone.
double PunctualOfTenth(const std::vector<double>& values, bool last) {
  const auto tenth = static_cast<std::ptrdiff_t>(values.size() / 10 + 1);
  return last ? Percentile({values.end() - tenth, values.end()}, 0.1)
              : Percentile({values.begin(), values.begin() + tenth}, 0.1);
}

void Print(const char* what, const BeatLog& log, const BeatLog& bare) {
  const std::vector<double> late = log.late_us();
  std::printf("%5.2f  %s: late 50th %.0f us, 99th %.0f us, max %.0f us; drift %+.0f us; %zu beats, %ld missed\n",
              Percentile(late, 0.99) / Percentile(bare.late_us(), 0.99), what, Percentile(late, 0.5),
              Percentile(late, 0.99), Percentile(late, 1.0), PunctualOfTenth(late, true) - PunctualOfTenth(late, false),
              late.size(), log.Missed());
}

void Measure(int seconds) {
  BeatLog beat_log, reading_log, critical_log, normal_log;
  NotingClock clock(beat_log);
  Instrument instrument(std::make_unique<NotingDriver>(reading_log), {.clock = &clock});
  std::uint32_t group = 0;
  instrument.CreateGroup(&group);
  instrument.SetGroupSettings(group, {.period_ms = static_cast<std::uint32_t>(kPeriod.count())});
  instrument.ConnectGroupChan(group, 0);

  const int beats = static_cast<int>(std::chrono::seconds(seconds) / kPeriod);
  const MonotonicTime start = std::chrono::steady_clock::now();
  beat_log.Start(start);
  reading_log.Start(start);
  if (Failed(instrument.RunGroup(group))) std::exit(2);
  using std::chrono::milliseconds;
  auto critical = BareSleep(critical_log, platform::ThreadPriority::kTimeCritical, milliseconds(33), beats);
  auto normal = BareSleep(normal_log, platform::ThreadPriority::kNormal, milliseconds(67), beats);
  critical.join();
  normal.join();
  instrument.StopGroup(group);
  Print("beat of the group's timer", beat_log, critical_log);
  Print("bare sleep at the same priority", critical_log, critical_log);
  Print("reading on the group's scan thread", reading_log, normal_log);
  Print("bare sleep at the same priority", normal_log, normal_log);
}

void Spin() {
  volatile bool forever = true;
  while (forever) {
  }
}

int Run(int seconds) {
  const bool granted = platform::SetThreadPriority(platform::ThreadPriority::kTimeCritical);
  platform::SetThreadPriority(platform::ThreadPriority::kNormal);
  std::printf(
      "First figure: 99th percentile of lateness over that of the bare sleep below it. Time-critical priority %s.\n",
      granted ? "granted" : "not granted to this user");
  std::printf("idle, %d s:\n", seconds);
  Measure(seconds);
  const ChildProcess one(Spin), two(Spin);
  std::printf("two busy processes, %d s:\n", seconds);
  Measure(seconds);
  return 0;
}

}  // namespace
}  // namespace ulix::bench

int main(int argc, char** argv) { return ulix::bench::Run(ulix::bench::SecondsFrom(argc, argv, 60)); }
