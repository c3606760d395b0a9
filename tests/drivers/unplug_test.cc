// A device that goes from its port and comes back: every exchange says so at once, and the first one after its return
// opens the port, says the words of the connection and brings its value.
#include <gtest/gtest.h>

#include "tests/support/reader_bench.h"

namespace ulix {
namespace {

class Unplug : public ReaderBench {};

TEST_P(Unplug, IsToldAtOnceAndTheReturnConnectsAgain) {
  device->Disconnect();
  TakeSent();
  ASSERT_EQ(device->Connect(), S_OK);
  const std::string connection = TakeSent();
  ASSERT_EQ(AskOnce(), S_OK);
  for (int cycle = 0; cycle < 20; ++cycle) {
    SCOPED_TRACE(cycle);
    const MonotonicTime before = clock.Now();
    bench->SetFaults({{FaultKind::kDrop, 0}});
    EXPECT_EQ(AskOnce(), serialCommErrUnableToWriteComm);
    for (int i = 0; i < 5; ++i) EXPECT_EQ(AskOnce(), serialCommErrCommClosed);
    EXPECT_TRUE(IsConnected()) << "as the host left it";
    EXPECT_EQ(clock.Now(), before) << "nobody waits for a device that is not there";
    bench->SetFaults({});
    TakeSent();
    EXPECT_EQ(AskOnce(), S_OK);
    EXPECT_TRUE(TakeSent().starts_with(connection));
  }
  EXPECT_EQ(wrong, 0);
  EXPECT_EQ(UnknownRequests(), std::vector<std::string>());
}

// In the middle of an exchange, with a reply on its way.
TEST_P(Unplug, BetweenAQueryAndItsReply) {
  for (int cycle = 0; cycle < 20; ++cycle) {
    bench->SetFaults({{FaultKind::kDrop, 1}, {FaultKind::kDrip, 1}});
    AskOnce();  // the device answers one query more and is gone
    EXPECT_TRUE(Failed(AskOnce()));
    bench->SetFaults({});
    EXPECT_EQ(AskOnce(), S_OK);
  }
  EXPECT_EQ(wrong, 0);
}

// A device that comes back mute, or another one: each exchange tries the connection once and says how it failed.
TEST_P(Unplug, AReturnThatFailsIsTriedAgain) {
  bench->SetFaults({{FaultKind::kDrop, 0}});
  AskOnce();
  bench->SetFaults({{FaultKind::kSilent}});
  const HRESULT mute = AskOnce();
  EXPECT_EQ(mute, serialCommErrUnableToReadComm);
  EXPECT_LE(longest.count(), reader.patience_ms);
  bench->SetFaults({});
  EXPECT_EQ(AskOnce(), S_OK);
  EXPECT_EQ(AskOnce(), S_OK);
  EXPECT_EQ(wrong, 0);
}

TEST_P(Unplug, LeavesNothingToWaitForAtDisconnecting) {
  bench->SetFaults({{FaultKind::kDrop, 0}});
  AskOnce();
  TakeSent();
  const MonotonicTime before = clock.Now();
  EXPECT_EQ(device->Disconnect(), S_OK);
  EXPECT_FALSE(IsConnected());
  EXPECT_EQ(AskOnce(), serialCommErrCommClosed);
  bench->SetFaults({});
  EXPECT_EQ(AskOnce(), serialCommErrCommClosed) << "nobody opens a port that the host closed";
  EXPECT_EQ(clock.Now(), before);
  EXPECT_EQ(TakeSent(), "");
}

INSTANTIATE_TEST_SUITE_P(Drivers, Unplug, testing::ValuesIn(kReaders), NameOf);

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
  for (int late_ms = 110; late_ms < 1100; late_ms += 90) {
    bench->SetFaults({{FaultKind::kDelay, late_ms}});
    EXPECT_EQ(driver->WriteChannel(0, 20.0F), serialCommErrUnableToReadComm);
    bench->SetFaults({{FaultKind::kRefuse}});
    EXPECT_EQ(driver->WriteChannel(0, 30.0F), isotechCtlErrNack) << late_ms;
  }
}

}  // namespace
}  // namespace ulix
