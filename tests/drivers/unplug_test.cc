// A device that goes from its port and comes back: every exchange says so at once, and the first one after its return
// opens the port, repeats the handshake and gives its value. And a host that leaves while an instrument is
// waited for.
#include <gtest/gtest.h>

#include <future>

#include "core/worker.h"
#include "tests/support/reader_bench.h"
#include "tests/support/recording_sink.h"

namespace ulix {
namespace {

class Unplug : public ReaderBench {
 protected:
  void Drop() { bench->SetFaults({{FaultKind::kDrop, 0}}); }
  void BringBack() { bench->SetFaults({}); }

  void IsToldAtOnceAndTheReturnConnectsAgain();
  void ComesBetweenAQueryAndItsReply();
  void AReturnThatFailsIsTriedAgain();
  void LeavesNothingToWaitForAtDisconnecting();
};

void Unplug::IsToldAtOnceAndTheReturnConnectsAgain() {
  SCOPED_TRACE("told at once");
  device->Disconnect();
  TakeSent();
  ASSERT_EQ(device->Connect(), S_OK);
  const std::string connection = TakeSent();
  ASSERT_EQ(AskOnce(), S_OK);
  for (int cycle = 0; cycle < 20; ++cycle) {
    SCOPED_TRACE(cycle);
    const MonotonicTime before = clock.Now();
    Drop();
    EXPECT_EQ(AskOnce(), model.codes.unwritten);
    for (int i = 0; i < 5; ++i) EXPECT_EQ(AskOnce(), model.codes.gone);
    EXPECT_TRUE(IsConnected()) << "as the host left it";
    EXPECT_EQ(clock.Now(), before) << "nobody waits for a device that is not there";
    BringBack();
    TakeSent();
    EXPECT_EQ(AskOnce(), S_OK);
    EXPECT_TRUE(TakeSent().starts_with(connection));
  }
}

// In the middle of an exchange, with a reply on its way.
void Unplug::ComesBetweenAQueryAndItsReply() {
  SCOPED_TRACE("between query and reply");
  for (int cycle = 0; cycle < 20; ++cycle) {
    bench->SetFaults({{FaultKind::kDrop, 1}, {FaultKind::kDrip, 1}});
    AskOnce();  // the device answers one query more and is gone
    EXPECT_TRUE(Failed(AskOnce()));
    BringBack();
    EXPECT_EQ(AskOnce(), S_OK);
  }
}

// A device that comes back mute, or another one: each exchange tries the connection once and says how it failed.
void Unplug::AReturnThatFailsIsTriedAgain() {
  SCOPED_TRACE("a return that fails");
  Drop();
  AskOnce();
  bench->SetFaults({{FaultKind::kSilent}});
  longest = {};
  EXPECT_EQ(AskOnce(), model.mute_return != 0 ? model.mute_return : model.codes.unread);
  EXPECT_LE(longest.count(), model.patience_ms + kWireMs);
  BringBack();
  EXPECT_EQ(AskOnce(), S_OK);
  EXPECT_EQ(AskOnce(), S_OK);
}

void Unplug::LeavesNothingToWaitForAtDisconnecting() {
  SCOPED_TRACE("disconnecting");
  for (const bool noticed : {true, false}) {
    ASSERT_EQ(device->Connect(), S_OK);
    Drop();
    if (noticed) AskOnce();
    TakeSent();
    const MonotonicTime before = clock.Now();
    EXPECT_EQ(device->Disconnect(), S_OK);
    EXPECT_FALSE(IsConnected());
    EXPECT_EQ(AskOnce(), model.codes.closed);
    BringBack();
    EXPECT_EQ(AskOnce(), model.codes.closed) << "nobody opens a port that the host closed";
    EXPECT_EQ(clock.Now(), before);
    EXPECT_EQ(TakeSent(), "");
  }
}

TEST_P(Unplug, IsToldAndPasses) {
  IsToldAtOnceAndTheReturnConnectsAgain();
  EXPECT_EQ(UnknownRequests(), std::vector<std::string>());
  ComesBetweenAQueryAndItsReply();
  AReturnThatFailsIsTriedAgain();
  LeavesNothingToWaitForAtDisconnecting();
  EXPECT_EQ(wrong, 0);
}

INSTANTIATE_TEST_SUITE_P(Drivers, Unplug, testing::ValuesIn(Readers()), NameOf);

// Beside a group's threads, on a clock that is turned by hand.
class UnplugBesideGroups : public DeviceBench {
 protected:
  UnplugBesideGroups() : DeviceBench(kDevices[0], ManualClock::Mode::kStepped) {
    EXPECT_EQ(device->Connect(), S_OK);
    device->events().Advise(sink);
    EXPECT_EQ(device->CreateGroup(&group), S_OK);
    EXPECT_EQ(device->ConnectGroupChan(group, 0), S_OK);
    EXPECT_EQ(device->SetGroupSettings(group, {.period_ms = kPeriodMs, .dead_band_abs = 1000.0F}), S_OK);
    SetQuantity(kValue);
  }
  ~UnplugBesideGroups() override {
    device.reset();
    for (const auto until = std::chrono::steady_clock::now() + kTestPatience;
         ThreadsAlive() > 0 && std::chrono::steady_clock::now() < until;) {
      std::this_thread::yield();
    }
    EXPECT_EQ(ThreadsAlive(), 0);
  }

