#include "simulators/shared_bench.h"

#include <gtest/gtest.h>

#include <cmath>

#include "calibration/instruments.h"
#include "simulators/virtual_time.h"

namespace ulix {
namespace {

class SharedBenchTest : public ::testing::Test {
 protected:
  void Build(const std::string& source, const std::string& reader, const std::string& channel) {
    plan_.world = {.start = 20,
                   .ambient = 20,
                   .rate = 60,
                   .time_constant = 10,
                   .overshoot = overshoot_,
                   .control_amplitude = 0,
                   .noise = 0};
    if (plan_.sensors.empty())
      plan_.sensors.push_back({.instrument = "reader", .channel = channel, .lag = 5, .noise = 0});
    auto made = SharedBench::Make(plan_, {{"source", source}, {"reader", reader}}, time_.jumping());
    ASSERT_TRUE(made) << made.error().en;
    bench_ = std::move(*made);
    source_ = Connected("source", source);
    reader_ = Connected("reader", reader);
    channel_ = calibration::FindChannel(*reader_, channel).value();
  }
  std::unique_ptr<Instrument> Connected(const std::string& name, const std::string& model) {
    calibration::PlannedInstrument planned{.name = name, .model = model, .port = "sim"};
    auto made = calibration::MakeInstrument(planned, "", bench_->ServicesOf(name), {.clock = &time_.patient()});
    EXPECT_TRUE(made);
    EXPECT_EQ((*made)->Connect(), S_OK);
    return std::move(*made);
  }
  void Wait(double seconds) { time_.pacing().SleepFor(Milliseconds(static_cast<int>(seconds * 1000))); }
  double Read() {
    std::uint32_t group = 0;
    reader_->CreateGroup(&group);
    reader_->SetGroupSettings(group, {.period_ms = 60000});
    reader_->ConnectGroupChan(group, channel_);
    reader_->ImmediateReadGroups(std::span(&group, 1));
    ChannelArrays arrays;
    reader_->GetChansVals(std::span(&channel_, 1), &arrays);
    reader_->RemoveGroup(group);
    EXPECT_EQ(arrays.errors.at(0), S_OK);
    return arrays.values.at(0);
  }

  VirtualTime time_{0, 45000};
  BenchPlan plan_;
  std::unique_ptr<SharedBench> bench_;
  std::unique_ptr<Instrument> source_, reader_;
  ChannelId channel_ = 0;
  double overshoot_ = 0.1;
};

TEST_F(SharedBenchTest, SourceSet_ReaderSeesItRiseOvershootAndSettle) {
  Build("kambic", "flukehydra", "CH7");
  EXPECT_NEAR(Read(), 20, 0.001);
  ASSERT_EQ(source_->SetChanVal(1, 40.0), S_OK);
  Wait(10);
  const double soon = Read();
  EXPECT_GT(soon, 20.5);
  EXPECT_LT(soon, 30);  // no faster than 1 degree a second
  double highest = 0;
  for (int k = 0; k < 60; ++k) Wait(2), highest = std::max(highest, Read());
  EXPECT_GT(highest, 40.1);
  EXPECT_LT(highest, 43);
  Wait(600);
  EXPECT_NEAR(Read(), 40, 0.01);
}

TEST_F(SharedBenchTest, PlantedErrors_AreWhatTheReaderShows) {
  overshoot_ = 0;
  plan_.sensors = {{.instrument = "reader",
                    .channel = "12",
                    .lag = 0,
                    .offset = 0.5,
                    .noise = 0,
                    .hysteresis = 0.4,
                    .span_low = 20,
                    .span_high = 60,
                    .offset_after_adjustment = 0.1}};
  Build("jofrartcptc", "flukehydra", "CH12");
  const auto settled_at = [&](double value) {
    EXPECT_EQ(source_->SetChanVal(2, value), S_OK);
    Wait(3600);
    return Read();
  };
  const double rising = settled_at(40);
  settled_at(60);
  const double falling = settled_at(40);
  EXPECT_NEAR(rising, 40.5 - 0.2, 0.02);
  EXPECT_NEAR(falling, 40.5 + 0.2, 0.02);
  bench_->Adjust();
  EXPECT_NEAR(Read(), falling - 0.4, 0.011);
}

TEST_F(SharedBenchTest, SameSeedAndTimes_GiveTheSameReadings) {
  std::vector<double> first;
  for (int round = 0; round < 2; ++round) {
    plan_.sensors = {{.instrument = "reader", .channel = "CH1", .lag = 5, .noise = 0.05}};
    Build("kambic", "microk", "CH1");
    source_->SetChanVal(1, 30.0);
    for (std::size_t k = 0; k < 50; ++k) {
      Wait(round == 0 ? 3 : 1.5);
      const double value = round == 1 ? (Wait(1.5), Read()) : Read();
      if (round == 0)
        first.push_back(value);
      else
        EXPECT_EQ(value, first.at(k));
    }
    source_->Disconnect();
    reader_->Disconnect();
  }
}

TEST(SharedBench, ModelThatMeasuresNothingOfTheWorld_IsRefused) {
  VirtualTime time(0, 45000);
  EXPECT_FALSE(SharedBench::Make({}, {{"logger", "memolog"}}, time.jumping()));
}

TEST(VirtualTime, WaitAtASpeed_TakesItsShareOfTheMachinesTime) {
  VirtualTime time(100, 45000);
  const auto began = std::chrono::steady_clock::now();
  time.pacing().SleepFor(Milliseconds(10000));
  EXPECT_GE(std::chrono::steady_clock::now() - began, Milliseconds(99));
  EXPECT_NEAR((time.patient().LocalTime() - 45000) * 86400, 10, 0.001);
}

}  // namespace
}  // namespace ulix
