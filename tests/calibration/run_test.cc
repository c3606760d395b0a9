#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <atomic>
#include <cmath>
#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <random>

#include "calibration/evaluation.h"
#include "calibration/plan_loader.h"
#include "calibration/run.h"
#include "calibration/run_journal.h"
#include "calibration/schedule.h"
#include "calibration/station.h"
#include "simulators/plan_bench.h"
#include "tests/support/unique_name.h"

namespace ulix::calibration {
namespace {

using ::testing::HasSubstr;

constexpr Date kStart = 46000.5;

// A quick bench: a bath, a bridge with two thermometers, and a unit with a lag.
constexpr char kPlan[] = R"({
  "plan": 1,
  "instruments": {
    "bath": { "model": "kambic", "port": "sim" },
    "bridge": { "model": "microk", "port": "sim" },
    "bucket": { "model": "flukehydra", "port": "sim", "settings": { "channel.3.function": "RTD" } }
  },
  "source": { "set": "bath/SETPOINT", "min": -40, "max": 150, "safe": 20, "rate": 30, "settle": "4m" },
  "reference": { "channel": "bridge/CH1", "sensor": "pt100" },
  "units": [
    { "name": "Pt100", "channel": "bridge/CH2", "sensor": "pt100", "tolerance": 0.1 },
    { "name": "Bucket", "channel": "bucket/CH3" }
  ],
  "points": [ 30, 60 ],
  "sequence": "rising-falling",
  "phases": [ "as-found" ],
  "stability": { "window": "2m", "spread": 0.02, "drift": 0.01 },
  "readings": { "count": 6, "period": "4s" },
  "sampling": "4s",
  "limits": { "point": "2h", "lost": "60s", "repeats": 2 },
  "bench": {
    "seed": 1,
    "world": { "start": 20, "ambient": 20, "rate": 30, "time-constant": "20s", "overshoot": 0.002, "control-amplitude": 0.001, "control-period": "50s" },
    "sensors": [
      { "channel": "bridge/CH1", "lag": 10, "noise": 0.0005 },
      { "channel": "bridge/CH2", "lag": 20, "noise": 0.001, "offset": 0.05, "offset-after-adjustment": 0.01, "hysteresis": 0.03, "span": [ 0, 90 ] },
      { "channel": "bucket/CH3", "lag": 30, "noise": 0.002 }
    ]
  }
})";

std::string With(std::string text, const std::string& part, const std::string& replacement) {
  const std::size_t at = text.find(part);
  EXPECT_NE(at, text.npos) << part;
  return at == text.npos ? text : text.replace(at, part.size(), replacement);
}

// A run of a plan on its simulated bench, as fast as it goes.
class BenchRun : public RunObserver {
 public:
  explicit BenchRun(const std::string& text, Date start = kStart) : plan_(LoadPlan(text, "").plan) {
    bench_ = std::move(PlanBench::Make(plan_, 0, start).value());
    bench_->Provide(services_);
    services_.observer = this;
    services_.stop = &stop_;
  }
  RunEnd Go(const std::string& folder, RunMode mode = RunMode::kNew) {
    return RunCalibration(plan_, folder, mode, services_);
  }
  void OnStatus(const RunStatus& status) override {
    ++statuses_;
    if (on_status_) on_status_(status);
  }
  void OnMessage(const BilingualText& text) override { messages_ += text.en + "\n"; }

  Plan plan_;
  RunServices services_;
  std::unique_ptr<PlanBench> bench_;
  std::atomic<bool> stop_ = false;
  std::function<void(const RunStatus&)> on_status_;
  std::string messages_;
  int statuses_ = 0;
};

