#include <gtest/gtest.h>

#include <atomic>
#include <thread>

#include "base/trace.h"
#include "core/instrument.h"
#include "core/worker.h"
#include "tests/support/fake_driver.h"
#include "tests/support/manual_clock.h"
#include "tests/support/recording_sink.h"

namespace ulix {
namespace {

using namespace std::chrono_literals;
using std::chrono::steady_clock;

// An instrument with a fake driver, one group of channel A and a sink. The test advances the clock.
class Groups : public testing::Test {
 protected:
  ~Groups() override {
    instrument.reset();
    Release();
    EXPECT_TRUE(AllThreadsEnd());
  }

  void MakeInstrument(Clock& on) {
    auto made = std::make_unique<FakeDriver>();
    driver = made.get();
    driver->reading = [this](ChannelId) { return Read(); };
    instrument = std::make_unique<Instrument>(std::move(made), Instrument::Options{.clock = &on});
    EXPECT_EQ(instrument->Connect(), S_OK);
    instrument->events().Advise(sink);
    EXPECT_EQ(instrument->CreateGroup(&group), S_OK);
    EXPECT_EQ(instrument->ConnectGroupChan(group, 0), S_OK);
  }

  Reading Read() {
    reads.Update([](int& count) { ++count; });
    gate.Await([](bool open) { return open; });
    return {code, value, doubt};
  }
  void Hold() {
    gate.Update([](bool& open) { open = false; });
  }
  void Release() {
    gate.Update([](bool& open) { open = true; });
  }
  bool AwaitReads(int count) {
    return reads.Await([&](int done) { return done >= count; });
  }
  // Advances the clock by one period and waits until the scan has begun.
  void Tick() {
    const int before = reads.Get();
    clock.Advance(1s);
    ASSERT_TRUE(AwaitReads(before + 1));
  }
  static bool AllThreadsEnd() {
    for (const auto until = steady_clock::now() + kTestPatience; ThreadsAlive() > 0;) {
      if (steady_clock::now() > until) return false;
      std::this_thread::yield();
    }
    return true;
  }

