// The microK and milliK driver: its pure protocol, then whole exchanges with the simulated instruments.
#include <gmock/gmock.h>

#include <set>

#include "base/byte_stream.h"
#include "base/trace.h"
#include "drivers/others/microk/driver.h"
#include "drivers/others/microk/protocol.h"
#include "tests/support/line_bench.h"

namespace ulix::microk {
namespace {

using testing::ElementsAre;
using testing::IsEmpty;

TEST(MicrokProtocol, NumbersChannelsAsTheInstrumentDoes) {
  EXPECT_EQ(ReadQuery(0), "read1?");
  EXPECT_EQ(ReadQuery(2), "read3?");
  EXPECT_EQ(ReadQuery(3), "read10?");
  EXPECT_EQ(ReadQuery(10), "read17?");
  EXPECT_EQ(ReadQuery(11), "read20?");
  EXPECT_EQ(ReadQuery(19), "read30?");
  EXPECT_EQ(ReadQuery(26), "read37?");
  EXPECT_EQ(ReadQuery(27), "read40?");
  EXPECT_EQ(ReadQuery(34), "read47?");
}

ChannelConfig Config(std::uint32_t kind, std::uint32_t sub_kind = kStandard) {
  return {.enabled = 1, .kind = kind, .sub_kind = sub_kind};
}

TEST(MicrokProtocol, BuildsEveryKindOfQuery) {
  ChannelConfig resistance = Config(kResistance);
  resistance.range = 2;
  resistance.current = 1;
  ChannelConfig three_wires = Config(kPrt);
  three_wires.wiring = 0;
  three_wires.unit = 2;
  ChannelConfig gold = Config(kThermocouple, 11);
  gold.unit = 0;
  gold.junction = 1;
  struct Case {
    ChannelId id;
    ChannelConfig config;
    std::uint32_t probe;
    const char* query;
  };
  const Case cases[] = {
      {0, Config(kResistance), 0, "MEAS:RES1? 115,NORM"},
      {34, resistance, 0, "MEAS:RES47? 500000,ROOT2"},
      {3, Config(kPrt), 0, "MEAS:TEMP10? IEC60751(4-WIRE),C,115,NORM"},
      {1, three_wires, 0, "MEAS:TEMP2? IEC60751(3-WIRE),F,115,NORM"},
      {1, Config(kPrt, kUserProbe), 12, "MEAS:TEMP2? 12,C,115,NORM"},
      {0, Config(kVoltage), 0, "MEAS:VOLT1? INT"},
      {0, Config(kThermocouple, 2), 0, "MEAS:TEMP1? TYPE B,C,INT"},
      {0, gold, 0, "MEAS:TEMP1? TYPE AU-PT,K,NON"},
      {2, Config(kCurrentInput), 0, "MEAS:CURR? "},
      {2, Config(kCurrentInput, kUserProbe), 3, "MEAS:TEMP3? 3,C"},
  };
  for (const Case& c : cases) EXPECT_EQ(MeasureQuery(c.id, c.config, c.probe).value_or("none"), c.query);
  EXPECT_EQ(CodeOf(MeasureQuery(0, Config(kPrt, kUserProbe), 0)), microkCtlErrUserProbeNotFound);
}

TEST(MicrokProtocol, RefusesACodeOutsideItsTable) {
  std::vector<ChannelConfig> wrong = {Config(kNoKind),           Config(kPrt, kFirstThermocouple),
                                      Config(kThermocouple),     Config(kThermocouple, kUserProbe),
                                      Config(kThermocouple, 13), Config(kCurrentInput, 5)};
  const auto spoil = [&](ChannelConfig config, std::uint32_t ChannelConfig::*field) {
    config.*field = 7;
    wrong.push_back(config);
  };
  spoil(Config(kResistance), &ChannelConfig::range);
  spoil(Config(kResistance), &ChannelConfig::current);
  spoil(Config(kPrt), &ChannelConfig::wiring);
  spoil(Config(kPrt), &ChannelConfig::unit);
  spoil(Config(kVoltage), &ChannelConfig::junction);
  spoil(Config(kCurrentInput, kUserProbe), &ChannelConfig::unit);
  for (const ChannelConfig& config : wrong) {
    EXPECT_EQ(CodeOf(MeasureQuery(0, config, 1)), microkCtlErrBadInternalChanConfig) << config.kind;
  }
}

TEST(MicrokProtocol, TellsTheInstrumentsApartAndReadsTheirVersion) {
  EXPECT_EQ(CheckIdentity(kMicrok, "isotech microsKanner"), S_OK);
  EXPECT_EQ(CheckIdentity(kMicrok, "MILLIK,1.0"), microkCtlErrNotMicrok);
  EXPECT_EQ(CheckIdentity(kMillik, "Maker milliK"), S_OK);
  EXPECT_EQ(CheckIdentity(kMillik, "microK"), microkCtlErrNotMillik);
  EXPECT_EQ(VersionIn(kMicrok, "microK, Version 2.05 beta"), 2.05);
  EXPECT_EQ(VersionIn(kMillik, "milliK, 1.2,5"), 1.2);
  for (const char* none : {"microK 400", "microK version", "microK version ", "version: x"}) {
    EXPECT_EQ(VersionIn(kMicrok, none), std::nullopt) << none;
  }
  EXPECT_EQ(VersionIn(kMillik, "milliK,"), std::nullopt);
  EXPECT_EQ(VersionIn(kMillik, "milliK version 3"), std::nullopt);
}

TEST(MicrokProtocol, ReadsAValueOrSaysWhatTheReplyWas) {
  EXPECT_EQ(ParseMicrokReply(" +1.07E+02 ohm").value_or(0), 107.0F);
  EXPECT_EQ(ParseMicrokReply("\n-0.5").value_or(0), -0.5F);
  EXPECT_EQ(CodeOf(ParseMicrokReply("Channel 7 not enabled")), microkCtlErrMeasureNotAvailable);
  EXPECT_EQ(CodeOf(ParseMicrokReply("0.0 Not Valid")), microkCtlErrMeasureNotAvailable);
  EXPECT_EQ(CodeOf(ParseMillikReply("12.5 Error")), microkCtlErrScpiCmdeError);
  EXPECT_EQ(ParseMillikReply("12.5 ERROR").value_or(0), 12.5F) << "told by its case";
  for (const std::string& none :
       {std::string("ready"), std::string("nan"), std::string("1e39"), std::string("0x"), std::string(79, '1')}) {
    const bool is_zero = none == "0x";
    EXPECT_EQ(CodeOf(ParseMillikReply(none)), is_zero ? S_OK : serialCommErrUnableToReadComm) << none;
  }
  EXPECT_EQ(ParseProbeCount("12").value_or(99), 12U);
  EXPECT_EQ(CodeOf(ParseProbeCount("-1")), serialCommErrUnableToReadComm);
  EXPECT_EQ(CodeOf(ParseProbeCount("1e6")), serialCommErrUnableToReadComm);
  EXPECT_EQ(ParseProbeName(" \"PRT 1\" ").value_or(""), "PRT 1");
  EXPECT_EQ(ParseProbeName("\"").value_or(""), "\"");
}

TEST(MicrokProtocol, UnitsAndResolutionsFollowTheConfiguration) {
  ChannelConfig far = Config(kPrt);
  far.unit = 2;
  EXPECT_EQ(UnitOf(far),
            "\xB0"
            "F");
  EXPECT_EQ(UnitOf(Config(kResistance)), "Ohms");
  EXPECT_EQ(UnitOf(Config(kVoltage)), "Volts");
  EXPECT_EQ(UnitOf(Config(kCurrentInput)), "");
  EXPECT_EQ(UnitOf(Config(kCurrentInput, kUserProbe)),
            "\xB0"
            "C");
  EXPECT_EQ(UnitOf(Config(kNoKind)), "");
  EXPECT_EQ(ResolutionOf(Config(kNoKind)), 6);
  EXPECT_EQ(ResolutionOf(Config(kThermocouple)), 4);
  far.kind = kResistance;
  far.range = 2;
  EXPECT_EQ(ResolutionOf(far), 1);
}

TEST(MicrokSettings, AreOneStoredValueEachUnderAKeyOfTheirOwn) {
  std::set<std::string> keys;
  for (const SettingRow& row : kSettings) {
    EXPECT_EQ(row.stored, &row - kSettings.data());
    EXPECT_TRUE(keys.insert(row.key).second) << row.key;
    EXPECT_FALSE(row.label.In(Language::kFrench).empty());
  }
  EXPECT_STREQ(kSettings[SettingIndex(34, kProbe)].key, "channel.34.probe");
  EXPECT_EQ(kSettings[SettingIndex(7, kSubKind)].label.In(Language::kEnglish),
            "Channel 7: conversion or thermocouple type");
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

  void BecomeMillik() {
    SetBench("model", "milliK");
    Set("model", "milliK");
  }
  void Steady(const char* celsius) {
    SetBench("temperature", celsius);
    for (const char* still : {"amplitude", "step", "noise"}) SetBench(still, "0");
  }
};

TEST_F(Microk, KeepsEveryFieldOfEveryChannelThroughTheStream) {
  auto record = device->settings().Snapshot();
  for (std::size_t i = 0; i < kSettings.size(); ++i) {
    const bool is_text = kSettings[i].type == VariantType::kBstr;
    if (is_text) PutText(record, kSettings[i], "Sonde \xE9 " + std::to_string(i));
    if (!is_text) PutCode(record, kSettings[i], i == 0 ? 1U : static_cast<std::uint32_t>(i % 256));
  }
  PutText(record, kSettings[SettingIndex(3, kProbe)], "");
  device->settings().Replace(record);
  MemoryStream saved;
  ASSERT_EQ(device->Save(saved), S_OK);
  ASSERT_EQ(device->InitNew(), S_OK);
  EXPECT_NE(device->settings().Snapshot(), record);
  MemoryStream again(saved.bytes());
  ASSERT_EQ(device->Load(again), S_OK);
  EXPECT_EQ(device->settings().Snapshot(), record);
  MemoryStream second;
  ASSERT_EQ(device->Save(second), S_OK);
  EXPECT_EQ(second.bytes(), saved.bytes());
}

TEST_F(Microk, AMicrokIsAskedForEveryChannelByItsNumber) {
  ASSERT_EQ(device->Connect(), S_OK);
  EXPECT_EQ(TakeSent(), "*IDN?\r");
  std::string text;
  ASSERT_EQ(device->Identify(&text), S_OK);
  EXPECT_EQ(text, "microK 400 with microsKanner, version 2.05");
  EXPECT_EQ(dynamic_cast<MicrokDriver&>(*driver).instrument_version(), 2.05);
  EXPECT_EQ(device->SendCfg(), S_OK);
  EXPECT_EQ(device->ReadCfg(), E_NOTIMPL);
  EXPECT_EQ(TakeSent(), "") << "identified once, configured at its front";
  Steady("0");
  std::string asked;
  for (ChannelId id = 0; id < kChannelCount; ++id) {
    EXPECT_EQ(driver->ReadChannel(id).value, 100.0F) << id;
    asked += ReadQuery(id) + "\r";
  }
  EXPECT_EQ(TakeSent(), asked);
  EXPECT_EQ(driver->ReadChannel(35).code, microkCtlErrMeasureNotAvailable);
  EXPECT_EQ(driver->WriteChannel(0, 1.0F), E_INVALIDARG);
  device->Disconnect();
  EXPECT_EQ(TakeSent(), "");
  EXPECT_THAT(UnknownRequests(), IsEmpty());
}

TEST_F(Microk, ChannelsThatTheMicrokDoesNotMeasureAreToldAtOnce) {
  SetBench("scanners", "1");
  SetBench("not-enabled", "2, 10");
  device->Connect();
  const MonotonicTime before = clock.Now();
  EXPECT_EQ(driver->ReadChannel(1).code, microkCtlErrMeasureNotAvailable);
  EXPECT_EQ(driver->ReadChannel(34).code, microkCtlErrMeasureNotAvailable);
  EXPECT_EQ(clock.Now(), before);
  EXPECT_EQ(driver->ReadChannel(0).code, S_OK);
}

TEST_F(Microk, AnotherInstrumentOrNoneIsRefusedAndTheLinkClosed) {
  const auto errors = std::make_shared<ErrorSink>();
  device->events().Advise(errors);
  Set("model", "1");
  EXPECT_EQ(device->Connect(), microkCtlErrNotMillik);
  Set("model", "0");
  SetBench("model", "1");
  EXPECT_EQ(device->Connect(), microkCtlErrNotMicrok);
  bench->SetFaults({{FaultKind::kSilent}});
  TakeSent();
  const MonotonicTime before = clock.Now();
  EXPECT_EQ(device->Connect(), serialCommErrUnableToReadComm);
  EXPECT_EQ(clock.Now() - before, Milliseconds(3000)) << "one attempt at identifying";
  EXPECT_EQ(TakeSent(), "*IDN?\r");
  EXPECT_FALSE(driver->LinkIsOpen());
  EXPECT_FALSE(IsConnected());
  EXPECT_THAT(errors->of_device, ElementsAre(microkCtlErrNotMillik, microkCtlErrNotMicrok));
  EXPECT_THAT(errors->of_system, ElementsAre(serialCommErrUnableToReadComm));
}

TEST_F(Microk, AMillikIsSentTheQueryOfEachEnabledChannel) {
  BecomeMillik();
  Set("channel.0.kind", "PRT");
  Set("channel.1.kind", "thermocouple");
  Set("channel.1.sub-kind", "K");
  Set("channel.1.unit", "F");
  Set("channel.2.kind", "CURRENT");
  Set("channel.10.enabled", "on");
  Set("channel.10.kind", "PRT");
  Set("channel.10.sub-kind", "USER-PROBE");
  Set("channel.10.unit", "K");
  Set("channel.10.probe", "SPRT-25");
  Steady("20");
  ASSERT_EQ(device->Connect(), S_OK);
  EXPECT_EQ(TakeSent(), "*IDN?\rREM\rPROB:COUN?\rPROB:NAM1?\rPROB:NAM2?\rPROB:NAM3?\r");
  EXPECT_EQ(driver->ReadChannel(0).value, 20.0F);
  EXPECT_EQ(driver->ReadChannel(1).value, 68.0F);
  EXPECT_EQ(driver->ReadChannel(2).value, 7.2F);
  EXPECT_EQ(driver->ReadChannel(10).value, 293.15F);
  EXPECT_EQ(TakeSent(),
            "MEAS:TEMP1? IEC60751(4-WIRE),C,115,NORM\rMEAS:TEMP2? TYPE K,F,INT\rMEAS:CURR? \r"
            "MEAS:TEMP17? 3,K,115,NORM\r");
  EXPECT_EQ(driver->ReadChannel(3).code, microkCtlErrMeasureNotAvailable);
  EXPECT_EQ(TakeSent(), "") << "no query, no exchange";
  EXPECT_TRUE(device->OffersChannel(10));
  EXPECT_FALSE(device->OffersChannel(3));
  EXPECT_THAT(UnknownRequests(), IsEmpty());
}

TEST_F(Microk, AMillikWithoutACommaIsConnectedAndLeftInLocal) {
  BecomeMillik();
  SetBench("identity", "milliK");
  ASSERT_EQ(device->Connect(), S_OK);
  EXPECT_EQ(TakeSent(), "*IDN?\r");
  EXPECT_EQ(driver->ReadChannel(0).code, S_OK);
}

TEST_F(Microk, AChannelThatCannotBeAskedForFailsTheConnection) {
  BecomeMillik();
  Set("channel.0.kind", "PRT");
  Set("channel.0.sub-kind", "USER-PROBE");
  Set("channel.0.probe", "PRT-Z");
  EXPECT_EQ(device->Connect(), microkCtlErrUserProbeNotFound);
  EXPECT_FALSE(driver->LinkIsOpen());
  Set("channel.0.probe", "PRT-B");
  Set("channel.1.range", "9");
  EXPECT_EQ(device->Connect(), microkCtlErrBadInternalChanConfig);
  Set("channel.1.enabled", "off");
  EXPECT_EQ(device->Connect(), S_OK);
}

TEST_F(Microk, AChangedConfigurationIsMeasuredAtTheNextReading) {
  BecomeMillik();
  Steady("20");
  ASSERT_EQ(device->Connect(), S_OK);
  Set("channel.0.kind", "PRT");
  Set("channel.1.kind", "200");
  EXPECT_EQ(driver->ReadChannel(0).value, 20.0F);
  EXPECT_EQ(driver->ReadChannel(1).code, microkCtlErrBadInternalChanConfig) << "this channel's own";
  EXPECT_EQ(device->SendCfg(), microkCtlErrBadInternalChanConfig);
  Set("channel.1.kind", "PRT");
  Set("channel.1.sub-kind", "USER-PROBE");
  Set("channel.1.probe", "PRT-A");
  bench->SetFaults({{FaultKind::kSilent}});
  EXPECT_EQ(driver->ReadChannel(1).code, serialCommErrUnableToReadComm);
  bench->SetFaults({});
  EXPECT_EQ(driver->ReadChannel(1).value, 20.0F) << "the probes are asked for again";
  EXPECT_EQ(device->SendCfg(), S_OK);
}

TEST_F(Microk, ReadingIsRepeatedAsOftenAsTheTimeoutsAllow) {
  BecomeMillik();
  ASSERT_EQ(device->Connect(), S_OK);
  bench->SetFaults({{FaultKind::kSilent}});
  TakeSent();
  MonotonicTime before = clock.Now();
  EXPECT_EQ(driver->ReadChannel(0).code, serialCommErrUnableToReadComm);
  EXPECT_EQ(clock.Now() - before, Milliseconds(2 * 3000));
  EXPECT_EQ(TakeSent(), "MEAS:RES1? 115,NORM\r") << "the query is not sent again";

  DriverServices services;
  services.clock = &clock;
  services.timeout_ms = 1500;
  auto other = std::make_shared<SimulatedBench>(FindSimulator("microk")(clock), clock);
  services.open_serial_port = OpenerOf(other);
  MicrokDriver impatient(services);
  ASSERT_EQ(impatient.Connect(), S_OK);
  other->SetFaults({{FaultKind::kSilent}});
  impatient.settings().SetText(kSettings[0], "1");
  before = clock.Now();
  EXPECT_EQ(impatient.ReadChannel(0).code, serialCommErrUnableToReadComm);
  EXPECT_EQ(clock.Now() - before, Milliseconds(1500)) << "one attempt at least";
  impatient.settings().SetText(kSettings[0], "0");
  before = clock.Now();
  EXPECT_EQ(impatient.ReadChannel(0).code, serialCommErrUnableToReadComm);
  EXPECT_EQ(clock.Now() - before, Milliseconds(4 * 1500));
}

// A line at 9600 baud carries a byte in about a millisecond; a scan adds next to nothing to what its replies need.
TEST_F(Microk, AScanOfEveryChannelTakesAsLongAsItsBytes) {
  constexpr std::string_view kReply = "104.1234567";
  SetBench("measure-text", kReply);
  device->Connect();
  bench->SetFaults({{FaultKind::kDelay, 1}, {FaultKind::kDrip, 1}});
  const MonotonicTime before = clock.Now();
  for (ChannelId id = 0; id < kChannelCount; ++id) EXPECT_EQ(driver->ReadChannel(id).code, S_OK) << id;
  const std::chrono::duration<double, std::milli> took = clock.Now() - before;
  const auto bytes = static_cast<double>(kChannelCount * (kReply.size() + 1));
  EXPECT_GE(took.count(), bytes);
  EXPECT_LE(took.count(), bytes * 1.05);
}

// A bridge that says each of its bytes too late for one attempt, but not for all of them.
TEST_F(Microk, AReplyThatDripsTooSlowlyIsGivenUp) {
  BecomeMillik();
  SetBench("measure-text", "7.79");
  device->Connect();
  bench->SetFaults({{FaultKind::kDrip, 4000}});
  const MonotonicTime before = clock.Now();
  EXPECT_EQ(driver->ReadChannel(0).code, serialCommErrUnableToReadComm);
  EXPECT_LE(clock.Now() - before, Milliseconds(12'000));
}

// A bridge that stops in the middle of its digits: the rest alone would be a number too.
TEST_F(Microk, AReplyThatStopsMidwayIsReadToItsEnd) {
  SetBench("measure-text", "7.5");
  device->Connect();
  bench->SetFaults({{FaultKind::kDrip, 3200}});
  EXPECT_EQ(driver->ReadChannel(0).value, 7.5F);
}

std::string traced;

TEST_F(Microk, TracesTheModelWhenAChannelIsNamed) {
  SetTraceSink([](std::string_view line) { traced = line; });
  std::string name;
  EXPECT_EQ(device->GetChanName(34, &name), S_OK);
  EXPECT_EQ(name, "CH47");
  EXPECT_EQ(traced, "Debug CUlixInstrMicrokCtl::GetChanName() : m_nInstrumentModel == 0 (0x00)");
  Set("model", "milliK");
  EXPECT_EQ(device->GetChanDefName(0, &name), S_OK);
  EXPECT_EQ(traced, "Debug CUlixInstrMicrokCtl::GetChanName() : m_nInstrumentModel == 1 (0x01)");
  SetTraceSink(nullptr);
  EXPECT_EQ(device->GetChanName(35, &name), E_INVALIDARG);
}

TEST_F(Microk, EveryTextOfItsErrors) {
  EXPECT_EQ(ErrorText(microkCtlErrUserProbeNotFound, false), "User probe not found in the instrument database");
  EXPECT_EQ(ErrorText(microkCtlErrUserProbeNotFound, true), "USER_PROBE_NOT_FOUND");
  EXPECT_EQ(ErrorText(microkCtlErrScpiCmdeError, true), "SCPI_CMD_ERROR");
  EXPECT_EQ(ErrorText(microkCtlErrBadInternalChanConfig, true), "WRONG_CHAN_CONFIG");
  EXPECT_EQ(FrenchErrorText(microkCtlErrChannelNotEnabled),
            "Voie non activ\xE9"
            "e");
  EXPECT_EQ(ErrorText(microkErrExceptionCode + 5, false), "");
  for (std::size_t i = 0; i < kErrors.size(); ++i) {
    EXPECT_EQ(kErrors[i].code, microkCtlErrNotMicrok + static_cast<HRESULT>(i));
    EXPECT_EQ(kErrors[i].long_id, 7500 + static_cast<int>(i));
    EXPECT_EQ(kErrors[i].short_id, 7400 + static_cast<int>(i));
  }
  std::string text;
  EXPECT_EQ(device->GetCfgText(&text), S_OK);
  EXPECT_EQ(text, "MICROK: XXXX_A_IMPLANTER");
}

TEST(MicrokSimulatorTest, NotesWhatTheInstrumentsDoNotKnow) {
  ManualClock clock;
  const auto simulator = FindSimulator("microk")(clock);
  std::vector<std::string> wrong = {"READ1?", "read1", "read1? ", "read?", "REM", "MEAS:RES1? 115,NORM"};
  for (const std::string& request : wrong) simulator->Receive(request + "\r");
  EXPECT_EQ(simulator->Set("model", "kiloK"), E_INVALIDARG);
  ASSERT_EQ(simulator->Set("model", "1"), S_OK);
  for (const char* request :
       {"read1?", "MEAS:RES1? 115,NORM,", "MEAS:RES1? 115", "MEAS:RES1?115,NORM", "MEAS:RES? 115,NORM",
        "MEAS:VOLT1? INT,", "MEAS:TEMP1? TYPE K,C", "MEAS:TEMP1? 4,C,115,NORM", "MEAS:TEMP2? 1,C", "MEAS:CURR?",
        "MEAS:CURR? INT", "PROB:NAM?", "PROB:COUN?\n"}) {
    wrong.emplace_back(request);
    EXPECT_TRUE(simulator->Receive(std::string(request) + "\r").front().bytes.empty()) << request;
  }
  EXPECT_EQ(simulator->unknown_requests(), wrong);
  EXPECT_EQ(simulator->Receive("PROB:NAM4?\r").front().bytes, "Error 114: No such probe\r");
  EXPECT_EQ(simulator->Receive("PROB:NAM2?\r").front().bytes, "PRT-B\r");
}

}  // namespace
}  // namespace ulix::microk
