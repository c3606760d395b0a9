// A device is unplugged and plugged in again. Every exchange without the device fails at once. The first one after its
// return opens the port, repeats the handshake and gives its value. Last, a host disconnects during a wait.
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

  void CheckLossIsReportedAtOnceAndReconnected();
  void CheckLossBetweenQueryAndReply();
  void CheckFailedReconnectionIsRetried();
  void CheckDisconnectDoesNotWait();
};

void Unplug::CheckLossIsReportedAtOnceAndReconnected() {
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
    EXPECT_TRUE(IsConnected()) << "only the host disconnects";
    EXPECT_EQ(clock.Now(), before) << "a device that is gone is not waited for";
    BringBack();
    TakeSent();
    EXPECT_EQ(AskOnce(), S_OK);
    EXPECT_TRUE(TakeSent().starts_with(connection));
  }
}

// The device is lost in the middle of an exchange, while its reply is on the line.
void Unplug::CheckLossBetweenQueryAndReply() {
  SCOPED_TRACE("between query and reply");
  for (int cycle = 0; cycle < 20; ++cycle) {
    bench->SetFaults({{FaultKind::kDrop, 1}, {FaultKind::kDrip, 1}});
    AskOnce();  // The device answers one more query, then it is lost.
    EXPECT_TRUE(Failed(AskOnce()));
    BringBack();
    EXPECT_EQ(AskOnce(), S_OK);
  }
}

// The device comes back mute. Each exchange tries to reconnect once and gives the code of the failure.
void Unplug::CheckFailedReconnectionIsRetried() {
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

void Unplug::CheckDisconnectDoesNotWait() {
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
    EXPECT_EQ(AskOnce(), model.codes.closed) << "a port that the host closed stays closed";
    EXPECT_EQ(clock.Now(), before);
    EXPECT_EQ(TakeSent(), "");
  }
}

TEST_P(Unplug, DeviceLost_IsReportedAtOnceAndReconnectedByALaterExchange) {
  CheckLossIsReportedAtOnceAndReconnected();
  EXPECT_EQ(UnknownRequests(), std::vector<std::string>());
  CheckLossBetweenQueryAndReply();
  CheckFailedReconnectionIsRetried();
  CheckDisconnectDoesNotWait();
  EXPECT_EQ(wrong, 0);
}

INSTANTIATE_TEST_SUITE_P(Drivers, Unplug, testing::ValuesIn(Readers()), NameOf);

// The device is lost while a group's threads run. The test advances the clock.
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
    clock.SetMode(ManualClock::Mode::kAutomatic);
    device.reset();
    for (const auto until = std::chrono::steady_clock::now() + kTestPatience;
         ThreadsAlive() > 0 && std::chrono::steady_clock::now() < until;) {
      std::this_thread::yield();
    }
    EXPECT_EQ(ThreadsAlive(), 0);
  }

  // Advances the clock in steps. Both threads of the group run at each step.
  void Pass(int ms) {
    for (; ms > 0; ms -= kStepMs) {
      ASSERT_TRUE(clock.AwaitWaiters(2));
      clock.Advance(Milliseconds(kStepMs));
    }
    ASSERT_TRUE(clock.AwaitWaiters(2));
  }
  // Disconnects, in the time that the last command takes on the line.
  void Leave() {
    constexpr int kMaxLineTimeMs = 60;
    auto left = std::async(std::launch::async, [this] { return device->Disconnect(); });
    for (int ms = 0; ms < kMaxLineTimeMs; ms += 3) {
      if (left.wait_for(Milliseconds(50)) == std::future_status::ready) break;
      clock.Advance(Milliseconds(3));
    }
    ASSERT_EQ(left.wait_for(kTestPatience), std::future_status::ready);
    EXPECT_EQ(left.get(), S_OK);
  }
  // Forces a scan of the running group without waiting for it.
  void ReadAtOnce() { ASSERT_EQ(device->ImmediateReadGroups(std::vector{group}), S_OK); }
  ChannelArrays LastReport() { return sink->seen.Get().data.back(); }

  static constexpr std::uint32_t kPeriodMs = 60'000;
  static constexpr int kStepMs = 100;
  static constexpr float kValue = 12.25F;
  std::shared_ptr<RecordingSink> sink = std::make_shared<RecordingSink>();
  std::uint32_t group = 0;
};

