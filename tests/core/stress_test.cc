// Several threads call the members at random while groups run, sinks call back and the line fails at random. Every call
// returns in time and every thread ends. The thread and address sanitizers find races and misuse of memory in the same
// run. ULIX_STRESS_SECONDS sets the duration.
#include <gtest/gtest.h>

#include <algorithm>
#include <atomic>
#include <chrono>
#include <cstdio>
#include <mutex>
#include <random>
#include <thread>
#include <vector>

#include "base/byte_stream.h"
#include "core/instrument.h"
#include "core/worker.h"
#include "drivers/catalogue.h"
#include "platform/mutex.h"
#include "simulators/in_process_port.h"
#include "simulators/simulator.h"
#include "tests/support/long_run.h"
#include "tests/support/recording_sink.h"

namespace ulix {
namespace {

using std::chrono::milliseconds;
using std::chrono::steady_clock;

constexpr int kThreads = 4;
constexpr std::uint32_t kTimeoutMs = 5;
constexpr std::uint32_t kMaxGroups = 4;
// A call may wait one second for each thread of a few groups, and then for an exchange.
constexpr milliseconds kLongestCall{20'000};
// Meanwhile the threads that it waits for have the processor so many times. A busy machine makes each of them wait.
constexpr int kTurnsInCall = 100;

// The longest time that a thread of this program waited for the processor while this object lived.
class ProcessorWait {
 public:
  ~ProcessorWait() {
    stop_ = true;
    thread_.join();
  }
  milliseconds longest() const { return milliseconds(longest_ms_); }

 private:
  void Watch() {
    constexpr milliseconds kNap{10};
    while (!stop_) {
      const auto start = steady_clock::now();
      std::this_thread::sleep_for(kNap);
      const auto waited = std::chrono::duration_cast<milliseconds>(steady_clock::now() - start - kNap);
      longest_ms_ = std::max<std::int64_t>(longest_ms_, waited.count());
    }
  }

  std::atomic<bool> stop_ = false;
  std::atomic<std::int64_t> longest_ms_ = 0;
  std::thread thread_{[this] { Watch(); }};
};

class Chance {
 public:
  explicit Chance(unsigned seed) : random_(seed) {}
  int operator()(int below) { return std::uniform_int_distribution(0, below - 1)(random_); }

 private:
  std::mt19937 random_;
};

// A host that makes calls inside its events: it reads values, stops and removes groups, and unadvises itself.
class MeddlingSink final : public EventSink {
 public:
  MeddlingSink(Instrument& instrument, unsigned seed) : instrument_(instrument), chance_(seed) {}
  void DataChange(std::uint32_t group, const ChannelArrays& arrays) override {
    const std::lock_guard lock(mutex_);
    ++events;
    ChannelArrays values;
    instrument_.GetChansVals(arrays.ids, &values);
    if (chance_(20) == 0) instrument_.StopGroup(group);
    if (chance_(40) == 0) instrument_.RemoveGroup(group);
    if (chance_(10) == 0) instrument_.events().Unadvise(cookie.exchange(0));
  }
  void MeasReady(std::uint32_t group) override {
    std::int32_t running = 0;
    instrument_.IsGroupRunning(group, &running);
  }
  std::atomic<int> events = 0;
  std::atomic<std::uint32_t> cookie = 0;

 private:
  Instrument& instrument_;
  platform::Mutex mutex_;
  Chance chance_;
};

class Stress : public testing::TestWithParam<const char*> {
 protected:
  // The counts are published at the end only. A lock between the calls would order the threads and hide races.
  void Meddle(unsigned seed) {
    Chance chance(seed);
    int made = 0;
    milliseconds longest{0};
    while (!stop.load(std::memory_order_relaxed)) {
      const auto start = steady_clock::now();
      CallOne(chance);
      longest = std::max(longest, std::chrono::duration_cast<milliseconds>(steady_clock::now() - start));
      ++made;
    }
    const std::lock_guard lock(mutex_);
    calls += made;
    slowest = std::max(slowest, longest);
  }

  void CallOne(Chance& chance) {
    const auto group = static_cast<std::uint32_t>(chance(static_cast<int>(kMaxGroups)) + 1);
    const auto channel = static_cast<ChannelId>(chance(4));
    std::uint32_t id = 0;
    std::int32_t flag = 0;
    std::string text;
    std::vector<std::uint32_t> ids;
    switch (chance(24)) {
      case 0:
        instrument->Groups(&ids);
        if (ids.size() < kMaxGroups) instrument->CreateGroup(&id);
        break;
      case 1:
        instrument->Groups(&ids);
        if (!ids.empty()) instrument->RemoveGroup(ids.front());
        break;
      case 2:
      case 3:
        instrument->RunAllGroups();
        break;
      case 4:
        instrument->StopGroup(group);
        break;
      case 5:
        instrument->ConnectGroupChan(group, channel);
        break;
      case 6:
        instrument->RemoveGroupChan(group, channel);
        break;
      case 7:
        instrument->ImmediateReadGroups(std::vector{group});
        break;
      case 8:
        instrument->Connect();
        break;
      case 9:
        if (chance(10) == 0) instrument->Disconnect();
        break;
      case 10:
        instrument->Identify(&text);
        break;
      case 11:
        instrument->SetChanVal(channel, 1.5);
        break;
      case 12:
        instrument->GetChanName(channel, &text);
        instrument->GetChanUnit(channel, &text);
        break;
      case 13:
        instrument->SetGroupSettings(group, {.period_ms = 100});
        break;
      case 14:
        instrument->GetErrorText(serialCommErrCommClosed, chance(2) == 0, &flag, &text);
        break;
      case 15: {
        MemoryStream stream;
        instrument->Save(stream);
        break;
      }
      case 16:
        if (chance(20) == 0) instrument->InitNew();
        break;
      case 17:
        instrument->Run();
        break;
      case 18:
        instrument->GetCommInfo(&text);
        instrument->IsConnected(&flag);
        break;
      case 19:
        if (sink->cookie == 0) sink->cookie = instrument->events().Advise(sink);
        break;
      case 20:
        bench->SetFaults({{FaultKind::kDelay, chance(10)}});
        break;
      case 21:
        if (chance(4) == 0) bench->SetFaults({{FaultKind::kDrop, chance(3)}});
        break;
      default:
        bench->SetFaults({});
    }
  }

  std::shared_ptr<SimulatedBench> bench =
      std::make_shared<SimulatedBench>(FindSimulator(GetParam())(SystemClock()), SystemClock());
  std::unique_ptr<Instrument> instrument = [this] {
    DriverServices services;
    services.resolve_port = ResolverOf(bench);
    services.timeout_ms = kTimeoutMs;
    return std::make_unique<Instrument>(FindModel(GetParam())->create(services));
  }();
  std::shared_ptr<MeddlingSink> sink = std::make_shared<MeddlingSink>(*instrument, 7);
  std::atomic<bool> stop = false;
  int calls = 0;  // `calls` and `slowest` are guarded by mutex_.
  milliseconds slowest{0};

 private:
  platform::Mutex mutex_;
};

TEST_P(Stress, MembersCalledFromSeveralThreads_ReturnInTimeAndEndTheirThreads) {
  const ProcessorWait machine;
  std::vector<std::thread> threads;
  for (unsigned i = 0; i < kThreads; ++i) threads.emplace_back([this, i] { Meddle(i + 1); });
  std::this_thread::sleep_for(milliseconds(1000 * LongRun("ULIX_STRESS_SECONDS", 1)));
  stop = true;
  for (std::thread& thread : threads) thread.join();
  bench->SetFaults({});
  EXPECT_EQ(instrument->Disconnect(), S_OK);
  instrument.reset();
  for (const auto until = steady_clock::now() + kTestPatience; ThreadsAlive() > 0 && steady_clock::now() < until;) {
    std::this_thread::yield();
  }
  EXPECT_EQ(ThreadsAlive(), 0);
  EXPECT_LE(slowest, kLongestCall + kTurnsInCall * machine.longest());
  EXPECT_GT(calls, 0);
  std::printf("%d calls, the slowest %d ms, %d events; a thread waited for the processor at most %d ms\n", calls,
              static_cast<int>(slowest.count()), sink->events.load(), static_cast<int>(machine.longest().count()));
}

INSTANTIATE_TEST_SUITE_P(Models, Stress, testing::Values("kelvo10", "hart", "kambic"),
                         [](const auto& instance) { return std::string(instance.param); });

}  // namespace
}  // namespace ulix
