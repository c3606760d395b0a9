// The cost of idle controls: each has a group of one channel at 1 s, and its own simulated Kelvo10 in this process.
// Usage: bench_idle_controls [seconds]. The exit code is 1 above a bound.
#include <sys/resource.h>

#include <atomic>
#include <chrono>
#include <deque>
#include <memory>
#include <mutex>
#include <string>
#include <thread>
#include <vector>

#include "bench/measure.h"
#include "core/instrument.h"
#include "drivers/catalogue.h"
#include "platform/mutex.h"
#include "platform/thread_priority.h"
#include "simulators/in_process_port.h"
#include "tests/support/holdings.h"

namespace ulix::bench {
namespace {

constexpr std::size_t kInstruments = 32;
constexpr double kMaxProcessorPercent = 0.3;
constexpr double kMaxMegabytes = 8;

class CountingSink final : public EventSink {
 public:
  explicit CountingSink(std::atomic<long>& reports) : reports_(reports) {}
  void MeasReady(std::uint32_t) override { ++reports_; }

 private:
  std::atomic<long>& reports_;
};

double CpuSeconds() {
  rusage usage{};
  getrusage(RUSAGE_SELF, &usage);
  const auto seconds = [](const timeval& time) {
    return static_cast<double>(time.tv_sec) + 1e-6 * static_cast<double>(time.tv_usec);
  };
  return seconds(usage.ru_utime) + seconds(usage.ru_stime);
}

// The least cost of a control with a group: a thread that ticks once a second, and one that it wakes.
class BarePair {
 public:
  BarePair() : timer_([this] { Tick(); }), scan_([this] { TakeTicks(); }) {}
  BarePair(const BarePair&) = delete;
  BarePair& operator=(const BarePair&) = delete;
  ~BarePair() {
    Post(true);
    timer_.join();
    scan_.join();
  }

 private:
  void Post(bool last) {
    {
      const std::lock_guard lock(mutex_);
      tick_ = true;
      ended_ = ended_ || last;
    }
    posted_.notify_all();
  }
  void Tick() {
    platform::SetThreadPriority(platform::ThreadPriority::kTimeCritical);
    auto due = std::chrono::steady_clock::now();
    std::unique_lock lock(mutex_);
    while (!end_.wait_until(lock, due += std::chrono::seconds(1), [this] { return ended_; })) {
      lock.unlock();
      Post(false);
      lock.lock();
    }
  }
  void TakeTicks() {
    std::unique_lock lock(mutex_);
    while (!ended_) {
      posted_.wait(lock, [this] { return tick_; });
      tick_ = false;
    }
    end_.notify_all();
  }

  platform::Mutex mutex_;
  platform::ConditionVariable posted_, end_;
  bool tick_ = false;   // Guarded by mutex_.
  bool ended_ = false;  // Guarded by mutex_.
  std::thread timer_, scan_;
};

// Percent of one core that this process uses during `seconds`.
double ProcessorPercent(int seconds) {
  const double before = CpuSeconds();
  const auto start = std::chrono::steady_clock::now();
  std::this_thread::sleep_until(start + std::chrono::seconds(seconds));
  const std::chrono::duration<double> taken = std::chrono::steady_clock::now() - start;
  return 100 * (CpuSeconds() - before) / taken.count();
}

// The median of the rounds, which take so many seconds together.
double MedianPercent(int seconds) {
  std::vector<double> rounds;
  while (rounds.size() < kRounds) rounds.push_back(ProcessorPercent(std::max(seconds / kRounds, 1)));
  return Percentile(rounds, 0.5);
}

// The processor time of the same number of bare pairs, in percent. Starting them takes `start_time`, because ticks that
// coincide cost less.
double BarePercent(int seconds, std::chrono::nanoseconds start_time) {
  std::deque<BarePair> pairs;
  while (pairs.size() < kInstruments) {
    pairs.emplace_back();
    std::this_thread::sleep_for(start_time / kInstruments);
  }
  return MedianPercent(seconds);
}

std::unique_ptr<Instrument> StartOne(std::atomic<long>& reports) {
  auto bench = std::make_shared<SimulatedBench>(FindSimulator("kelvo10")(SystemClock()), SystemClock());
  auto instrument =
      std::make_unique<Instrument>(FindModel("kelvo10")->create({.resolve_port = ResolverOf(std::move(bench))}));
  instrument->events().Advise(std::make_shared<CountingSink>(reports));
  std::uint32_t group = 0;
  const bool started = Succeeded(instrument->Connect()) && Succeeded(instrument->CreateGroup(&group)) &&
                       Succeeded(instrument->SetGroupSettings(group, {.period_ms = 1000})) &&
                       Succeeded(instrument->ConnectGroupChan(group, 0)) && Succeeded(instrument->RunGroup(group));
  return started ? std::move(instrument) : nullptr;
}

int Run(int seconds) {
  std::atomic<long> reports = 0;
  const double memory_before = HoldingsNow().megabytes;
  std::vector<std::unique_ptr<Instrument>> instruments;
  const auto start = std::chrono::steady_clock::now();
  for (std::size_t i = 0; i < kInstruments; ++i) {
    instruments.push_back(StartOne(reports));
    if (!instruments.back()) return 2;
  }
  const std::chrono::nanoseconds start_time = std::chrono::steady_clock::now() - start;
  const double percent = MedianPercent(seconds);
  const double memory = HoldingsNow().megabytes;
  for (const auto& instrument : instruments) instrument->StopAllGroups();
  const double bare = BarePercent(seconds, start_time);
  const bool idle = Show({Text("%zu idle controls, one channel each at 1 Hz", kInstruments), percent, "% of a core",
                          kMaxProcessorPercent, false,
                          Text("%.2f of bare pairs of threads that tick, %.3f %%; the simulators' share included; "
                               "%ld scans in %d s",
                               percent / bare, bare, reports.load(), seconds)});
  const bool small = Show({"their memory", memory - memory_before, "MB", kMaxMegabytes, false,
                           Text("%.1f MB resident, %.1f MB before the first", memory, memory_before)});
  return idle && small ? 0 : 1;
}

}  // namespace
}  // namespace ulix::bench

int main(int argc, char** argv) { return ulix::bench::Run(ulix::bench::SecondsFrom(argc, argv, 20)); }
