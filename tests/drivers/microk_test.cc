// The microK and milliK driver: its protocol, then exchanges with the simulated instruments.
#include <gmock/gmock.h>

#include "drivers/others/microk/driver.h"
#include "drivers/others/microk/protocol.h"
#include "tests/support/line_bench.h"

namespace ulix::microk {
namespace {

using testing::ElementsAre;
using testing::IsEmpty;

ChannelConfig Config(std::uint32_t kind, std::uint32_t sub_kind = kStandard) {
  return {.enabled = 1, .kind = kind, .sub_kind = sub_kind};
}

TEST(MicrokProtocol, UnknownCodes_AreBadConfiguration) {
  EXPECT_EQ(CodeOf(MeasureQuery(0, Config(kPrt, kUserProbe), 0)), microkCtlErrUserProbeNotFound);
  const ChannelConfig wrong[] = {Config(kNoKind),
                                 Config(kThermocouple),
                                 Config(kThermocouple, 13),
                                 Config(kCurrentInput, 5),
                                 {.range = 7},
                                 {.current = 7},
                                 {.kind = kPrt, .wiring = 7},
                                 {.kind = kPrt, .unit = 7},
                                 {.kind = kVoltage, .junction = 7},
                                 {.kind = kCurrentInput, .sub_kind = kUserProbe, .unit = 7}};
  for (const ChannelConfig& config : wrong) {
    EXPECT_EQ(CodeOf(MeasureQuery(0, config, 1)), microkCtlErrBadInternalChanConfig) << config.kind;
  }
}

TEST(MicrokProtocol, IdentityReply_GivesItsVersion) {
  EXPECT_EQ(VersionIn(kMicrok, "microK, Version 2.05 beta"), 2.05);
  EXPECT_EQ(VersionIn(kMillik, "milliK, 1.2,5"), 1.2);
  for (const char* none : {"microK 400", "microK version", "version: x"}) EXPECT_FALSE(VersionIn(kMicrok, none));
  for (const char* none : {"milliK,", "milliK version 3"}) EXPECT_FALSE(VersionIn(kMillik, none));
}

TEST(MicrokProtocol, ProbeName_IsNotTakenForAnIdentity) {
  EXPECT_TRUE(IsIdentification(kMillik, "milliK,1.20", ""));
  EXPECT_TRUE(IsIdentification(kMillik, "60.3milliK,1.20", "milliK,1.20")) << "after a reply that stopped midway";
  EXPECT_FALSE(IsIdentification(kMillik, "MILLIK-REF", "milliK,1.20"));
  EXPECT_FALSE(IsIdentification(kMillik, "MILLIK,2", "milliK,1.20"));
  EXPECT_TRUE(IsIdentification(kMillik, "MilliK, 3.25, 1234", "MILLIK-REF")) << "a probe's name came at Connect";
}

TEST(MicrokProtocol, MicrokReply_GivesItsValueOrNotAvailable) {
  for (const auto& [reply, value] : {std::pair{" +1.07E+02 ohm", 107.0F}, {"\n-0.5", -0.5F}, {"0. \t", 0.0F}}) {
    EXPECT_EQ(ParseMicrokReply(reply), value) << reply;
  }
  for (const char* none : {"Channel 7 not enabled", "0.0 Not Valid", "9.9E37", "-9.91E+37"}) {
    EXPECT_EQ(CodeOf(ParseMicrokReply(none)), microkCtlErrMeasureNotAvailable) << none;
  }
}

TEST(MicrokProtocol, MillikReply_GivesItsValueOrItsError) {
  EXPECT_EQ(ParseMillikReply("12.5 ERROR"), 12.5F) << "the error text is case sensitive";
  EXPECT_EQ(CodeOf(ParseMillikReply("12.5 Error")), microkCtlErrScpiCmdeError);
  for (const char* overload : {"9.9E37", "-9.91E+37"}) {
    EXPECT_EQ(CodeOf(ParseMillikReply(overload)), microkCtlErrMeasureNotAvailable) << overload;
  }
  using namespace std::string_view_literals;
  const std::string too_long(79, '1');
  for (const std::string_view none : {"ready"sv, "nan"sv, "1e39"sv, "0x"sv, "52,331"sv, "60.39160.391"sv, "60.391 12"sv,
                                      "34\a.2"sv, "24\0.131"sv, std::string_view(too_long)}) {
    EXPECT_EQ(CodeOf(ParseMillikReply(none)), serialCommErrUnableToReadComm) << none;
  }
}

TEST(MicrokProtocol, ProbeReplies_GiveTheCountAndTheName) {
  EXPECT_EQ(ParseProbeCount("12"), 12U);
  for (const char* none : {"-1", "1e6", "1.5"}) EXPECT_EQ(CodeOf(ParseProbeCount(none)), serialCommErrUnableToReadComm);
  EXPECT_EQ(ParseProbeName(" \"PRT 1\" "), "PRT 1");
  EXPECT_EQ(ParseProbeName("\""), "\"");
}

class ErrorSink final : public EventSink {
 public:
  void DevError(HRESULT code) override { of_device.push_back(code); }
  void SysError(HRESULT code) override { of_system.push_back(code); }
  std::vector<HRESULT> of_device, of_system;
};

class Microk : public LineBench {
 protected:
  Microk() : LineBench("microk") {}

