// The Fluke Hydra driver: its pure protocol, then whole exchanges with the simulated instrument over an in-process
// line.
#include <gtest/gtest.h>

#include <cmath>

#include "base/text.h"
#include "base/trace.h"
#include "drivers/others/flukehydra/protocol.h"
#include "drivers/others/flukehydra/tables.h"
#include "tests/support/line_bench.h"

namespace ulix::flukehydra {
namespace {

TEST(FlukeHydraProtocol, KnowsItsFamilyOnly) {
  EXPECT_TRUE(IsHydra("FLUKE,2635A,0,M2.41 A4.7 D1.0 L1.2"));
  EXPECT_TRUE(IsHydra("FLUKE,2635"));
  for (const char* other : {"", "FLUKE", "FLUKE,2625A,0", "FLUKE,2625A,2635", "fluke,2635A", " FLUKE,2635A"}) {
    EXPECT_FALSE(IsHydra(other)) << other;
  }
}

TEST(FlukeHydraProtocol, ScalesByFunctionAndRange) {
  constexpr double kScales[][7] = {
      {1, 1000, 1, 1, 1, 1000, 1000},
      {1, 1000, 1, 1, 1},
      {1, 1, 0.001, 0.001, 0.001, 0.000001, 0.000001},
      {1, 1, 0.001, 0.001, 0.001, 0.000001},
  };
  for (std::uint32_t function = 1; function <= 4; ++function) {
    for (std::uint32_t range = 0; range < 7; ++range) {
      const double scale = kScales[function - 1][range];
      const auto found = ScaleOf({function, range});
      EXPECT_EQ(found.value_or(0), scale) << function << ' ' << range;
      EXPECT_EQ(CodeOf(found), scale == 0 ? flukehydraCtlErrNack : S_OK) << "a range that is none reads nothing";
    }
  }
  for (const std::uint32_t other : {0U, 5U, 9U, 11U}) EXPECT_EQ(ScaleOf({other, 6}).value(), 1.0);
}

TEST(FlukeHydraProtocol, ReadsAResult) {
  EXPECT_EQ(ParseLast("+002.50E+0\r", 0.000001).value(), 0.0000025F);
  EXPECT_EQ(ParseLast(" -123.45E-3  mV\r", 1000).value(), -123.45F);
  EXPECT_EQ(ParseLast("+0.0\r", 1).value(), 0.0F);
  struct Case {
    const char* result;
    HRESULT error;
  };
  const Case cases[] = {
      {"+001.00E+9\r", flukehydraCtlErrOutOfRange}, {"-001.00E+9\r", flukehydraCtlErrOutOfRange},
      {"+009.00E+9\r", flukehydraCtlErrOtc},        {"\r", serialCommErrUnableToReadComm},
      {"=?", serialCommErrUnableToReadComm},        {"+00\x8F.50E+0\r", serialCommErrUnableToReadComm},
      {"nan\r", serialCommErrUnableToReadComm},     {"+999.00E+36\r", serialCommErrUnableToReadComm},
  };
  for (const Case& c : cases) EXPECT_EQ(CodeOf(ParseLast(c.result, 1000)), c.error) << c.result;
}

TEST(FlukeHydraProtocol, TellsWhatAChannelMeasures) {
  struct Case {
    const char* result;
    ChannelConfig config;
    const char* unit;
    int resolution;
  };
  const Case cases[] = {
      {"OFF\r", {0, 0}, "", 6},
      {"3,5\r", {3, 5}, "MOhm", 4},
      {"VDC,AUTO\r", {1, 0}, "V", 6},
      {"VDC, 5\r", {1, 5}, "mV", 3},
      {"VAC,4\r", {2, 4}, "V", 2},
      {"OHMS,3,4\r", {3, 3}, "kOhm", 3},
      {"FREQ,5\r", {4, 5}, "MHz", 4},
      {"temp,K\r",
       {9, 2},
       "\xB0"
       "F",
       2},
      {"TEMP,PT,4\r",
       {11, 0},
       "\xB0"
       "F",
       2},
  };
  for (const Case& c : cases) {
    const auto config = ParseFunction(c.result);
    ASSERT_TRUE(config) << c.result;
    EXPECT_EQ(*config, c.config) << c.result;
    EXPECT_EQ(UnitOf(*config, 1), c.unit);
    EXPECT_EQ(ResolutionOf(*config), c.resolution);
  }
  for (const char* bad : {"", "\r", "VDC", "VDC,7", "VAC,5", "OHMS,1.5", "TEMP", "TEMP,X", "TC,K", "XYZ,1", "VDC,-1"}) {
    EXPECT_EQ(CodeOf(ParseFunction(bad)), flukehydraCtlErrNack) << bad;
  }
}

TEST(FlukeHydraProtocol, ReadsIntervalsAndNumbers) {
  EXPECT_EQ(ParseInterval("1,02,30\r").value(), 3750U);
  EXPECT_EQ(ParseInterval("OFF\r").value(), 0U);
  EXPECT_EQ(ParseNumber(" 3\r", 3).value(), 3U);
  for (const char* bad : {"", "1,2", "0,60,0", "100,0,0", "0,0,1,0", "a,b,c"}) EXPECT_FALSE(ParseInterval(bad)) << bad;
  for (const char* bad : {"", "4", "1,2", "-1", "1.5"}) EXPECT_FALSE(ParseNumber(bad, 3)) << bad;
}

class FlukeHydra : public LineBench {
 protected:
  FlukeHydra() : LineBench("flukehydra") {
    SetBench("period", "0");
    SetBench("value.0", "1.5");
  }
};

TEST_F(FlukeHydra, SaysExactlyTheseWords) {
  ASSERT_EQ(device->Connect(), S_OK);
  EXPECT_EQ(TakeSent(), "*IDN?\r\n");
  EXPECT_EQ(driver->ReadChannel(0).value, 1.5F);
  EXPECT_EQ(driver->ReadChannel(20).value, 35.0F);
  EXPECT_EQ(TakeSent(), "LAST? 0\r\nLAST? 20\r\n");
  EXPECT_EQ(device->Run(), S_OK);
  EXPECT_EQ(device->Stop(), S_OK);
  EXPECT_EQ(TakeSent(), "PRINT 0\r\nSCAN 1\r\nSCAN 0\r\n");
  EXPECT_EQ(driver->ReadChannel(21).code, flukehydraCtlErrChNum);
  EXPECT_EQ(device->SendCfg(), S_OK);
  EXPECT_EQ(device->Disconnect(), S_OK);
  EXPECT_EQ(TakeSent(), "");
  EXPECT_EQ(UnknownRequests(), std::vector<std::string>());
}

TEST_F(FlukeHydra, AnotherInstrumentIsRefusedAndTheLinkClosed) {
  SetBench("identity", "FLUKE,2625A,0,M2.41");
  EXPECT_EQ(device->Connect(), flukehydraCtlErrNotFlukeHydra);
  EXPECT_FALSE(IsConnected());
  SetBench("identity", "FLUKE,2635A");
  EXPECT_EQ(device->Connect(), S_OK);
  std::string text;
  EXPECT_EQ(device->Identify(&text), S_OK);
  EXPECT_EQ(text, "FLUKE,2635A");
}

TEST_F(FlukeHydra, ReadsItsConfigurationWholeOrNotAtAll) {
  SetBench("temperature-config", "3");
  SetBench("function.0", "VDC,1");
  SetBench("function.20", "OFF");
  device->Connect();
  TakeSent();
  ASSERT_EQ(device->ReadCfg(), S_OK);
  std::string expected;
  for (int channel = 0; channel <= 20; ++channel) expected += "FUNC? " + std::to_string(channel) + "\r\n";
  EXPECT_EQ(TakeSent(), expected + "TEMP_CONFIG?\r\nRATE?\r\nINTVL?\r\n");
  const auto record = device->settings().Snapshot();
  EXPECT_EQ(ChannelIn(record, 0), (ChannelConfig{1, 1}));
  EXPECT_EQ(ChannelIn(record, 20), (ChannelConfig{0, 0}));
  EXPECT_EQ(CodeIn(record, kSettings[kInterval]), 10U);
  EXPECT_EQ(driver->ChannelUnit(10),
            "\xB0"
            "F");
  EXPECT_EQ(driver->ReadChannel(0).value, 1500.0F) << "in millivolts now";

  SetBench("function.0", "VDC,2");
  SetBench("scan-interval", "soon");
  EXPECT_EQ(device->ReadCfg(), flukehydraCtlErrNack);
  SetBench("prompt", "=!");
  EXPECT_EQ(device->ReadCfg(), flukehydraCtlErrCmdExecError);
  bench->SetFaults({{FaultKind::kRefuse}});
  EXPECT_EQ(device->ReadCfg(), flukehydraCtlErrCmdSyntaxError);
  EXPECT_EQ(device->settings().Snapshot(), record);
}

TEST_F(FlukeHydra, TellsWhyThereIsNoValue) {
  device->Connect();
  struct Case {
    const char* key;
    const char* value;
    HRESULT code;
  };
  const Case cases[] = {
      {"function.1", "OFF", flukehydraCtlErrNoMeasAvailable},
      {"value.2", "1e9", flukehydraCtlErrOutOfRange},
      {"value.3", "9e9", flukehydraCtlErrOtc},
  };
  for (ChannelId channel = 1; const Case& c : cases) {
    SetBench(c.key, c.value);
    EXPECT_EQ(driver->ReadChannel(channel++).code, c.code) << c.key;
  }
  Set("channel.4.function", "VAC");
  Set("channel.4.range", "6");
  TakeSent();
  EXPECT_EQ(driver->ReadChannel(4).code, flukehydraCtlErrNack);
  EXPECT_EQ(TakeSent(), "") << "a range that its function does not have is not asked for";
}

TEST_F(FlukeHydra, APromptOfFailureBehindAValueIsAWarning) {
  device->Connect();
  SetBench("prompt", "=!");
  EXPECT_EQ(driver->ReadChannel(0).code, 1);
  SetBench("value.0", "9e9");
  EXPECT_EQ(driver->ReadChannel(0).code, 1) << "the prompt is judged before the value";
  EXPECT_EQ(device->Run(), serialCommErrUnableToReadComm);
  SetBench("prompt", "=?");
  EXPECT_EQ(device->Stop(), serialCommErrUnableToReadComm);
}

TEST_F(FlukeHydra, APromptStillOnItsWayIsNotTakenForTheNextResult) {
  bench->SetFaults({{FaultKind::kDrip, 100}});
  ASSERT_EQ(device->Connect(), S_OK);
  bench->SetFaults({});
  const Reading reading = driver->ReadChannel(0);
  EXPECT_EQ(reading.code, S_OK);
  EXPECT_EQ(reading.value, 1.5F);
}

TEST_F(FlukeHydra, AResultThatComesInPiecesIsNoOtherValue) {
  SetBench("last-text", "+123.45E+0");
  device->Connect();
  bench->SetFaults({{FaultKind::kDrip, 10'500}});  // two of these silences are inside a result's first characters
  EXPECT_EQ(driver->ReadChannel(0).code, serialCommErrUnableToReadComm);
}

std::string* traced = nullptr;

// How the driver's opening goes when the port is there at the given attempt only.
std::string TraceOfOpeningAt(int attempt) {
  ManualClock clock(ManualClock::Mode::kAutomatic);
  DriverServices services;
  services.clock = &clock;
  const auto opener = OpenerOf(std::make_shared<SimulatedBench>(FindSimulator("flukehydra")(clock), clock));
  services.open_serial_port = [=, left = attempt](int port) mutable {
    return --left > 0 ? platform::OpenResult{} : opener(port);
  };
  std::string lines;
  traced = &lines;
  SetTraceSink([](std::string_view line) { *traced += line; });
  EXPECT_EQ(FindModel("flukehydra")->create(services)->Connect(), S_OK);
  SetTraceSink(nullptr);
  return lines;
}

TEST(FlukeHydraOpening, IsTracedFromTheFifthAttempt) {
  EXPECT_EQ(TraceOfOpeningAt(4), "");
  EXPECT_EQ(Utf8FromAnsi(TraceOfOpeningAt(5)), "FLUKE HYDRA Open() : ok, mais plus de 4 essais nécessaires !!!???");
  EXPECT_NE(TraceOfOpeningAt(11), "");
}

TEST_F(FlukeHydra, EveryTextOfItsErrors) {
  struct Case {
    HRESULT code;
    const char* text;
    const char* french;
    const char* short_text;
  };
  const Case cases[] = {
      {flukehydraCtlErrNotFlukeHydra, "Device connected is not a Fluke Hydra",
       "L'appareil connecté n'est pas un Fluke Hydra", "NOT_FLUKE_HYDRA"},
      {flukehydraCtlErrOtc, "Open thermocouple", "Thermocouple ouvert", "OPEN_TC"},
      {flukehydraErrExceptionCode + 5, "", "", ""},
      {jofrartcptcCtlErrNack, "", "", ""},
  };
  for (const Case& c : cases) {
    EXPECT_EQ(ErrorText(c.code, false), c.text);
    EXPECT_EQ(ErrorText(c.code, true), c.short_text);
    EXPECT_EQ(Utf8FromAnsi(FrenchErrorText(c.code)), c.french);
  }
}

}  // namespace
}  // namespace ulix::flukehydra
