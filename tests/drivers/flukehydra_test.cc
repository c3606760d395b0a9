// The Fluke Hydra driver: its protocol, then whole exchanges with the simulated instrument over an in-process line.
#include <gtest/gtest.h>

#include "drivers/others/flukehydra/protocol.h"
#include "drivers/others/flukehydra/tables.h"
#include "tests/support/line_bench.h"

namespace ulix::flukehydra {
namespace {

TEST(FlukeHydraProtocol, LastReply_GivesItsValueOrItsError) {
  EXPECT_EQ(ParseLast("+002.50E+0\r", 0.000001).value(), 0.0000025F);
  EXPECT_EQ(ParseLast(" -123.45E-3  mV\r", 1000).value(), -123.45F);
  EXPECT_EQ(ParseLast("+0.0\r", 1).value(), 0.0F);
  EXPECT_EQ(ParseLast("+023.45E+0,VDC\r", 1).value(), 23.45F);
  const std::pair<const char*, HRESULT> cases[] = {
      {"+001.00E+9\r", flukehydraCtlErrOutOfRange},
      {"-001.00E+9\r", flukehydraCtlErrOutOfRange},
      {"+009.90E+37\r", flukehydraCtlErrOutOfRange},
      {"+009.00E+9\r", flukehydraCtlErrOtc},
      {"\r", serialCommErrUnableToReadComm},
      {"=?", serialCommErrUnableToReadComm},
      {"+00\x8F.50E+0\r", serialCommErrUnableToReadComm},
      {"+001.00E+9,C\r", flukehydraCtlErrOutOfRange},
      {"+023.45E\r", serialCommErrUnableToReadComm},
      {"+023,45E+0\r", serialCommErrUnableToReadComm},
      {"+023.45E+0+023.45E+0\r", serialCommErrUnableToReadComm},
      {"nan\r", serialCommErrUnableToReadComm},
      {"+999.00E+36\r", serialCommErrUnableToReadComm},
  };
  for (const auto& [result, error] : cases) EXPECT_EQ(CodeOf(ParseLast(result, 1000)), error) << result;
}

TEST(FlukeHydraProtocol, FunctionReply_GivesConfigurationUnitAndResolution) {
  struct Case {
    const char* result;
    ChannelConfig config;
    const char* unit;
    int resolution;
  };
  const Case cases[] = {
      {"OFF\r", {0, 0}, "", 6},       {"3,5\r", {3, 5}, "MOhm", 4},     {"VDC,AUTO\r", {1, 0}, "V", 6},
      {"VDC, 5\r", {1, 5}, "mV", 3},  {"VAC,4\r", {2, 4}, "V", 2},      {"OHMS,3,4\r", {3, 3}, "kOhm", 3},
      {"FREQ,5\r", {4, 5}, "MHz", 4}, {"temp,K\r", {9, 2}, "\260F", 2}, {"TEMP,PT,4\r", {11, 0}, "\260F", 2},
  };
  for (const Case& c : cases) {
    const auto config = ParseFunction(c.result);
    ASSERT_TRUE(config) << c.result;
    EXPECT_EQ(*config, c.config) << c.result;
    EXPECT_EQ(UnitOf(*config, 1), c.unit);
    EXPECT_EQ(ResolutionOf(*config), c.resolution);
  }
  for (const char* bad :
       {"", "\r", "VDC", "VDC,7", "VAC,5", "OHMS,1.5", "TEMP", "TEMP,X", "OHMS,,4", "TC,K", "XYZ,1", "VDC,-1"}) {
    EXPECT_EQ(CodeOf(ParseFunction(bad)), flukehydraCtlErrNack) << bad;
  }
}

TEST(FlukeHydraProtocol, IntervalAndNumberReplies_AreParsed) {
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

TEST_F(FlukeHydra, ReadWithoutAValue_GivesItsCause) {
  EXPECT_EQ(device->Connect(), S_OK);
  SetBench("function.1", "OFF");
  EXPECT_EQ(driver->ReadChannel(1).code, flukehydraCtlErrNoMeasAvailable);
  for (const auto& [key, value] : {std::pair{"channel.4.function", "VAC"}, {"channel.4.range", "6"}}) Set(key, value);
  TakeSent();
  EXPECT_EQ(driver->ReadChannel(4).code, flukehydraCtlErrNack);
  EXPECT_EQ(TakeSent(), "") << "a range that the function does not have is not sent";
  EXPECT_EQ(device->Run(), S_OK);
  EXPECT_EQ(device->Stop(), S_OK);
  SetBench("value.2", "9e9");
  SetBench("prompt", "=!");
  EXPECT_EQ(driver->ReadChannel(2).doubt, Doubt::kNoValue) << "the prompt is checked before the value";
}

TEST_F(FlukeHydra, ReadCfg_TakesTheWholeConfiguration) {
  SetBench("temperature-config", "3");
  SetBench("function.0", "VDC,1");
  SetBench("function.20", "OFF");
  EXPECT_EQ(device->Connect(), S_OK);
  TakeSent();
  ASSERT_EQ(device->ReadCfg(), S_OK);
  std::string expected;
  for (int channel = 0; channel <= 20; ++channel) expected += "FUNC? " + std::to_string(channel) + "\r\n";
  EXPECT_EQ(TakeSent(), expected + "TEMP_CONFIG?\r\nRATE?\r\nINTVL?\r\n");
  const auto record = device->settings().Snapshot();
  EXPECT_EQ(ChannelIn(record, 0), (ChannelConfig{1, 1}));
  EXPECT_EQ(ChannelIn(record, 20), (ChannelConfig{0, 0}));
  EXPECT_EQ(CodeIn(record, kSettings[kInterval]), 10U);
  EXPECT_EQ(driver->ChannelUnit(10), "\260F");
  EXPECT_EQ(driver->ReadChannel(0).value, 1500.0F) << "in millivolts now";
}

TEST_F(FlukeHydra, ReadCfgThatFails_ChangesNoSetting) {
  EXPECT_EQ(device->Connect(), S_OK);
  ASSERT_EQ(device->ReadCfg(), S_OK);
  const auto record = device->settings().Snapshot();
  SetBench("function.0", "VDC,2");
  SetBench("scan-interval", "soon");
  EXPECT_EQ(device->ReadCfg(), flukehydraCtlErrNack);
  SetBench("prompt", "=!");
  EXPECT_EQ(device->ReadCfg(), flukehydraCtlErrCmdExecError);
  bench->SetFaults({{FaultKind::kRefuse}});
  EXPECT_EQ(device->ReadCfg(), flukehydraCtlErrCmdSyntaxError);
  EXPECT_EQ(device->settings().Snapshot(), record);
}

TEST_F(FlukeHydra, PromptOfTheIdentification_IsNotTakenForThatOfACommand) {
  bench->SetFaults({{FaultKind::kDrip, 4}});
  ASSERT_EQ(device->Connect(), S_OK);
  SetBench("prompt", "=!");
  EXPECT_EQ(device->Stop(), serialCommErrUnableToReadComm) << "refused";
  SetBench("prompt", "=>");
  EXPECT_EQ(device->Run(), S_OK);
}

// The reply is a part of a line or belongs to another query. The value after it cannot be assigned to a channel.
TEST_F(FlukeHydra, SenselessReply_NextReadResynchronises) {
  EXPECT_EQ(device->Connect(), S_OK);
  for (const auto& [key, nonsense, sense] : {std::tuple{"prompt", "00E+0", "=>"}, {"last-text", "E+0", ""}}) {
    SetBench(key, nonsense);
    EXPECT_EQ(driver->ReadChannel(0).code, serialCommErrUnableToReadComm);
    SetBench(key, sense);
    TakeSent();
    EXPECT_EQ(driver->ReadChannel(0).value, 1.5F);
    EXPECT_EQ(TakeSent(), "*IDN?\r\nLAST? 0\r\n");
  }
}

TEST_F(FlukeHydra, PartsOfALateReply_AreNotTakenForTheNext) {
  // The prompt of the identification has arrived, is on its way, or is cut in two by the purge before the next command.
  for (const int wait_ms : {0, 500, 1000, 2000, 3000, 4000}) {
    for (const int drip_ms : {100, 1100}) {
      SCOPED_TRACE(testing::Message() << drip_ms << " between bytes, then " << wait_ms);
      bench->SetFaults({{FaultKind::kDrip, drip_ms}});
      ASSERT_EQ(device->Connect(), S_OK);
      bench->SetFaults({});
      clock.SleepFor(Milliseconds(wait_ms));
      const Reading reading = driver->ReadChannel(0);
      EXPECT_EQ(reading.code, S_OK);
      EXPECT_EQ(reading.value, 1.5F);
      EXPECT_EQ(device->Disconnect(), S_OK);
    }
  }
  ASSERT_EQ(device->Connect(), S_OK);
  SetBench("last-text", "+123.45E+0");
  bench->SetFaults({{FaultKind::kDrip, 10'500}});  // Two of these pauses fall between the first characters of a result.
  EXPECT_EQ(driver->ReadChannel(0).code, serialCommErrUnableToReadComm);
}

}  // namespace
}  // namespace ulix::flukehydra
