// Instruments are scanned at ten times real speed while their lines fail at random. Every delivered value is the one
// that was sent for its own query. Memory, handles and threads do not grow. ULIX_SOAK_SECONDS sets the duration.
#include <gtest/gtest.h>

#include <array>
#include <atomic>
#include <chrono>
#include <cstdio>
#include <random>
#include <thread>

#include "core/instrument.h"
#include "core/worker.h"
#include "drivers/catalogue.h"
#include "simulators/in_process_port.h"
#include "simulators/line_simulator.h"
#include "tests/support/fast_clock.h"
#include "tests/support/holdings.h"
#include "tests/support/long_run.h"

namespace ulix {
namespace {

constexpr int kTimesFaster = 10;
constexpr std::uint32_t kSoakPeriodMs = 100;
constexpr std::uint32_t kSoakTimeoutMs = 50;
constexpr int kFaultsIn100 = 3;
constexpr std::size_t kInstruments = 4;

// Each measured value is the number of its query. The identity is a Kelvo10's.
class NumberingSimulator final : public LineSimulator {
 public:
  explicit NumberingSimulator(std::atomic<int>& asked) : LineSimulator('\n'), asked_(asked) {}
  std::string Refusal() const override { return "0\n"; }
  HRESULT Set(std::string_view, std::string_view) override { return E_INVALIDARG; }
  std::vector<std::pair<std::string, std::string>> Properties() const override { return {}; }

 protected:
  SimulatedReply Answer(std::string_view request) override {
    if (request == "*IDN?") return {"MAKER,KELVO10,1\n", true};
    if (request != "MEAS?") return {};
    asked_ = asked_ % 1'000'000 + 1;  // A float holds each of these numbers exactly.
    return {std::to_string(asked_) + "\n", true};
  }

 private:
  std::atomic<int>& asked_;
};

// One scanned instrument. After each report it sets the faults of the next scan, on the scan thread.
class Station final : public EventSink {
 public:
  Station(Clock& clock, unsigned seed)
      : bench_(std::make_shared<SimulatedBench>(std::make_unique<NumberingSimulator>(asked_), clock)), random_(seed) {
    DriverServices services;
    services.clock = &clock;
    services.resolve_port = ResolverOf(bench_);
    services.timeout_ms = kSoakTimeoutMs;
    instrument =
        std::make_unique<Instrument>(FindModel("kelvo10")->create(services), Instrument::Options{.clock = &clock});
  }

  void DataChange(std::uint32_t, const ChannelArrays& arrays) override {
    ++scans;
    if (arrays.errors[0] != S_OK) ++failures;
    if (arrays.errors[0] == S_OK && arrays.values[0] != static_cast<float>(asked_)) ++wrong;
    bench_->SetFaults(NextFaults());
  }

  std::unique_ptr<Instrument> instrument;
  std::atomic<int> scans = 0, failures = 0, wrong = 0;

 private:
  int Within(int low, int high) { return std::uniform_int_distribution(low, high)(random_); }
  FaultSet NextFaults() {
    if (Within(1, 100) > kFaultsIn100) return {};
    const int late_ms = Within(0, 6 * static_cast<int>(kSoakTimeoutMs));
    switch (Within(0, 4)) {
      case 0:
        return {{FaultKind::kSilent}};
      case 1:
        return {{FaultKind::kDrop, Within(0, 1)}};
      case 2:
        return {{FaultKind::kTruncate}, {FaultKind::kDelay, late_ms}};
      case 3:
        return {{FaultKind::kDrip, Within(1, static_cast<int>(kSoakTimeoutMs))}, {FaultKind::kDelay, late_ms}};
      default:
        return {{FaultKind::kDelay, late_ms}};
    }
  }

  std::atomic<int> asked_ = 0;
  std::shared_ptr<SimulatedBench> bench_;
  std::mt19937 random_;
};

// The thread sanitizer records accesses in memory of its own.
#ifdef ULIX_THREAD_SANITIZER
constexpr double kMaxMegabytesMore = 4000;
#else
constexpr double kMaxMegabytesMore = 8;
#endif

void RunGroupOf(Instrument& instrument, std::shared_ptr<EventSink> sink) {
  std::uint32_t group = 0;
  ASSERT_EQ(instrument.Connect(), S_OK);
  instrument.events().Advise(std::move(sink));
  ASSERT_EQ(instrument.CreateGroup(&group), S_OK);
  ASSERT_EQ(instrument.ConnectGroupChan(group, 0), S_OK);
  ASSERT_EQ(instrument.SetGroupSettings(group, {.period_ms = kSoakPeriodMs}), S_OK);
  ASSERT_EQ(instrument.RunGroup(group), S_OK);
}

TEST(Soak, LinesWithFaults_DeliverOnlyTheValueOfTheirOwnQuery) {
  FastClock clock(kTimesFaster);
  std::array<std::shared_ptr<Station>, kInstruments> stations;
  for (std::size_t i = 0; i < kInstruments; ++i) {
    stations[i] = std::make_shared<Station>(clock, static_cast<unsigned>(i + 1));
    RunGroupOf(*stations[i]->instrument, stations[i]);
  }
  const std::chrono::milliseconds length(1000 * LongRun("ULIX_SOAK_SECONDS", 2));
  std::this_thread::sleep_for(length / 5);
  const Holdings before = HoldingsNow();
  std::this_thread::sleep_for(length * 4 / 5);
  const Holdings after = HoldingsNow();
  const double more = after.megabytes - before.megabytes;
  EXPECT_LE(more, kMaxMegabytesMore);
  EXPECT_LE(after.handles, before.handles + kHandlesOfLocks);
  EXPECT_EQ(after.threads, before.threads);
  int scans = 0, failures = 0;
  for (const auto& station : stations) {
    EXPECT_EQ(station->instrument->Disconnect(), S_OK);
    station->instrument.reset();
    EXPECT_EQ(station->wrong, 0);
    EXPECT_GT(station->scans, 0);
    scans += station->scans;
    failures += station->failures;
  }
  EXPECT_EQ(ThreadsAlive(), 0);
  std::printf("%d scans, %d of them failed, %.1f MB more\n", scans, failures, more);
}

}  // namespace
}  // namespace ulix
