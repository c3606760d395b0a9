// The Kelvo10 driver: its pure protocol, then whole exchanges with the simulated instrument over an in-process line.
#include <gtest/gtest.h>

#include "drivers/calibrators/kelvo10/tables.h"
#include "drivers/calibrators/range_calibrator/protocol.h"
#include "tests/support/line_bench.h"

namespace ulix::range_calibrator {
namespace {

using kelvo10::kModel;

TEST(Kelvo10Protocol, BuildsRangeCommands) {
  struct Case {
    Side side;
    SideConfig config;
    std::uint32_t unit;
    const char* line;  // null: the range is not supported
  };
  const Case cases[] = {
      {Side::kInput, {11, 0, 1, 2, 20.0F}, 0, "RANGE_IN TC,TYP_K,CEL,JR_PROG,20"},
      {Side::kInput, {11, 1, 1, 0, 0.0F}, 1, "RANGE_IN TC,WIRE2,TYP_K,FAR,JR_ON"},
      {Side::kOutput, {11, 0, 9, 2, 1.5e10F}, 2, "RANGE_OUT TC,TYP_R,K,JR_PROG,1.5E+10"},
      {Side::kInput, {4, 0, 0, 0, 0.0F}, 3, "RANGE_IN MV50"},
      {Side::kInput, {8, 3, 0, 0, 0.0F}, 3, "RANGE_IN OHM5000,WIRE4"},
      {Side::kOutput, {8, 0, 0, 0, 0.0F}, 3, "RANGE_OUT OHM5000"},
      {Side::kOutput, {6, 1, 0, 0, 0.0F}, 0, "RANGE_OUT MA50,WIRE2"},
      {Side::kInput, {12, 3, 25, 3, 0.0F}, 0, "RANGE_IN RT,WIRE4,TYP_NI1000,CEL"},
      {Side::kInput, {0, 0, 0, 0, 0.0F}, 0, nullptr},
      {Side::kInput, {13, 0, 0, 0, 0.0F}, 0, nullptr},
      {Side::kInput, {8, 0, 0, 0, 0.0F}, 0, nullptr},
      {Side::kOutput, {12, 0, 14, 0, 0.0F}, 0, nullptr},
      {Side::kInput, {12, 1, 26, 0, 0.0F}, 0, nullptr},
      {Side::kInput, {12, 1, 1, 0, 0.0F}, 3, nullptr},
      {Side::kInput, {11, 0, 1, 4, 0.0F}, 0, nullptr},
  };
  for (const Case& c : cases) {
    const auto line = RangeCommand(kModel, c.side, c.config, c.unit);
    EXPECT_EQ(line.value_or(""), c.line ? c.line : "") << c.config.function;
    EXPECT_EQ(CodeOf(line), c.line ? S_OK : kelvo10CtlErrRgeNotSupported);
  }
}

TEST(Kelvo10Protocol, ReadsBackEveryCommandThatItCanBuild) {
  for (std::uint32_t function = 1; function <= kelvo10::kFunctions.size(); ++function) {
    for (std::uint32_t sensor = 1; sensor <= kelvo10::kSensorWords.size(); ++sensor) {
      for (const Side side : {Side::kInput, Side::kOutput}) {
        const SideConfig sent{function, sensor % 7 + 1, sensor, sensor % 4, 12.5F};
        const auto line = RangeCommand(kModel, side, sent, sensor % 3);
        ASSERT_TRUE(line);
        const auto reply = ParseRangeReply(kModel, *line, sent);
        ASSERT_TRUE(reply) << *line;
        EXPECT_EQ(RangeCommand(kModel, side, reply->config, reply->unit.value_or(0)).value_or(""), *line);
      }
    }
  }
}

TEST(Kelvo10Protocol, TellsWordsThatContainEachOtherApart) {
  const SideConfig before{1, 2, 3, 1, 7.0F};
  const auto rtd = ParseRangeReply(kModel, "CFG_IN TC,TYP_PT500,CEL,JR_RTD", before);
  ASSERT_TRUE(rtd);
  EXPECT_EQ(rtd->config, (SideConfig{11, 0, 17, 3, 7.0F}));
  EXPECT_EQ(ParseRangeReply(kModel, "V50", before)->config.function, 1U);
  EXPECT_EQ(ParseRangeReply(kModel, "  V5 \r", before)->config.function, 2U);
  EXPECT_EQ(ParseRangeReply(kModel, "V50", before)->config.cold_junction, 1U) << "not named, not changed";
  for (const char* refused :
       {"", "CFG_IN", "V51", "V50,V5", "TC,TYP_K", "TC,CEL,JR_ON", "TYP_K,CEL", "V50 CFG_IN",
        "TC,TYP_K,CEL,JR_PROG,20,30", "TC,TYP_K,CEL,JR_PROG,nan", "TC,TYP_K,CEL,JR_PROG,1e99", "V50,20"}) {
    EXPECT_FALSE(ParseRangeReply(kModel, refused, before)) << refused;
  }
}

TEST(Kelvo10Protocol, ReadsTheNumberAtTheStartOfAMeasure) {
  EXPECT_EQ(ParseMeasure("12.345 V").value(), 12.345F);
  EXPECT_EQ(ParseMeasure(" +1.5E-03").value(), 0.0015F);
  EXPECT_EQ(ParseMeasure("-.5mA").value(), -0.5F);
  EXPECT_EQ(ParseMeasure("0x1A").value(), 0.0F);
  EXPECT_EQ(ParseMeasure("OVER").value(), 0.0F) << "no number reads as 0, as it always did";
  EXPECT_EQ(ParseMeasure("nan").value(), 0.0F);
  for (const char* too_large : {"1e39", "-1e999"}) {
    EXPECT_EQ(CodeOf(ParseMeasure(too_large)), serialCommErrUnableToReadComm);
  }
}

TEST(Kelvo10Protocol, UnitsAndResolutionsFollowTheFunction) {
  EXPECT_EQ(UnitOf(kModel, 3, 0), "V");
  EXPECT_EQ(UnitOf(kModel, 7, 0), "mA");
  EXPECT_EQ(UnitOf(kModel, 12, 1),
            "\xB0"
            "F");
  EXPECT_EQ(UnitOf(kModel, 11, 3),
            "\xB0"
            "C");
  EXPECT_EQ(UnitOf(kModel, 0, 0), "");
  EXPECT_EQ(UnitOf(kModel, 13, 0), "");
  EXPECT_EQ(ResolutionOf(kModel, 9), 2);
  EXPECT_EQ(ResolutionOf(kModel, 13), 6);
  EXPECT_EQ(OutputCommand(100.1F), "OUT 100.099998");
  EXPECT_EQ(OutputCommand(3.4e38F), "OUT 339999995214436424907732413799364296704.000000");
}

class Kelvo10 : public LineBench {
 protected:
  Kelvo10() : LineBench("kelvo10") {}
};

TEST_F(Kelvo10, SaysExactlyTheseWords) {
  ASSERT_EQ(device->Connect(), S_OK);
  EXPECT_EQ(TakeSent(), "*IDN?\nREM\n");
  EXPECT_EQ(device->Connect(), S_OK);
  EXPECT_EQ(TakeSent(), "");
  std::string text;
  EXPECT_EQ(device->Identify(&text), S_OK);
  EXPECT_EQ(text, "ULIX,KELVO10,123456,V2.10");
  TakeSent();
  Set("input-function", "tc");
  Set("input-sensor", "TYP_K");
  Set("input-cold-junction", "JR_PROG");
  Set("input-cold-junction-temperature", "20");
  Set("output-function", "8");
  const MonotonicTime before = clock.Now();
  EXPECT_EQ(device->SendCfg(), S_OK);
  EXPECT_EQ(TakeSent(), "REM\nRANGE_IN TC,TYP_K,CEL,JR_PROG,20\nRANGE_OUT OHM5000\nMEAS RUN\n");
  EXPECT_EQ(clock.Now() - before, Milliseconds(200));
  EXPECT_EQ(device->SetChanVal(1, 100.1), S_OK);
  EXPECT_EQ(TakeSent(), "OUT 100.099998\nOPER\n");
  EXPECT_EQ(device->Disconnect(), S_OK);
  EXPECT_EQ(TakeSent(), "LOC\n");
  EXPECT_EQ(UnknownRequests(), std::vector<std::string>());
}

TEST_F(Kelvo10, ReadsItsConfigurationWholeOrNotAtAll) {
  Set("input-function", "RT");
  Set("input-connection", "WIRE4");
  Set("input-sensor", "TYP_PT100");
  Set("temperature-unit", "FAR");
  device->Connect();
  ASSERT_EQ(device->SendCfg(), S_OK);
  const auto sent_record = device->settings().Snapshot();
  device->settings().Reset();
  ASSERT_EQ(device->ReadCfg(), S_OK);
  EXPECT_EQ(device->settings().Snapshot(), sent_record);
  bench->SetFaults({{FaultKind::kGarbage}});
  EXPECT_EQ(device->ReadCfg(), kelvo10CtlErrRgeNotSupported);
  EXPECT_EQ(device->settings().Snapshot(), sent_record);
}

TEST_F(Kelvo10, AnOutputThatCannotBeExpressedStopsBehindTheInput) {
  device->Connect();
  TakeSent();
  Set("output-function", "0");
  EXPECT_EQ(device->SendCfg(), kelvo10CtlErrRgeNotSupported);
  EXPECT_EQ(TakeSent(), "REM\nRANGE_IN V50\n");
  EXPECT_EQ(TakeErrorInfo().description, "Range not supported");
}

TEST_F(Kelvo10, AnotherInstrumentOrNoneIsRefusedAndTheLinkClosed) {
  SetBench("identity", "MAKER,KELVO1,0");
  EXPECT_EQ(device->Connect(), kelvo10CtlErrNotKelvo10);
  SetBench("identity", "some KELVO10 of ours");
  EXPECT_EQ(device->Connect(), S_OK);
  device->Disconnect();
  bench->SetFaults({{FaultKind::kSilent}});
  const MonotonicTime before = clock.Now();
  EXPECT_EQ(device->Connect(), serialCommErrUnableToReadComm);
  EXPECT_EQ(clock.Now() - before, Milliseconds(1000));
  EXPECT_FALSE(IsConnected());
  EXPECT_NE(OpenerOf(bench)(1).port, nullptr) << "the line is free again";
}

TEST_F(Kelvo10, EveryFaultGivesItsErrorInItsTimeAndThenPasses) {
  const FaultCase cases[] = {
      {{FaultKind::kSilent}, serialCommErrUnableToReadComm, Milliseconds(1000)},
      {{FaultKind::kDelay, 900}, S_OK, Milliseconds(1000)},
      {{FaultKind::kDelay, 1500}, serialCommErrUnableToReadComm, Milliseconds(1000)},
      {{FaultKind::kDrip, 300}, S_OK, Milliseconds(5000)},
      {{FaultKind::kTruncate}, serialCommErrUnableToReadComm, Milliseconds(1000)},
      {{FaultKind::kLate}, serialCommErrUnableToReadComm, Milliseconds(1000)},
  };
  SetBench("measure-text", "12.345 V");
  device->Connect();
  ExpectFaultsToPass(cases, 0, 12.345F);
  bench->SetFaults({{FaultKind::kDrop, 0}});
  EXPECT_EQ(driver->ReadChannel(0).code, serialCommErrUnableToWriteComm);
  device->Disconnect();
  EXPECT_EQ(driver->ReadChannel(0).code, serialCommErrCommClosed);
}

TEST_F(Kelvo10, EveryTextOfItsErrorsAndOfItsLink) {
  struct Case {
    HRESULT code;
    const char* text;
    const char* short_text;
  };
  const Case cases[] = {
      {kelvo10CtlErrNotKelvo10, "Device connected is not a KELVO10", "NOT_KELVO10"},
      {kelvo10CtlErrRgeNotSupported, "Range not supported", "RGE_NOT_SUPP"},
      {RPC_E_SERVERFAULT, "Unable to read answer", "UNABLE_TO_READ_COMM"},
      {serialCommErrCommClosed, "Communication is closed", "COMM_CLOSED"},
      {kelvo10ErrExceptionCode + 5, "", ""},
      {cmx310CtlErrNotCmx310, "", ""},
  };
  for (const Case& c : cases) {
    EXPECT_EQ(ErrorText(c.code, false), c.text);
    EXPECT_EQ(ErrorText(c.code, true), c.short_text);
  }
  EXPECT_EQ(FrenchErrorText(RPC_E_SERVERFAULT), "Impossible de lire la r\xE9ponse");
  std::string text;
  EXPECT_EQ(device->GetErrorText(0, false, nullptr, &text), E_INVALIDARG);
}

}  // namespace
}  // namespace ulix::range_calibrator