class CalibrationRun : public ::testing::Test {
 protected:
  CalibrationRun() { std::filesystem::create_directories(folder_); }
  ~CalibrationRun() override { std::filesystem::remove_all(folder_); }
  std::string Folder(const std::string& name) const { return folder_ + "/" + name; }
  static std::string Bytes(const std::string& folder) {
    std::ifstream file(JournalPath(folder), std::ios::binary);
    return {std::istreambuf_iterator<char>(file), {}};
  }
  static void Put(const std::string& folder, const std::string& bytes) {
    std::filesystem::create_directories(folder);
    std::ofstream(JournalPath(folder), std::ios::binary) << bytes;
  }
  // Every number that a run found.
  static std::vector<double> Table(const std::string& folder) {
    const auto result = ReadRun(folder);
    EXPECT_TRUE(result) << result.error().en;
    std::vector<double> table;
    if (!result) return table;
    for (const PhaseResult& phase : result->phases) {
      for (const PointResult& point : phase.points) {
        table.insert(table.end(), {point.nominal, point.reference.mean, point.reference.deviation});
        for (const ReadingSeries& unit : point.units) table.insert(table.end(), {unit.mean, unit.deviation});
      }
    }
    return table;
  }
  static double SetPoint(BenchRun& run) { return run.bench_->bench().world().set_point(); }

  const std::string folder_ = (std::filesystem::temp_directory_path() / UniqueName("calibration")).string();
};

// The error that the bench plants in the unit Pt100.
double PlantedError(const PointResult& point) {
  const double share = point.nominal / 90, half = 0.015 * 4 * share * (1 - share);
  // At the upper end the falling direction begins where the rising one ended, so the hysteresis has not turned yet.
  const bool turned = point.direction == Direction::kFalling && point.nominal < 60;
  return 0.05 + (turned ? half : -half);
}

// The expanded uncertainty of one point as stated, less its hysteresis: the planted hysteresis is known here.
double StatedWithoutHysteresis(const EvaluatedPoint& point) {
  Budget budget = point.budget;
  if (point.hysteresis) budget.terms.pop_back();
  return budget.ExpandedUncertainty();
}

TEST_F(CalibrationRun, PlantedErrors_AreFoundWithinTheStatedUncertainty) {
  const char* wanted = std::getenv("ULIX_SEEDS");
  const int seeds = wanted ? std::atoi(wanted) : 2;
  for (int seed = 1; seed <= seeds; ++seed) {
    BenchRun run(With(kPlan, "\"seed\": 1", "\"seed\": " + std::to_string(seed)));
    const std::string folder = Folder(std::to_string(seed));
    const RunEnd end = run.Go(folder);
    ASSERT_EQ(end.kind, RunEnd::kComplete) << end.reason.en;
    const auto result = ReadRun(folder);
    ASSERT_TRUE(result);
    const auto evaluation = Evaluate(*result, std::nullopt);
    ASSERT_TRUE(evaluation);
    const auto& points = evaluation->units.at(0).phases.at(0).points;
    ASSERT_EQ(points.size(), 4U);
    for (const EvaluatedPoint& point : points) {
      const PointResult& measured = result->phases.at(0).points.at(point.point);
      const double stated = StatedWithoutHysteresis(point);
      if (wanted) {
        std::printf("seed %d, %g: error %.2f mK of %.2f mK stated, type A %.2f mK\n", seed, measured.nominal,
                    1000 * (point.deviation - PlantedError(measured)), 1000 * stated,
                    1000 * point.budget.terms.front().value);
      }
      EXPECT_NEAR(point.deviation, PlantedError(measured), stated) << "seed " << seed << " at " << measured.nominal;
    }
  }
}

TEST_F(CalibrationRun, JournalCutAnywhere_ResumesToTheSameTable) {
  BenchRun whole(With(kPlan, "[ \"as-found\" ]", "[ \"as-found\", \"as-left\" ]"));
  ASSERT_EQ(whole.Go(Folder("whole")).kind, RunEnd::kComplete);
  const std::string journal = Bytes(Folder("whole"));
  const auto table = Table(Folder("whole"));
  ASSERT_EQ(table.size(), 8U * 7U);
  const char* wanted = std::getenv("ULIX_KILLS");
  const int kills = wanted ? std::atoi(wanted) : 4;
  std::mt19937 random(11);
  const std::size_t header = journal.find('\n') + 1;
  for (int k = 0; k < kills; ++k) {
    const std::size_t cut = std::uniform_int_distribution<std::size_t>(header, journal.size() - 1)(random);
    const std::string folder = Folder("cut" + std::to_string(k));
    Put(folder, journal.substr(0, cut));
    BenchRun again(whole.plan_.text);
    const RunEnd end = again.Go(folder, RunMode::kResume);
    ASSERT_EQ(end.kind, RunEnd::kComplete) << end.reason.en << " after " << cut << " bytes";
    EXPECT_EQ(Table(folder), table) << "after " << cut << " bytes";
    EXPECT_EQ(Bytes(folder), journal);
    std::filesystem::remove_all(folder);
  }
}

