#include "simulators/in_process_port.h"

#include <gtest/gtest.h>

#include <array>
#include <thread>

#include "simulators/kelvo10.h"
#include "tests/support/manual_clock.h"

namespace ulix {
namespace {

using enum platform::IoOutcome;

constexpr std::string_view kIdentity = "ULIX,KELVO10,123456,V2.10\n";

class InProcessPortTest : public testing::Test {
 protected:
  explicit InProcessPortTest(ManualClock::Mode mode = ManualClock::Mode::kAutomatic) : clock_(mode) {}
  void SetUp() override { Reopen(); }
  void Reopen() {
    port_.reset();
    port_ = open_(1).port;
    ASSERT_NE(port_, nullptr);
    port_->SetTimeouts({1000, 1000});
  }
  // Reads at most `count` bytes into text_ and returns how it ended.
  platform::IoOutcome Read(std::size_t count) {
    text_.assign(count, '\0');
    const platform::IoResult result = port_->Read(text_);
    text_.resize(result.count);
    return result.outcome;
  }
  auto Elapsed() { return std::chrono::duration_cast<Milliseconds>(clock_.Now() - start_).count(); }

  ManualClock clock_;
  MonotonicTime start_ = clock_.Now();
  std::shared_ptr<SimulatedBench> bench_ =
      std::make_shared<SimulatedBench>(std::make_unique<Kelvo10Simulator>(clock_), clock_);
  platform::SerialPortOpener open_ = OpenerOf(bench_);
  std::unique_ptr<platform::SerialPort> port_;
  std::string text_;
};

TEST_F(InProcessPortTest, ReadsUntilFullOrTheTimeIsOver) {
  EXPECT_EQ(Read(1), kNoFirstByte);
  EXPECT_EQ(Elapsed(), 1000);
  port_->Write("*IDN?");
  EXPECT_EQ(port_->Write("\n").count, 1u);
  EXPECT_EQ(Read(5), kComplete);
  EXPECT_EQ(text_, "ULIX,");
  EXPECT_EQ(Elapsed(), 1000);
  EXPECT_EQ(Read(100), kStoppedMidway);
  EXPECT_EQ(text_, kIdentity.substr(5));
  EXPECT_EQ(Elapsed(), 2000);
}

TEST_F(InProcessPortTest, TimesOneReadNotOneByte) {
  bench_->SetFaults({{FaultKind::kDrip, 400}});
  port_->Write("*IDN?\n");
  EXPECT_EQ(Read(4), kStoppedMidway);
  EXPECT_EQ(text_, "ULI");
  EXPECT_EQ(Elapsed(), 1000);
  port_->SetTimeouts({0, 0});
  bench_->SetFaults({});
  EXPECT_EQ(Read(kIdentity.size() - 3), kComplete) << "no limit";
}

TEST_F(InProcessPortTest, TakesAByteThatComesOnTheDeadline) {
  bench_->SetFaults({{FaultKind::kDelay, 1000}});
  port_->Write("CFG_IN?\n");
  EXPECT_EQ(Read(1), kComplete);
}

TEST_F(InProcessPortTest, PurgesWhatHasCome) {
  port_->Write("CFG_IN?\n");
  port_->Purge(false, true);
  EXPECT_EQ(Read(5), kComplete);
  port_->Purge(true, false);
  EXPECT_EQ(Read(1), kNoFirstByte);
}

TEST_F(InProcessPortTest, IsOpenOnceAndKeepsTheInstrument) {
  port_->Write("OUT 5\n");
  EXPECT_EQ(open_(1).port, nullptr);
  EXPECT_NE(open_(1).os_error, 0u);
  port_->Write("CFG_IN?\n");
  Reopen();
  EXPECT_EQ(Read(1), kNoFirstByte) << "a reply to the host before";
  EXPECT_EQ(bench_->WithSimulator([](Simulator& s) { return dynamic_cast<Kelvo10Simulator&>(s).model().output; }), 5);
}

TEST_F(InProcessPortTest, LosesADeviceThatVanishesUntilItIsOpenedAgain) {
  bench_->SetFaults({{FaultKind::kDrop, 1}});
  port_->Write("*IDN?\n");
  EXPECT_EQ(Read(100), kLinkLost);
  EXPECT_EQ(text_, kIdentity);
  EXPECT_EQ(port_->Write("REM\n").outcome, kLinkLost);
  port_.reset();
  EXPECT_EQ(open_(1).port, nullptr);
  bench_->SetFaults({});
  Reopen();
  EXPECT_EQ(port_->Write("REM\n").outcome, kComplete);

  bench_->SetFaults({{FaultKind::kDrop, 0}});
  bench_->SetFaults({});
  EXPECT_EQ(Read(1), kLinkLost) << "plugged in again, but not opened again";
}

class SteppedInProcessPortTest : public InProcessPortTest {
 protected:
  SteppedInProcessPortTest() : InProcessPortTest(ManualClock::Mode::kStepped) {}
};

TEST_F(SteppedInProcessPortTest, WakesAWaitingReader) {
  bench_->SetFaults({{FaultKind::kDelay, 60'000}});
  port_->SetTimeouts({0, 0});
  port_->Write("*IDN?\n");
  platform::IoOutcome outcome{};
  std::thread reader([&] { outcome = Read(kIdentity.size()); });
  EXPECT_TRUE(clock_.AwaitWaiters(1));
  clock_.Advance(Milliseconds(60'000));
  reader.join();
  EXPECT_EQ(outcome, kComplete);

  std::thread second([&] { outcome = Read(1); });
  EXPECT_TRUE(clock_.AwaitWaiters(1));
  bench_->SetFaults({{FaultKind::kDrop, 0}});
  second.join();
  EXPECT_EQ(outcome, kLinkLost);
}

}  // namespace
}  // namespace ulix