// Events are fired at ticks only. A host that needs to know earlier calls CheckPresence.
TEST_F(UnplugBesideGroups, DeviceLost_CheckPresenceSeesItAtOnceAndSendsNothing) {
  ASSERT_EQ(device->RunGroup(group), S_OK);
  ReadAtOnce();
  ASSERT_TRUE(sink->AwaitReports(1));
  Pass(300);
  EXPECT_EQ(device->CheckPresence(), S_OK);
  TakeSent();
  bench->SetFaults({{FaultKind::kDrop, 0}});
  Pass(300);
  EXPECT_EQ(device->CheckPresence(), serialCommErrCommClosed);
  EXPECT_EQ(sink->reports(), 1U);
  EXPECT_EQ(TakeSent(), "");
}

TEST_F(UnplugBesideGroups, DeviceLostAndBack_NextTicksReportIt) {
  ASSERT_EQ(device->RunGroup(group), S_OK);
  ReadAtOnce();
  ASSERT_TRUE(sink->AwaitReports(1));
  for (std::size_t reports = 1; reports <= 3; reports += 2) {
    SCOPED_TRACE(reports);
    bench->SetFaults({{FaultKind::kDrop, 0}});
    Pass(300);
    ReadAtOnce();
    ASSERT_TRUE(sink->AwaitReports(reports + 1));
    EXPECT_TRUE(Failed(LastReport().errors[0]));
    EXPECT_TRUE(IsConnected());
    bench->SetFaults({});
    Pass(kStepMs);
    ReadAtOnce();
    ASSERT_TRUE(sink->AwaitReports(reports + 2));
    EXPECT_EQ(LastReport().values, std::vector<float>{kValue});
  }
}

// A group or a host waits for a mute instrument when the host disconnects.
TEST_F(UnplugBesideGroups, DisconnectDuringAWait_TakesTheTimeOfItsLastCommand) {
  bench->SetFaults({{FaultKind::kSilent}});
  for (int i = 0; i < 3; ++i) {
    ASSERT_EQ(device->RunGroup(group), S_OK);
    ReadAtOnce();
    clock.Advance({});
    ASSERT_TRUE(clock.AwaitWaiters(2));
    Leave();
    EXPECT_EQ(ThreadsAlive(), 0);
    EXPECT_EQ(sink->reports(), 0U);

    bench->SetFaults({});
    ASSERT_EQ(device->Connect(), S_OK);
    bench->SetFaults({{FaultKind::kSilent}});
    clock.Advance({});
    auto asked = std::async(std::launch::async, [this] { return driver->ReadChannel(0).code; });
    ASSERT_TRUE(clock.AwaitWaiters(1));
    Leave();
    EXPECT_EQ(asked.get(), serialCommErrUnableToReadComm);
    bench->SetFaults({});
    ASSERT_EQ(device->Connect(), S_OK);
    EXPECT_EQ(driver->ReadChannel(0).value, kValue) << "the driver waits for replies again";
    bench->SetFaults({{FaultKind::kSilent}});
  }
}

class UnplugOutput : public LineBench {
 protected:
  UnplugOutput() : LineBench("isotech") {}
};

TEST_F(UnplugOutput, DeviceBack_TakesTheNextSetPoint) {
  ASSERT_EQ(device->Connect(), S_OK);
  bench->SetFaults({{FaultKind::kDrop, 0}});
  EXPECT_EQ(driver->WriteChannel(0, 20.0F), serialCommErrUnableToWriteComm);
  EXPECT_EQ(driver->WriteChannel(0, 20.0F), serialCommErrCommClosed);
  bench->SetFaults({});
  EXPECT_EQ(driver->WriteChannel(0, 20.0F), S_OK);
}

// The replies cannot be recognised and there is no sync query. The driver drains the line until it is quiet.
TEST_F(UnplugOutput, LateReply_ConfirmsNoOtherSetPoint) {
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