TEST_F(CalibrationRun, InterruptedRun_LeavesTheSourceSafeAndResumesAtTheSamePoint) {
  const std::string folder = Folder("run");
  {
    BenchRun first(kPlan);
    first.on_status_ = [&](const RunStatus& status) { first.stop_ = status.point == 2; };
    const RunEnd end = first.Go(folder);
    EXPECT_EQ(end.kind, RunEnd::kEndedEarly);
    EXPECT_TRUE(end.safe);
    EXPECT_EQ(SetPoint(first), 20);
    EXPECT_EQ(ReadRun(folder)->phases.at(0).points.size(), 2U);
  }
  for (const std::size_t points : {3U, 4U}) {
    BenchRun next(kPlan);
    next.on_status_ = [&](const RunStatus& status) { next.stop_ = points == 3 && status.point == 3; };
    const RunEnd end = next.Go(folder, RunMode::kResume);
    EXPECT_EQ(end.kind, points == 4 ? RunEnd::kComplete : RunEnd::kEndedEarly) << end.reason.en;
    EXPECT_EQ(ReadRun(folder)->phases.at(0).points.size(), points);
  }
}

TEST_F(CalibrationRun, ResumeWithRealInstruments_BeginsThePointAnew) {
  const std::string folder = Folder("run");
  BenchRun run(kPlan);
  ASSERT_EQ(run.Go(Folder("whole")).kind, RunEnd::kComplete);
  const std::string journal = Bytes(Folder("whole"));
  Put(folder, journal.substr(0, journal.size() * 6 / 10));
  const auto taken = ReadRun(folder)->phases.at(0).points.size();
  BenchRun real(kPlan);  // another bench, which has changed meanwhile
  real.services_.simulated = false;
  const RunEnd end = real.Go(folder, RunMode::kResume);
  ASSERT_EQ(end.kind, RunEnd::kComplete) << end.reason.en;
  const auto result = ReadRun(folder);
  ASSERT_TRUE(result && result->complete);
  ASSERT_EQ(result->phases.at(0).points.size(), 4U);
  EXPECT_THAT(Bytes(folder), HasSubstr("\"k\":\"resume\""));
  const auto before = ReadRun(Folder("whole"));
  for (std::size_t k = 0; k < taken; ++k) {
    EXPECT_EQ(result->phases[0].points[k].reference.mean, before->phases[0].points[k].reference.mean);
  }
}

// The plan's bath comes last.
std::string SourceLast() {
  const std::string bath = "    \"bath\": { \"model\": \"kambic\", \"port\": \"sim\" },\n";
  return With(With(kPlan, bath, ""), "\"RTD\" } }\n", "\"RTD\" } },\n" + bath.substr(0, bath.size() - 2) + "\n");
}

// A run was killed on its way to 60 °C, and the bath still goes there.
class DiedHot : public CalibrationRun {
 protected:
  DiedHot() {
    BenchRun run(SourceLast());
    EXPECT_EQ(run.Go(Folder("whole")).kind, RunEnd::kComplete);
    const std::string journal = Bytes(Folder("whole"));
    Put(folder(), journal.substr(0, journal.size() * 4 / 10));
  }
  std::string folder() const { return Folder("run"); }
  static void MakeHotAndReal(BenchRun& run) {
    run.services_.simulated = false;
    run.bench_->bench().world().SetPoint(60);
  }
};

TEST_F(DiedHot, ResumeWithoutAnotherInstrument_MakesTheSourceSafe) {
  BenchRun real(SourceLast());
  MakeHotAndReal(real);
  ASSERT_EQ(real.plan_.instruments.back().name, "bath");
  real.bench_->bench().Set("bridge", "identity", "nobody");
  const RunEnd end = real.Go(folder(), RunMode::kResume);
  EXPECT_EQ(end.kind, RunEnd::kEndedEarly);
  EXPECT_THAT(end.reason.en, HasSubstr("bridge"));
  EXPECT_TRUE(end.safe) << end.unsafe_reason.en;
  EXPECT_EQ(SetPoint(real), 20);
}