  ManualClock clock;
  std::shared_ptr<RecordingSink> sink = std::make_shared<RecordingSink>();
  Watched<int> reads;
  Watched<bool> gate{true};
  std::atomic<float> value = 1.0F;
  std::atomic<HRESULT> code = S_OK;
  std::atomic<Doubt> doubt = Doubt::kNone;
  FakeDriver* driver = nullptr;
  std::unique_ptr<Instrument> instrument;
  std::uint32_t group = 0;
};

TEST_F(Groups, Scan_FiresDataChangeThenMeasReady) {
  MakeInstrument(clock);
  EXPECT_EQ(instrument->ConnectGroupChan(group, 1), S_OK);
  value = 12.5F;
  ASSERT_EQ(instrument->RunGroup(group), S_OK);
  clock.Advance(1s);
  ASSERT_TRUE(sink->seen.Await([](const auto& seen) { return seen.order.size() == 2; }));
  const auto seen = sink->seen.Get();
  EXPECT_EQ(seen.order, (std::vector<std::string>{"data 1", "ready 1"}));
  EXPECT_EQ(seen.data[0].ids, (std::vector<ChannelId>{0, 1}));
  EXPECT_EQ(seen.data[0].values, (std::vector<float>{12.5F, 12.5F}));
  EXPECT_EQ(seen.data[0].errors, (std::vector<HRESULT>{0, 0}));
  ChannelArrays records;
  EXPECT_EQ(instrument->GetChansVals(seen.data[0].ids, &records), S_OK);
  EXPECT_EQ(records.times, seen.data[0].times);
}

TEST_F(Groups, RunAndStop_DoNothingTheSecondTime) {
  MakeInstrument(clock);
  for (int time = 0; time < 2; ++time) EXPECT_EQ(instrument->RunGroup(group), S_OK);
  clock.Advance(1s);
  ASSERT_TRUE(sink->seen.Await([](const auto& seen) { return seen.order.size() == 2; })) << "one scan";
  for (int time = 0; time < 2; ++time) EXPECT_EQ(instrument->StopGroup(group), S_OK);
  EXPECT_EQ(sink->seen.Get().order.size(), 2U);
}

TEST_F(Groups, SteadyValue_IsReportedAgainAfterTheMaxReportInterval) {
  MakeInstrument(clock);
  EXPECT_EQ(instrument->SetGroupSettings(group, {.dead_band_abs = 0.5F, .dead_time_max_s = 3}), S_OK);
  EXPECT_EQ(instrument->RunGroup(group), S_OK);
  Tick();
  ASSERT_TRUE(sink->AwaitReports(1)) << "the first scan is always reported";
  int seconds = 0;
  for (; sink->reports() < 2 && seconds < 10; ++seconds) Tick();
  EXPECT_GE(seconds, 4) << "exactly 3 s do not exceed the interval";
  // Up to two ticks more: the report's time is taken after the sink has it, and the test sees a report after its scan.
  EXPECT_LE(seconds, 6);
  const std::size_t steady = sink->reports();
  value = 1.6F;
  Tick();
  EXPECT_TRUE(sink->AwaitReports(steady + 1));
}

TEST_F(Groups, WarningInPlaceOfAValue_KeepsTheRecordsValueWithoutAnError) {
  MakeInstrument(clock);
  EXPECT_EQ(instrument->RunGroup(group), S_OK);
  struct Case {
    HRESULT code;
    float value;
    Doubt doubt;
    float kept;
  };
  const Case cases[] = {{S_OK, 99, Doubt::kNoValue, 0},  // the first reading
                        {S_OK, 2, Doubt::kNone, 2},
                        {S_OK, 99, Doubt::kNoValue, 2},
                        {serialCommErrUnableToReadComm, 99, Doubt::kNone, 2},
                        {S_OK, 99, Doubt::kNoValue, 2},  // after a failure
                        {S_OK, 0, Doubt::kNoNumber, 0}};
  for (std::size_t reports = 1; const Case& c : cases) {
    SCOPED_TRACE(reports);
    code = c.code;
    value = c.value;
    doubt = c.doubt;
    Tick();
    ASSERT_TRUE(sink->AwaitReports(reports));
    const ChannelArrays reported = sink->seen.Get().data[reports++ - 1];
    EXPECT_EQ(reported.errors[0], c.code);
    EXPECT_EQ(reported.values[0], c.kept);
    EXPECT_EQ(reported.doubts[0], c.doubt);
  }
}

TEST_F(Groups, ExceptionInAReading_IsThatChannelsErrorAndTheScanContinues) {
  MakeInstrument(clock);
  EXPECT_EQ(instrument->ConnectGroupChan(group, 1), S_OK);
  std::atomic<bool> memory_runs_out = true;
  driver->reading = [&](ChannelId id) -> Reading {
    if (id == 1) return {S_OK, 5.0F};
    if (memory_runs_out) throw std::bad_alloc();
    throw 1;
  };
  EXPECT_EQ(instrument->RunGroup(group), S_OK);
  clock.Advance(1s);
  ASSERT_TRUE(sink->AwaitReports(1));
  memory_runs_out = false;
  clock.Advance(1s);
  ASSERT_TRUE(sink->AwaitReports(2));
  const auto data = sink->seen.Get().data;
  EXPECT_EQ(data[0].errors, (std::vector<HRESULT>{E_OUTOFMEMORY, S_OK}));
  EXPECT_EQ(data[1].errors, (std::vector<HRESULT>{kambicErrExceptionCode, S_OK}));
  EXPECT_EQ(data[1].values[1], 5.0F);
  ChannelArrays records;
  EXPECT_EQ(instrument->GetChansVals(data[1].ids, &records), S_OK);
  EXPECT_EQ(records.errors, data[1].errors);
}

TEST_F(Groups, SinkThatThrows_GetsTheReportOfTheNextScan) {
  MakeInstrument(clock);
  EXPECT_EQ(instrument->SetGroupSettings(group, {.dead_band_abs = 100.0F, .dead_time_max_s = 1000}), S_OK);
  sink->in_data_change = [this] {
    if (sink->reports() == 1) throw std::bad_alloc();
  };
  EXPECT_EQ(instrument->RunGroup(group), S_OK);
  Tick();
  ASSERT_TRUE(sink->AwaitReports(1));
  Tick();
  ASSERT_TRUE(sink->seen.Await([](const auto& seen) { return seen.order.size() >= 3; }));
  EXPECT_EQ(sink->seen.Get().order, (std::vector<std::string>{"data 1", "data 1", "ready 1"}));
}

// What the record of a channel that is both read and written holds after a write.
class SetPointRecord : public Groups {
 protected:
  static constexpr ChannelId kChannel = 1;