  void SetAll(std::initializer_list<std::pair<const char*, const char*>> settings) {
    for (const auto& [key, value] : settings) Set(key, value);
  }
  void BecomeMillik() {
    SetBench("model", "milliK");
    Set("model", "milliK");
  }
  void Steady(const char* celsius) {
    SetBench("temperature", celsius);
    for (const char* still : {"amplitude", "step", "noise"}) SetBench(still, "0");
  }
  // How long a reading waits for a silent instrument, without the query's time on the line, to 10 ms.
  Milliseconds PatienceOf(Driver& of, SimulatedBench& at) {
    at.SetFaults({{FaultKind::kSilent}});
    const MonotonicTime before = clock.Now();
    EXPECT_EQ(of.ReadChannel(0).code, serialCommErrUnableToReadComm);
    const auto waited = std::chrono::duration_cast<Milliseconds>(clock.Now() - before);
    return waited - waited % Milliseconds(10);
  }
};

TEST_F(Microk, OtherInstrumentOrNone_IsReportedToTheSinks) {
  const auto errors = std::make_shared<ErrorSink>();
  device->events().Advise(errors);
  Set("model", "1");
  EXPECT_EQ(device->Connect(), microkCtlErrNotMillik);
  bench->SetFaults({{FaultKind::kSilent}});
  EXPECT_EQ(device->Connect(), serialCommErrUnableToReadComm);
  EXPECT_FALSE(driver->LinkIsOpen());
  EXPECT_THAT(errors->of_device, ElementsAre(microkCtlErrNotMillik));
  EXPECT_THAT(errors->of_system, ElementsAre(serialCommErrUnableToReadComm));
}

TEST_F(Microk, MillikIdentityWithoutAComma_IsLeftInLocal) {
  BecomeMillik();
  SetBench("identity", "milliK");
  ASSERT_EQ(device->Connect(), S_OK);
  EXPECT_EQ(TakeSent(), "*IDN?\r");
}

TEST_F(Microk, UnknownUserProbe_FailsItsChannelOnly) {
  BecomeMillik();
  SetAll({{"channel.10.enabled", "on"},
          {"channel.10.kind", "PRT"},
          {"channel.10.sub-kind", "USER-PROBE"},
          {"channel.10.probe", "PRT-Z"}});
  EXPECT_EQ(device->Connect(), S_OK);
  EXPECT_EQ(driver->ReadChannel(10).code, microkCtlErrUserProbeNotFound);
  EXPECT_EQ(driver->ReadChannel(0).code, S_OK);
  EXPECT_EQ(device->SendCfg(), microkCtlErrUserProbeNotFound);
  EXPECT_EQ(driver->ChannelUnit(10), "\260C");
  EXPECT_EQ(driver->ChannelResolution(10), 4);
}

TEST_F(Microk, ChangedConfiguration_IsUsedByTheNextReading) {
  BecomeMillik();
  Steady("20");
  ASSERT_EQ(device->Connect(), S_OK);
  SetAll({{"channel.0.kind", "PRT"}, {"channel.1.kind", "200"}});
  EXPECT_EQ(driver->ReadChannel(0).value, 20.0F);
  EXPECT_EQ(driver->ReadChannel(1).code, microkCtlErrBadInternalChanConfig) << "the bad channel only";
  EXPECT_EQ(device->SendCfg(), microkCtlErrBadInternalChanConfig);
  SetAll({{"channel.1.kind", "PRT"}, {"channel.1.sub-kind", "USER-PROBE"}, {"channel.1.probe", "PRT-A"}});
  bench->SetFaults({{FaultKind::kSilent}});
  EXPECT_EQ(driver->ReadChannel(1).code, serialCommErrUnableToReadComm);
  bench->SetFaults({});
  EXPECT_EQ(driver->ReadChannel(1).value, 20.0F) << "the list of probes is read again";
  EXPECT_EQ(device->SendCfg(), S_OK);
}

TEST_F(Microk, MuteInstrument_IsReadAsOftenAsTheTimeoutsAllow) {
  DriverServices services;
  services.clock = &clock;
  services.timeout_ms = 1500;
  services.resolve_port = ResolverOf(bench);
  MicrokDriver impatient(services);
  ASSERT_EQ(impatient.Connect().value_or(false), true);
  EXPECT_EQ(PatienceOf(impatient, *bench), Milliseconds(4 * 1500));
  impatient.settings().SetText(kSettings[0], "1");
  EXPECT_EQ(PatienceOf(impatient, *bench), Milliseconds(1500)) << "at least one attempt";
}

// The bridge pauses in the middle of its digits. The rest alone would also be a number.
TEST_F(Microk, ReplyThatStopsMidway_IsReadToItsEndOrFails) {
  SetBench("measure-text", "7.5");
  EXPECT_EQ(device->Connect(), S_OK);
  EXPECT_EQ(dynamic_cast<MicrokDriver&>(*driver).instrument_version(), 2.05);
  bench->SetFaults({{FaultKind::kDrip, 3200}});
  EXPECT_EQ(driver->ReadChannel(0).value, 7.5F);
  BecomeMillik();
  bench->SetFaults({{FaultKind::kDrip, 4000}});
  EXPECT_EQ(driver->ReadChannel(0).code, serialCommErrUnableToReadComm);
}

}  // namespace
}  // namespace ulix::microk