TEST_F(DiedHot, SourceThatIsBackOnlyForItsSafeValue_IsConnectedAgain) {
  BenchRun real(SourceLast());
  MakeHotAndReal(real);
  int tries = 0;
  const auto services_of = real.services_.services_of;
  real.services_.services_of = [&](const PlannedInstrument& planned) {
    const bool absent = planned.name == "bath" && ++tries < 3;
    return absent ? DriverServices() : services_of(planned);
  };
  const RunEnd end = real.Go(folder(), RunMode::kResume);
  EXPECT_EQ(end.kind, RunEnd::kEndedEarly);
  EXPECT_TRUE(end.safe) << end.unsafe_reason.en;
  EXPECT_EQ(tries, 3);
  EXPECT_EQ(SetPoint(real), 20);
}

TEST_F(DiedHot, RunThatIsResumedDaysLater_KeepsItsLimits) {
  BenchRun later(SourceLast(), kStart + 30);
  MakeHotAndReal(later);
  const RunEnd end = later.Go(folder(), RunMode::kResume);
  ASSERT_EQ(end.kind, RunEnd::kComplete) << end.reason.en;
  const auto phases = ReadRun(folder())->phases;
  EXPECT_GT(phases.at(0).points.back().ended - phases.at(0).points.front().ended, 29);
}

TEST_F(CalibrationRun, JournalThatWasChanged_IsRefusedAndNotTouched) {
  BenchRun run(kPlan);
  run.on_status_ = [&](const RunStatus&) { run.stop_ = run.statuses_ > 20; };
  run.Go(Folder("run"));
  const std::string journal = Bytes(Folder("run"));
  std::string changed = journal;
  const std::size_t digit = changed.find("\"q\":", changed.size() / 2) + 5;
  changed[digit] = changed[digit] == '1' ? '2' : '1';
  Put(Folder("changed"), changed);
  const RunEnd end = BenchRun(kPlan).Go(Folder("changed"), RunMode::kResume);
  EXPECT_EQ(end.kind, RunEnd::kCannotStart);
  EXPECT_THAT(end.reason.en, HasSubstr("one of the two was changed"));
  EXPECT_EQ(Bytes(Folder("changed")), changed);
  const RunEnd other_plan = BenchRun(With(kPlan, "[ 30, 60 ]", "[ 30, 61 ]")).Go(Folder("run"), RunMode::kResume);
  EXPECT_THAT(other_plan.reason.en, HasSubstr("the plan was changed"));
  const RunEnd twice = BenchRun(kPlan).Go(Folder("run"));
  EXPECT_THAT(twice.reason.en, HasSubstr("holds a run"));
  EXPECT_EQ(Bytes(Folder("run")), journal);
}

TEST_F(CalibrationRun, TwoRunsInOneFolder_TheSecondIsRefused) {
  BenchRun first(kPlan), second(kPlan);
  RunEnd inner;
  first.on_status_ = [&](const RunStatus& status) {
    if (status.seconds < 100 || first.stop_) return;
    inner = second.Go(Folder("run"), RunMode::kResume);
    first.stop_ = true;
  };
  first.Go(Folder("run"));
  EXPECT_EQ(inner.kind, RunEnd::kCannotStart);
  EXPECT_THAT(inner.reason.en, HasSubstr("is being written by another run"));
}

TEST_F(CalibrationRun, UnitThatFallsSilent_EndsTheRunSafelyAfterItsLimit) {
  BenchRun run(kPlan);
  run.on_status_ = [&](const RunStatus& status) {
    if (status.point == 1 && status.activity == Activity::kApproaching) {
      run.bench_->bench().Set("bucket", "last-text", "nonsense");
    }
  };
  const RunEnd end = run.Go(Folder("run"));
  EXPECT_EQ(end.kind, RunEnd::kEndedEarly);
  EXPECT_THAT(end.reason.en, HasSubstr("Bucket (bucket/CH3) has given no reading for 60 s"));
  EXPECT_TRUE(end.safe);
  EXPECT_EQ(SetPoint(run), 20);
}