  void RunWithReadingInFlight() {
    MakeInstrument(clock);
    EXPECT_EQ(instrument->RemoveGroupChan(group, 0), S_OK);
    EXPECT_EQ(instrument->ConnectGroupChan(group, kChannel), S_OK);
    EXPECT_EQ(instrument->RunGroup(group), S_OK);
    value = 7.0F;
    Hold();
    Tick();
  }
  float RecordedValue() {
    ChannelArrays records;
    EXPECT_EQ(instrument->GetChansVals(std::vector<ChannelId>{kChannel}, &records), S_OK);
    return records.values[0];
  }
};

TEST_F(SetPointRecord, WriteRefused_KeepsTheReadingInFlight) {
  RunWithReadingInFlight();
  driver->writing = [this](ChannelId, float) {
    Release();
    EXPECT_TRUE(sink->AwaitReports(1));
    return serialCommErrUnableToWriteComm;
  };
  EXPECT_EQ(instrument->SetChanVal(kChannel, 99.0), serialCommErrUnableToWriteComm);
  const ChannelArrays reported = sink->seen.Get().data[0];
  EXPECT_EQ(reported.values[0], 7.0F);
  ChannelArrays records;
  EXPECT_EQ(instrument->GetChansVals(reported.ids, &records), S_OK);
  EXPECT_EQ(records.values, reported.values);
  EXPECT_EQ(records.times, reported.times);
}

TEST_F(SetPointRecord, WriteAccepted_RecordTakesTheReadingThatEndsLater) {
  RunWithReadingInFlight();
  clock.Advance(10ms);
  EXPECT_EQ(instrument->SetChanVal(kChannel, 99.0), S_OK);
  EXPECT_EQ(RecordedValue(), 99.0F);
  Release();
  ASSERT_TRUE(sink->AwaitReports(1));
  EXPECT_EQ(RecordedValue(), 7.0F) << "the value of the report";
}

TEST_F(SetPointRecord, DriverThrows_RestoresTheOldValue) {
  MakeInstrument(clock);
  EXPECT_EQ(instrument->SetChanVal(kChannel, 3.0), S_OK);
  driver->writing = [](ChannelId, float) -> HRESULT { throw std::bad_alloc(); };
  EXPECT_EQ(instrument->SetChanVal(kChannel, 99.0), E_OUTOFMEMORY);
  EXPECT_EQ(RecordedValue(), 3.0F);
}

TEST_F(Groups, DeviceLostBetweenTicks_IsReportedAtTheNextTick) {
  MakeInstrument(clock);
  EXPECT_EQ(instrument->SetGroupSettings(group, {.period_ms = 60'000}), S_OK);
  driver->present = [] { return false; };
  EXPECT_EQ(instrument->RunGroup(group), S_OK);
  for (int second = 0; second < 59; ++second) {
    ASSERT_TRUE(clock.AwaitWaiters(1));
    clock.Advance(1s);
  }
  ASSERT_TRUE(clock.AwaitWaiters(1));
  EXPECT_EQ(sink->reports(), 0U);
  EXPECT_EQ(instrument->CheckPresence(), serialCommErrCommClosed) << "a host that asks is told at once";
  code = serialCommErrCommClosed;
  clock.Advance(1s);
  ASSERT_TRUE(sink->AwaitReports(1));
  EXPECT_EQ(sink->seen.Get().data[0].errors[0], serialCommErrCommClosed);
}

TEST_F(Groups, TicksDuringAScan_AreMergedIntoOneScan) {
  MakeInstrument(clock);
  EXPECT_EQ(instrument->RunGroup(group), S_OK);
  Hold();
  Tick();
  for (int i = 0; i < 5; ++i) clock.Advance(1s);
  Release();
  ASSERT_TRUE(AwaitReads(2));
  ASSERT_TRUE(sink->AwaitReports(2));
  Tick();
  EXPECT_EQ(reads.Get(), 3) << "the missed ticks cause one scan, not five";
}

TEST_F(Groups, ImmediateReadDuringAScan_ForcesTheNextReport) {
  MakeInstrument(clock);
  EXPECT_EQ(instrument->SetGroupSettings(group, {.dead_band_abs = 100.0F, .dead_time_max_s = 1000}), S_OK);
  EXPECT_EQ(instrument->RunGroup(group), S_OK);
  Hold();
  Tick();
  ASSERT_EQ(instrument->ImmediateReadGroups(std::vector{group}), S_OK);
  clock.Advance(1ms);
  Release();
  EXPECT_TRUE(sink->AwaitReports(2)) << "the scan in progress, then the forced one";
  Tick();
  EXPECT_EQ(instrument->StopGroup(group), S_OK);
  EXPECT_EQ(sink->reports(), 2U);
}

TEST_F(Groups, ImmediateReadOfAStoppedGroup_ReturnsAfterOneScan) {
  MakeInstrument(SystemClock());
  for (const std::size_t times : {1U, 2U}) {
    ASSERT_EQ(instrument->ImmediateReadGroups(std::vector{group}), S_OK);
    EXPECT_EQ(sink->reports(), times);
  }
  EXPECT_EQ(instrument->ImmediateReadGroups(std::vector{group, 77U, group}), E_INVALIDARG);
  EXPECT_EQ(reads.Get(), 3) << "the group before the unknown one is read";
}

TEST_F(Groups, ImmediateReadLongerThanThePeriod_KeepsTheValueWithoutAReport) {
  MakeInstrument(SystemClock());
  EXPECT_EQ(instrument->SetGroupSettings(group, {.period_ms = 1}), S_OK);
  Hold();
  std::thread opener([&] {
    AwaitReads(1);
    // Longer than the period of 100 ms, shorter than the wait for the thread's end.
    std::this_thread::sleep_for(300ms);
    Release();
  });
  EXPECT_EQ(instrument->ImmediateReadGroups(std::vector{group}), S_OK);
  opener.join();
  EXPECT_EQ(sink->reports(), 0U);
  ChannelArrays records;
  EXPECT_EQ(instrument->GetChansVals(std::vector<ChannelId>{0}, &records), S_OK);
  EXPECT_EQ(records.values[0], 1.0F);
}

TEST_F(Groups, ThreadThatMissesItsStopDeadline_FiresNoEvent) {
  static std::atomic<int> traced = 0;
  traced = 0;
  SetTraceSink([](std::string_view line) {
    if (line == "InstrFake::GrpID1::Stop: Unable to kill Scan Thread\n") ++traced;
  });
  MakeInstrument(SystemClock());
  EXPECT_EQ(instrument->SetGroupSettings(group, {.period_ms = 100}), S_OK);
  Hold();
  EXPECT_EQ(instrument->RunGroup(group), S_OK);
  ASSERT_TRUE(AwaitReads(1));
  const auto start = steady_clock::now();
  instrument.reset();
  EXPECT_LT(steady_clock::now() - start, 3s);
  EXPECT_EQ(traced, 1);
  EXPECT_EQ(ThreadsAlive(), 1);
  Release();
  EXPECT_TRUE(AllThreadsEnd());
  EXPECT_EQ(sink->reports(), 0U);
  SetTraceSink(nullptr);
}

// The group is stopped and run again while the host is still in MeasReady. The old thread must not disturb the new run.
TEST_F(Groups, ThreadLeftBehindInMeasReady_NextRunStillReports) {
  MakeInstrument(SystemClock());
  EXPECT_EQ(instrument->SetGroupSettings(group, {.period_ms = 1000, .dead_band_abs = 100.0F, .dead_time_max_s = 1000}),
            S_OK);
  Watched<bool> host_returns{false};
  sink->in_meas_ready = [&] { host_returns.Await([](bool returns) { return returns; }); };
  EXPECT_EQ(instrument->RunGroup(group), S_OK);
  ASSERT_TRUE(sink->seen.Await([](const auto& seen) { return seen.order.size() == 2; }));
  EXPECT_EQ(instrument->StopGroup(group), S_OK);
  EXPECT_EQ(instrument->RunGroup(group), S_OK);
  host_returns.Update([](bool& returns) { returns = true; });
  EXPECT_TRUE(sink->AwaitReports(2)) << "the first scan of a run is always reported";
  instrument.reset();
}

TEST_F(Groups, ImmediateReadWhoseLinkDoesNotOpen_TracesThatNothingWasScanned) {
  static std::vector<std::string> traced;
  traced.clear();
  MakeInstrument(SystemClock());
  driver->link_open = [] { return false; };
  driver->opening = [] { return serialCommErrUnableToOpenComm; };
  SetTraceSink([](std::string_view line) { traced.emplace_back(line); });
  EXPECT_EQ(instrument->ImmediateReadGroups(std::vector{group}), S_OK);
  SetTraceSink(nullptr);
  EXPECT_EQ(traced, (std::vector<std::string>{"InstrFake::GrpID1::ImmediateRead: Scanning Not Created\n",
                                              "InstrFake::GrpID1::ImmediateRead: No Scanning done\n"}));
}

TEST_F(Groups, CallsInsideAnEvent_ReturnInTime) {
  const std::function<void()> actions[] = {
      [&] { instrument->StopGroup(group); },
      [&] { instrument->StopAllGroups(); },
      [&] { instrument->RemoveGroup(group); },
      [&] { instrument->Disconnect(); },
      [&] { instrument.reset(); },
      [&] {
        EXPECT_EQ(instrument->ImmediateReadGroups(std::vector{group}), S_OK);
        EXPECT_EQ(instrument->StopGroup(group), S_OK);
        EXPECT_EQ(instrument->RunGroup(group), S_OK);
      },
  };
  for (const auto& action : actions) {
    std::atomic<bool> done = false;
    sink->in_data_change = [&] {
      if (done) return;
      action();
      done = true;
    };
    MakeInstrument(SystemClock());
    EXPECT_EQ(instrument->SetGroupSettings(group, {.period_ms = 100}), S_OK);
    const auto start = steady_clock::now();
    EXPECT_EQ(instrument->RunGroup(group), S_OK);
    while (!done && steady_clock::now() - start < kTestPatience) std::this_thread::yield();
    EXPECT_TRUE(done);
    EXPECT_LT(steady_clock::now() - start, 2s);
    instrument.reset();
    EXPECT_TRUE(AllThreadsEnd());
  }
}

}  // namespace
}  // namespace ulix