  // Each of a group's two threads sees every moment.
  void Pass(int ms) {
    for (; ms > 0; ms -= kStepMs) {
      ASSERT_TRUE(clock.AwaitWaiters(2));
      clock.Advance(Milliseconds(kStepMs));
    }
    ASSERT_TRUE(clock.AwaitWaiters(2));
  }
  // Of a running group; the call does not wait.
  void ReadAtOnce() { ASSERT_EQ(device->ImmediateReadGroups(std::vector{group}), S_OK); }
  ChannelArrays LastReport() { return sink->seen.Get().data.back(); }

  static constexpr std::uint32_t kPeriodMs = 60'000;
  static constexpr int kStepMs = 100;
  static constexpr float kValue = 12.25F;
  std::shared_ptr<RecordingSink> sink = std::make_shared<RecordingSink>();
  std::uint32_t group = 0;
};

// Events come with ticks alone; a host that needs it earlier asks.
TEST_F(UnplugBesideGroups, DeviceGone_IsSeenAtOnceByWhoAsksAndReportedAtTheNextTick) {
  ASSERT_EQ(device->RunGroup(group), S_OK);
  ReadAtOnce();
  ASSERT_TRUE(sink->AwaitReports(1));
  for (int cycle = 0; cycle < 2; ++cycle) {
    SCOPED_TRACE(cycle);
    Pass(300);
    EXPECT_EQ(device->CheckPresence(), S_OK);
    const std::size_t before = sink->reports();
    TakeSent();
    bench->SetFaults({{FaultKind::kDrop, 0}});
    Pass(300);
    EXPECT_EQ(device->CheckPresence(), serialCommErrCommClosed);
    EXPECT_EQ(sink->reports(), before);
    EXPECT_EQ(TakeSent(), "") << "nothing is sent to find that out";
    ReadAtOnce();
    ASSERT_TRUE(sink->AwaitReports(before + 1));
    EXPECT_TRUE(Failed(LastReport().errors[0]));
    EXPECT_TRUE(IsConnected());
    bench->SetFaults({});
    Pass(kStepMs);
    ReadAtOnce();
    ASSERT_TRUE(sink->AwaitReports(before + 2));
    EXPECT_EQ(LastReport().values, std::vector<float>{kValue});
  }
}

// A mute instrument is waited for by a group or by a host, and the host leaves: no time passes.
TEST_F(UnplugBesideGroups, AHostThatLeavesWaitsForNobody) {
  bench->SetFaults({{FaultKind::kSilent}});
  for (int i = 0; i < 3; ++i) {
    ASSERT_EQ(device->RunGroup(group), S_OK);
    ReadAtOnce();
    clock.Advance({});
    ASSERT_TRUE(clock.AwaitWaiters(2));
    MonotonicTime before = clock.Now();
    EXPECT_EQ(device->Disconnect(), S_OK);
    EXPECT_EQ(clock.Now(), before);
    EXPECT_EQ(ThreadsAlive(), 0) << "none is left behind";
    EXPECT_EQ(sink->reports(), 0U);

    bench->SetFaults({});
    ASSERT_EQ(device->Connect(), S_OK);
    bench->SetFaults({{FaultKind::kSilent}});
    before = clock.Now();
    clock.Advance({});
    auto asked = std::async(std::launch::async, [this] { return driver->ReadChannel(0).code; });
    ASSERT_TRUE(clock.AwaitWaiters(1));
    EXPECT_EQ(device->Disconnect(), S_OK);
    EXPECT_EQ(asked.get(), serialCommErrUnableToReadComm);
    EXPECT_EQ(clock.Now(), before);
    bench->SetFaults({});
    ASSERT_EQ(device->Connect(), S_OK);
    EXPECT_EQ(driver->ReadChannel(0).value, kValue) << "waits are waits again";
    bench->SetFaults({{FaultKind::kSilent}});
  }
}

class UnplugOutput : public LineBench {
 protected:
  UnplugOutput() : LineBench("isotech") {}
};

TEST_F(UnplugOutput, ComesBackForTheNextSetPoint) {
  ASSERT_EQ(device->Connect(), S_OK);
  bench->SetFaults({{FaultKind::kDrop, 0}});
  EXPECT_EQ(driver->WriteChannel(0, 20.0F), serialCommErrUnableToWriteComm);
  EXPECT_EQ(driver->WriteChannel(0, 20.0F), serialCommErrCommClosed);
  bench->SetFaults({});
  EXPECT_EQ(driver->WriteChannel(0, 20.0F), S_OK);
}

// Its answers do not say what they answer and it has no query to ask instead: the line is drained until it is quiet.
TEST_F(UnplugOutput, AnAnswerThatIsLateConfirmsNothingElse) {
  ASSERT_EQ(device->Connect(), S_OK);
  for (int late_ms = 140; late_ms < 1100; late_ms += 90) {
    bench->SetFaults({{FaultKind::kDelay, late_ms}});
    EXPECT_EQ(driver->WriteChannel(0, 20.0F), serialCommErrUnableToReadComm);
    bench->SetFaults({{FaultKind::kRefuse}});
    EXPECT_EQ(driver->WriteChannel(0, 30.0F), isotechCtlErrNack) << late_ms;
  }
}

}  // namespace
}  // namespace ulix