TEST_F(CalibrationRun, StabilityLostWhileReading_ReadsThePointAgain) {
  BenchRun run(kPlan);
  int pulls = 0;
  run.on_status_ = [&](const RunStatus& status) {
    const bool reading = status.activity == Activity::kReading && status.point == 1;
    if (reading && pulls == 0)
      ++pulls, run.bench_->bench().Set("bucket", "last-text", "nonsense");
    else if (pulls == 1)
      ++pulls, run.bench_->bench().Set("bucket", "last-text", "");
  };
  const RunEnd end = run.Go(Folder("run"));
  ASSERT_EQ(end.kind, RunEnd::kComplete) << end.reason.en;
  const auto result = ReadRun(Folder("run"));
  EXPECT_EQ(result->phases.at(0).points.at(1).attempts, 2);
  EXPECT_EQ(result->phases.at(0).points.at(1).units.at(1).readings.size(), 6U);
  EXPECT_THAT(run.messages_, HasSubstr("bucket is back"));
}

TEST_F(CalibrationRun, AnotherInstrumentThatComesBack_EndsTheRun) {
  BenchRun run(kPlan);
  run.on_status_ = [&](const RunStatus& status) {
    if (run.statuses_ == 20) run.bench_->bench().Set("bucket", "last-text", "nonsense");
    if (run.statuses_ != 24) return;
    run.bench_->bench().Set("bucket", "identity", "FLUKE,2635A,0,M9.9 A4.7 D1.0 L1.2");
    run.bench_->bench().Set("bucket", "last-text", "");
    static_cast<void>(status);
  };
  const RunEnd end = run.Go(Folder("run"));
  EXPECT_EQ(end.kind, RunEnd::kEndedEarly);
  EXPECT_THAT(end.reason.en, HasSubstr("another instrument came back"));
}

TEST_F(CalibrationRun, OtherSerialNumberOrUnit_IsRefusedBeforeTheSourceIsSet) {
  const RunEnd serial =
      BenchRun(With(kPlan, "\"kambic\", \"port\": \"sim\"", "\"kambic\", \"port\": \"sim\", \"serial-number\": \"9\""))
          .Go(Folder("a"));
  EXPECT_THAT(serial.reason.en, HasSubstr("the serial number 9 is not in its identification"));
  const RunEnd unit = BenchRun(With(kPlan, "\"bridge/CH1\", \"sensor\": \"pt100\"", "\"bridge/CH1\"")).Go(Folder("b"));
  EXPECT_THAT(unit.reason.en, HasSubstr("tells Ohms, and the plan is in "));
  const RunEnd sensor =
      BenchRun(With(kPlan, "\"bridge/CH1\", \"sensor\": \"pt100\"", "\"bridge/CH1\", \"sensor\": \"K\""))
          .Go(Folder("c"));
  EXPECT_THAT(sensor.reason.en, HasSubstr("reference (bridge/CH1): "));
  for (const char* folder : {"a", "b", "c"}) {
    EXPECT_EQ(Bytes(Folder(folder)).find("\"k\":\"set\""), std::string::npos) << folder;
  }
}

TEST(NamesSerialNumber, WholeFieldOrWord_IsTakenAndNoPartOfOne) {
  EXPECT_TRUE(NamesSerialNumber("ULIX,CMX310,310042", "310042"));
  EXPECT_TRUE(NamesSerialNumber("ULIX,CMX310, 310042 ,1.2", "310042"));
  EXPECT_TRUE(NamesSerialNumber("RTC-159 605157 00012", "605157 00012"));
  EXPECT_TRUE(NamesSerialNumber("KAMBIC OB-7 (14021)", "14021"));
  for (const char* part : {"310", "31004", "10042", "ULIX"}) {
    EXPECT_FALSE(NamesSerialNumber("ULIX,CMX310,310042", part)) << part;
  }
  EXPECT_FALSE(NamesSerialNumber("bath, version 2.05", "05"));
}

