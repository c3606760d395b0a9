// Sessions with simulated instruments: reconnection to the same instrument, start of timeouts, and statistics.
#include "sessions/session.h"

#include <gtest/gtest.h>

#include "drivers/field/hart/driver.h"
#include "drivers/others/flukehydra/driver.h"
#include "drivers/others/microk/driver.h"
#include "tests/support/failing_memory.h"
#include "tests/support/fake_serial_port.h"
#include "tests/support/reader_bench.h"

namespace ulix {
namespace {

struct IdentityCase {
  const char* device;
  const char* property;
  const char* first;
  const char* second;  // of the same model
  HRESULT refusal;
  FaultKind loss = FaultKind::kDrop;
};

void PrintTo(const IdentityCase& identity, std::ostream* out) { *out << identity.device; }

const Device& FindDevice(std::string_view name) {
  return *std::find_if(std::begin(kDevices), std::end(kDevices), [&](const Device& d) { return d.name == name; });
}

class ReplacedInstrument : public DeviceBench, public testing::WithParamInterface<IdentityCase> {
 protected:
  ReplacedInstrument() : DeviceBench(FindDevice(GetParam().device)) {}
  HRESULT Read() { return driver->ReadChannel(model.channels[0]).code; }
  // The host connects to one instrument, which is lost. Another one of the same model comes in its place.
  void Replace() {
    const IdentityCase& c = GetParam();
    SetBench(c.property, c.first);
    ASSERT_EQ(device->Connect(), S_OK);
    ASSERT_EQ(Read(), S_OK);
    bench->SetFaults({{c.loss, 0}});
    EXPECT_TRUE(Failed(Read()));
    SetBench(c.property, c.second);
    bench->SetFaults({});
    TakeSent();
  }
};

TEST_P(ReplacedInstrument, OnReconnection_IsNeitherReadNorWritten) {
  Replace();
  EXPECT_EQ(Read(), GetParam().refusal);
  EXPECT_NE(TakeSent(), "") << "it was asked what it is";
  if (driver->card().channels[model.written].direction != ChanIn) {
    EXPECT_EQ(driver->WriteChannel(model.written, 25.0F), GetParam().refusal);
  }
  SetBench(GetParam().property, GetParam().first);
  EXPECT_EQ(Read(), GetParam().refusal) << "also when the first instrument is back";
  EXPECT_EQ(driver->Presence(), GetParam().refusal);
  EXPECT_EQ(TakeSent(), "");
}

TEST_P(ReplacedInstrument, HostThatConnectsAgain_ReadsIt) {
  Replace();
  EXPECT_EQ(Read(), GetParam().refusal);
  TakeSent();
  EXPECT_TRUE(IsConnected()) << "only the host disconnects";
  EXPECT_EQ(device->Disconnect(), S_OK);
  EXPECT_EQ(TakeSent(), "") << "the replaced instrument gets no command at the end of the session";
  ASSERT_EQ(device->Connect(), S_OK);
  EXPECT_EQ(Read(), S_OK);
}

INSTANTIATE_TEST_SUITE_P(
    Models, ReplacedInstrument,
    testing::Values(
        IdentityCase{"Kelvo10", "identity", "ULIX,KELVO10,1,V1", "ULIX,KELVO10,2,V1", kelvo10CtlErrNotKelvo10},
        IdentityCase{"Cmx310", "identity", "ULIX,CMX310,1,V1", "ULIX,CMX310,2,V1", cmx310CtlErrNotCmx310},
        IdentityCase{"FlukeHydra", "identity", "FLUKE,2635A,0,M2.41", "FLUKE,2635A,1,M2.41",
                     flukehydraCtlErrNotFlukeHydra},
        IdentityCase{"Adt760", "identity", "Additel,HPC-HOST,1,V1", "Additel,HPC-HOST,2,V1", adt760CtlErrNotAdt760},
        IdentityCase{"Memolog", "identity", "ULIX,MEMOLOG90,1,V2", "ULIX,MEMOLOG90,2,V2", memologCtlErrNotMemolog},
        IdentityCase{"MemologNetwork", "identity", "ULIX,MEMOLOG90,1,V2", "ULIX,MEMOLOG90,2,V2",
                     memologCtlErrNotMemolog},
        IdentityCase{"MemologNetwork", "identity", "ULIX,MEMOLOG90,1,V2", "ULIX,MEMOLOG90,2,V2",
                     memologCtlErrNotMemolog, FaultKind::kGarbage}),
    [](const auto& tested) {
      return std::string(tested.param.device) + (tested.param.loss == FaultKind::kGarbage ? "Garbage" : "");
    });

class LostNetwork : public DeviceBench {
 protected:
  LostNetwork() : DeviceBench(FindDevice("MemologNetwork")) {}
};

// A host may change the settings at any time. They apply when it connects anew.
TEST_F(LostNetwork, OtherSettingsMeanwhile_ReconnectsToTheAddressOfConnect) {
  ASSERT_EQ(device->Connect(), S_OK);
  const std::optional<NetworkAddress> others[] = {NetworkAddress{"", 502}, std::nullopt};
  for (const auto& other : others) {
    bench->SetFaults({{FaultKind::kDrop, 0}});
    EXPECT_LT(driver->ReadChannel(0).code, 0);
    bench->SetFaults({});
    ASSERT_EQ(device->SetNetworkAddress(other), S_OK);
    EXPECT_EQ(driver->ReadChannel(0).code, S_OK);
  }
  EXPECT_EQ(device->Disconnect(), S_OK);
}

class SlowLine : public LineBench {
 protected:
  SlowLine() : LineBench("isotech") {}
  HRESULT WriteAt(std::uint32_t rate, int late_ms) {
    EXPECT_EQ(device->Disconnect(), S_OK);
    EXPECT_EQ(device->SetSerialParams({.baudRate = rate}), S_OK);
    EXPECT_EQ(device->Connect(), S_OK);
    bench->SetFaults({{FaultKind::kDelay, late_ms}});
    const HRESULT result = driver->WriteChannel(0, 20.0F);
    bench->SetFaults({});
    clock.SleepFor(Milliseconds(60'000));
    return result;
  }
};

// A frame of about 20 characters takes 0.15 s at 1200 bits per second. The controller then has 0.1 s to answer.
TEST_F(SlowLine, ReadTimeout_StartsWhenTheBytesHaveLeft) {
  EXPECT_EQ(WriteAt(1200, 200), S_OK);
  EXPECT_EQ(WriteAt(9600, 200), serialCommErrUnableToReadComm);
  EXPECT_EQ(WriteAt(1200, 400), serialCommErrUnableToReadComm);
  const MonotonicTime before = clock.Now();
  EXPECT_EQ(driver->WriteChannel(0, 20.0F), S_OK);
  EXPECT_EQ(clock.Now(), before) << "an exchange that succeeds does not wait";
}

class CtcSession : public LineBench {
 protected:
  CtcSession() : LineBench("jofrartcptc") {
    Set("model", "1");
    SetBench("model", "CTC");
  }
};

// The command has no reply of its own. The refusal may belong to it, and the reply to the query may still come.
TEST_F(CtcSession, RefusedWrite_LeavesTheSessionOutOfSync) {
  ASSERT_EQ(device->Connect(), S_OK);
  bench->SetFaults({{FaultKind::kRefuse}});
  EXPECT_EQ(driver->WriteChannel(2, 50.0F), jofrartcptcCtlErrNack);
  EXPECT_EQ(driver->state(), SessionState::kOutOfSync);
  bench->SetFaults({});
  TakeSent();
  EXPECT_EQ(driver->ReadChannel(3).code, S_OK);
  EXPECT_TRUE(TakeSent().starts_with("*IDN?"));
}

TEST_F(CtcSession, NoReplyToTheFirstQuery_IsNotThisInstrument) {
  bench->SetFaults({{FaultKind::kSilent}});
  EXPECT_EQ(device->Connect(), jofrartcptcCtlErrNotJofraRtcPtc);
}

// A driver on a line that the test fills, connected.
template <typename Driver>
struct OnFakeLine {
  explicit OnFakeLine(std::string input = "") : line{.input = std::move(input)}, driver(Services()) {
    EXPECT_TRUE(driver.Connect().value_or(false));
  }
  DriverServices Services() {
    DriverServices services;
    services.clock = &clock;
    services.resolve_port = ResolverOf(line);
    return services;
  }

  FakeLine line;
  ManualClock clock{ManualClock::Mode::kAutomatic};
  Driver driver;
};

// A reader that dropped the damaged byte would take 12.3?56 for 12.356.
TEST(DamagedByte, InAReply_FailsTheReadWithoutARetry) {
  OnFakeLine<microk::MicrokDriver> bridge("Isotech,microK-100,0,1.0\r");
  FakeLine& line = bridge.line;
  auto& driver = bridge.driver;
  line.input = "12.3";
  line.after_input = {platform::IoOutcome::kDamaged, 0, 0};
  line.calls.clear();
  EXPECT_EQ(driver.ReadChannel(0).code, serialCommErrUnableToReadComm);
  EXPECT_EQ(std::count(line.calls.begin(), line.calls.end(), "read 1"), 5) << "one attempt";
  EXPECT_EQ(driver.statistics().damaged, 1U);
  EXPECT_EQ(driver.statistics().timeouts, 0U);
  EXPECT_EQ(driver.state(), SessionState::kOutOfSync);
}

// The prompt belongs to the identity reply. An instrument that does not send it is accepted too.
TEST(TrailingPrompt, StopsMidway_LeavesTheSessionOutOfSync) {
  const std::pair<const char*, SessionState> cases[] = {
      {"", SessionState::kInSync}, {"=>\r\n", SessionState::kInSync}, {"=", SessionState::kOutOfSync}};
  for (const auto& [prompt, state] : cases) {
    SCOPED_TRACE(prompt);
    const OnFakeLine<flukehydra::FlukeHydraDriver> logger(std::string("FLUKE,2635A,0,M2.41\r\n") + prompt);
    EXPECT_EQ(logger.driver.state(), state);
  }
}

// A query that was sent is remembered, so that its late reply is not taken for the next query's.
TEST(QueryOutOfMemory, AtAnyStep_ItsReplyIsStillExpected) {
  bool happened = true;
  for (long number = 1; happened; ++number) {
    SCOPED_TRACE(number);
    OnFakeLine<hart::HartDriver> thermometer;
    FakeLine& line = thermometer.line;
    auto& driver = thermometer.driver;
    try {
      const FailingAllocation failing(number);
      driver.ReadChannel(0);
      happened = failing.Happened();
    } catch (const std::bad_alloc&) {
    }
    const bool asked = std::count(line.calls.begin(), line.calls.end(), "write t") > 0;
    line.input = "t:1.5\r";
    EXPECT_TRUE(!asked || Failed(driver.ReadChannel(0).code));
  }
}

class RecognisableId final : public SessionPeer {
 public:
  Expected<bool> StartSession(Conversation&) override { return true; }
  SyncQuery sync_query() const override { return {.query = "ID?"}; }
  bool IsSyncReply(std::string_view reply) const override { return reply == "ID"; }
};

TEST(WholeBody, Throws_LaterExchangesResynchronise) {
  FakeLine line;
  ManualClock clock(ManualClock::Mode::kAutomatic);
  SerialLink link({.resolve_port = ResolverOf(line), .clock = &clock});
  RecognisableId peer;
  Session session(link, std::make_unique<LineFramer>(link, clock, LineFramer::Options{'\r', 80, nullptr}), peer,
                  {.clock = &clock});
  ASSERT_TRUE(session.Connect().value_or(false));
  const auto whole = [](Conversation& talk) { return talk.Whole([]() -> HRESULT { throw std::bad_alloc(); }); };
  EXPECT_THROW(session.Exchange(whole), std::bad_alloc);
  const auto ask = [](Conversation& talk) { return talk.Query("V?", {80}); };
  EXPECT_FALSE(session.Exchange(ask));
  line.input = "ID\r2\r";
  EXPECT_EQ(session.Exchange(ask).value_or(""), "2");
}

class CountedSession : public LineBench {
 protected:
  CountedSession() : LineBench("kelvo10") {}
};

TEST_F(CountedSession, EachKindOfTrouble_IsCountedSeparately) {
  ASSERT_EQ(device->Connect(), S_OK);
  EXPECT_EQ(device->Statistics(), SessionStatistics{.exchanges = 1});
  driver->ReadChannel(0);
  bench->SetFaults({{FaultKind::kDelay, 1500}});
  driver->ReadChannel(0);
  EXPECT_EQ(driver->state(), SessionState::kOutOfSync);
  bench->SetFaults({});
  driver->ReadChannel(0);
  EXPECT_EQ(driver->state(), SessionState::kInSync);
  EXPECT_EQ(device->Statistics(),
            (SessionStatistics{.exchanges = 4, .timeouts = 1, .discarded = 1, .resynchronisations = 1}));
  bench->SetFaults({{FaultKind::kDrop, 0}});
  driver->ReadChannel(0);
  EXPECT_EQ(driver->state(), SessionState::kLost);
  bench->SetFaults({});
  EXPECT_EQ(driver->ReadChannel(0).code, S_OK);
  EXPECT_EQ(device->Statistics().reconnections, 1U);
  EXPECT_EQ(device->Disconnect(), S_OK);
  EXPECT_EQ(driver->state(), SessionState::kClosed);
}

}  // namespace
}  // namespace ulix