TEST_F(CalibrationRun, SourceThatRefusesItsSafeValue_IsNotSetToAnyPoint) {
  BenchRun run(With(With(kPlan, "\"min\": -40", "\"min\": -400"), "\"safe\": 20", "\"safe\": -390"));
  const double before = SetPoint(run);
  const RunEnd end = run.Go(Folder("run"));
  EXPECT_EQ(end.kind, RunEnd::kEndedEarly);
  EXPECT_THAT(end.reason.en, HasSubstr("the source does not take -390"));
  EXPECT_TRUE(end.safe);
  EXPECT_EQ(SetPoint(run), before);
  EXPECT_EQ(Bytes(Folder("run")).find("\"k\":\"point\""), std::string::npos);
}

TEST_F(CalibrationRun, SourceThatFailsAtTheEnd_CompleteRunIsNotSafe) {
  BenchRun run(kPlan);
  run.on_status_ = [&](const RunStatus& status) {
    if (status.activity == Activity::kLeavingSafe) run.bench_->bench().Set("bath", "set-point-text", "nonsense");
  };
  const RunEnd end = run.Go(Folder("run"));
  EXPECT_EQ(end.kind, RunEnd::kComplete);
  EXPECT_FALSE(end.safe);
  EXPECT_THAT(end.unsafe_reason.en, HasSubstr("the source did not take its safe value"));
}

TEST_F(CalibrationRun, ChannelInOhms_IsConvertedAndHasTheResolutionOfItsStep) {
  const std::string ohms = With(kPlan, "\"channel.3.function\": \"RTD\"", "\"channel.3.function\": \"OHMS\"");
  BenchRun run(With(ohms, "\"channel\": \"bucket/CH3\" }", "\"channel\": \"bucket/CH3\", \"sensor\": \"pt100\" }"));
  const RunEnd end = run.Go(Folder("run"));
  ASSERT_EQ(end.kind, RunEnd::kComplete) << end.reason.en;
  const auto result = ReadRun(Folder("run"));
  const ReadingSeries& unit = result->phases.at(0).points.at(0).units.at(1);
  EXPECT_NEAR(unit.mean, 30, 0.1);
  EXPECT_NEAR(unit.readings.at(0).raw, 111.67, 0.05);
  const double slope = 0.387;  // ohms per kelvin
  EXPECT_GT(unit.resolution, 0);
  const double decimals = -std::log10(unit.resolution * slope);
  EXPECT_NEAR(decimals, std::round(decimals), 0.01) << unit.resolution;
}

TEST_F(CalibrationRun, PointThatNeverSettles_EndsAtItsLimit) {
  BenchRun run(With(With(kPlan, "\"control-amplitude\": 0.001", "\"control-amplitude\": 0.3"), "\"point\": \"2h\"",
                    "\"point\": \"1h\""));
  const RunEnd end = run.Go(Folder("run"));
  EXPECT_EQ(end.kind, RunEnd::kEndedEarly);
  EXPECT_THAT(end.reason.en, HasSubstr("was not done in 3600 s: reference is settling"));
  EXPECT_EQ(SetPoint(run), 20);
}

TEST_F(CalibrationRun, TimeTable_IsWithinTenPercentOfTheRun) {
  for (const char* name : {"dry-block", "bath", "pressure"}) {
    std::ifstream file(std::string(ULIX_SOURCE_DIR "/examples/plans/") + name + ".json");
    BenchRun run(std::string(std::istreambuf_iterator<char>(file), {}));
    double seconds = 0;
    run.on_status_ = [&](const RunStatus& status) { seconds = status.seconds; };
    const RunEnd end = run.Go(Folder(name));
    ASSERT_EQ(end.kind, RunEnd::kComplete) << name << ": " << end.reason.en;
    const double planned = TimeTableOf(run.plan_).run_seconds;
    EXPECT_NEAR(planned, seconds, 0.1 * seconds) << name;
    const auto size = static_cast<double>(std::filesystem::file_size(JournalPath(Folder(name))));
    const std::string journal = Bytes(Folder(name));
    std::size_t readings = 0;
    for (std::size_t at = 0; (at = journal.find("\"k\":\"r\"", at)) != journal.npos; ++at) ++readings;
    EXPECT_LT(size / static_cast<double>(readings), 300) << name;
  }
}

}  // namespace
}  // namespace ulix::calibration
