// What every range calibrator does: its pure protocol, then whole exchanges with the simulated instrument.
#include <gtest/gtest.h>

#include "drivers/calibrators/cmx310/tables.h"
#include "drivers/calibrators/kelvo10/tables.h"
#include "drivers/calibrators/range_calibrator/protocol.h"
#include "tests/support/line_bench.h"

namespace ulix::range_calibrator {
namespace {

const auto kModels = testing::Values(&kelvo10::kModel, &cmx310::kModel);

std::string NameOf(const testing::TestParamInfo<const Model*>& info) { return info.param->card.class_name; }

class RangeProtocol : public testing::TestWithParam<const Model*> {
 protected:
  std::span<const CodedWord> Words(SettingIndex setting) const {
    return model.card.settings[static_cast<std::size_t>(setting)].words;
  }
  std::uint32_t CountOf(SettingIndex setting) const { return static_cast<std::uint32_t>(Words(setting).size()); }
  std::uint32_t CodeOf(SettingIndex setting, const char* word) const {
    return CodeOfWord(Words(setting), word).value();
  }

  const Model& model = *GetParam();
};

TEST_P(RangeProtocol, ReadsBackEveryCommandThatItCanBuild) {
  for (std::uint32_t function = 1; function <= model.functions.size(); ++function) {
    for (std::uint32_t sensor = 1; sensor <= CountOf(kInputSensor); ++sensor) {
      for (const Side side : {Side::kInput, Side::kOutput}) {
        const SideConfig sent{function, sensor % CountOf(kInputConnection) + 1, sensor, sensor % 4, 12.5F};
        const auto line = RangeCommand(model, side, sent, sensor % 3);
        ASSERT_TRUE(line);
        const auto reply = ParseRangeReply(model, *line, sent);
        ASSERT_TRUE(reply) << *line;
        EXPECT_EQ(RangeCommand(model, side, reply->config, reply->unit.value_or(0)).value_or(""), *line);
      }
    }
  }
}

TEST_P(RangeProtocol, RefusesCodesThatNoTableHas) {
  const std::uint32_t tc = CodeOf(kInputFunction, "TC");
  const std::uint32_t rt = CodeOf(kInputFunction, "RT");
  const std::uint32_t ohm = CodeOf(kInputFunction, "OHM500");
  struct Case {
    SideConfig config;
    std::uint32_t unit;
  };
  const Case cases[] = {
      {{0, 0, 0, 0, 0.0F}, 0},
      {{CountOf(kInputFunction) + 1, 0, 0, 0, 0.0F}, 0},
      {{ohm, 0, 0, 0, 0.0F}, 0},
      {{ohm, CountOf(kInputConnection) + 1, 0, 0, 0.0F}, 0},
      {{tc, CountOf(kInputConnection) + 1, 1, 0, 0.0F}, 0},
      {{rt, 1, 0, 0, 0.0F}, 0},
      {{rt, 1, CountOf(kInputSensor) + 1, 0, 0.0F}, 0},
      {{rt, 1, 1, 0, 0.0F}, 3},
      {{tc, 0, 1, 4, 0.0F}, 0},
  };
  for (const Case& c : cases) {
    const auto line = RangeCommand(model, Side::kInput, c.config, c.unit);
    EXPECT_EQ(ulix::CodeOf(line), model.range_not_supported) << line.value_or("");
  }
}

TEST_P(RangeProtocol, TellsWordsThatContainEachOtherApart) {
  const SideConfig before{1, 2, 3, 1, 7.0F};
  const auto rtd = ParseRangeReply(model, "CFG_IN TC,TYP_PT500,CEL,JR_RTD", before);
  ASSERT_TRUE(rtd);
  EXPECT_EQ(rtd->config, (SideConfig{CodeOf(kInputFunction, "TC"), 0, CodeOf(kInputSensor, "TYP_PT500"), 3, 7.0F}));
  EXPECT_EQ(ParseRangeReply(model, "V50", before)->config.function, 1U);
  EXPECT_EQ(ParseRangeReply(model, "  V5 \r", before)->config.function, CodeOf(kInputFunction, "V5"));
  EXPECT_EQ(ParseRangeReply(model, "V50", before)->config.cold_junction, 1U) << "not named, not changed";
  for (const char* refused :
       {"", "CFG_IN", "V51", "V50,V5", "TC,TYP_K", "TC,CEL,JR_ON", "TYP_K,CEL", "V50 CFG_IN",
        "TC,TYP_K,CEL,JR_PROG,20,30", "TC,TYP_K,CEL,JR_PROG,nan", "TC,TYP_K,CEL,JR_PROG,1e99", "V50,20"}) {
    EXPECT_EQ(ulix::CodeOf(ParseRangeReply(model, refused, before)), model.range_not_supported) << refused;
  }
}

TEST_P(RangeProtocol, TemperaturesShowInTheUnitAskedFor) {
  const std::uint32_t tc = CodeOf(kInputFunction, "TC");
  EXPECT_EQ(UnitOf(model, CodeOf(kInputFunction, "MV500"), 0), "V");
  const std::string degree = "\xB0";
  EXPECT_EQ(UnitOf(model, CodeOf(kInputFunction, "RT"), 1), degree + "F");
  EXPECT_EQ(UnitOf(model, tc, 2), degree + "K");
  EXPECT_EQ(UnitOf(model, tc, 3), degree + "C");
  for (const std::uint32_t none : {0U, CountOf(kInputFunction) + 1}) {
    EXPECT_EQ(UnitOf(model, none, 0), "");
    EXPECT_EQ(ResolutionOf(model, none), 6);
  }
}

INSTANTIATE_TEST_SUITE_P(Models, RangeProtocol, kModels, NameOf);

TEST(RangeCalibratorNumbers, ReadsTheNumberAtTheStartOfAMeasure) {
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

TEST(RangeCalibratorNumbers, SendsTheFloatsOwnDigits) {
  EXPECT_EQ(OutputCommand(100.1F), "OUT 100.099998");
  EXPECT_EQ(OutputCommand(3.4e38F), "OUT 339999995214436424907732413799364296704.000000");
}

class RangeCalibrator : public LineBench, public testing::WithParamInterface<const Model*> {
 protected:
  RangeCalibrator() : LineBench(GetParam()->card.word) {}
  const Model& model = *GetParam();
};

TEST_P(RangeCalibrator, SaysExactlyTheseWords) {
  ASSERT_EQ(device->Connect(), S_OK);
  EXPECT_EQ(TakeSent(), "*IDN?\nREM\n");
  EXPECT_EQ(device->Connect(), S_OK);
  EXPECT_EQ(TakeSent(), "");
  std::string text;
  EXPECT_EQ(device->Identify(&text), S_OK);
  EXPECT_TRUE(text.starts_with("ULIX," + std::string(model.identity) + ",")) << text;
  TakeSent();
  Set("input-function", "tc");
  Set("input-sensor", "TYP_K");
  Set("input-cold-junction", "JR_PROG");
  Set("input-cold-junction-temperature", "20");
  Set("output-function", "OHM5000");
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

TEST_P(RangeCalibrator, ReadsItsConfigurationWholeOrNotAtAll) {
  Set("input-function", "RT");
  Set("input-connection", "WIRE3");
  Set("input-sensor", "TYP_PT100");
  Set("temperature-unit", "FAR");
  device->Connect();
  ASSERT_EQ(device->SendCfg(), S_OK);
  const auto sent_record = device->settings().Snapshot();
  device->settings().Reset();
  ASSERT_EQ(device->ReadCfg(), S_OK);
  EXPECT_EQ(device->settings().Snapshot(), sent_record);
  bench->SetFaults({{FaultKind::kGarbage}});
  EXPECT_EQ(device->ReadCfg(), model.range_not_supported);
  EXPECT_EQ(device->settings().Snapshot(), sent_record);
}

TEST_P(RangeCalibrator, AnOutputThatCannotBeExpressedStopsBehindTheInput) {
  device->Connect();
  TakeSent();
  Set("output-function", "0");
  EXPECT_EQ(device->SendCfg(), model.range_not_supported);
  EXPECT_EQ(TakeSent(), "REM\nRANGE_IN V50\n");
  EXPECT_EQ(TakeErrorInfo().description, "Range not supported");
}

TEST_P(RangeCalibrator, AnotherInstrumentOrNoneIsRefusedAndTheLinkClosed) {
  const std::string name = model.identity;
  SetBench("identity", "MAKER," + name.substr(0, name.size() - 1) + ",0");
  EXPECT_EQ(device->Connect(), model.not_this_model);
  SetBench("identity", "some " + name + " of ours");
  EXPECT_EQ(device->Connect(), S_OK);
  device->Disconnect();
  bench->SetFaults({{FaultKind::kSilent}});
  const MonotonicTime before = clock.Now();
  EXPECT_EQ(device->Connect(), serialCommErrUnableToReadComm);
  EXPECT_EQ(clock.Now() - before, Milliseconds(1000));
  EXPECT_FALSE(IsConnected());
  EXPECT_NE(OpenerOf(bench)(1).port, nullptr) << "the line is free again";
}

TEST_P(RangeCalibrator, EveryTextOfItsErrorsAndOfItsLink) {
  const std::string name = model.identity;
  struct Case {
    HRESULT code;
    std::string text;
    std::string french;
    std::string short_text;
  };
  const Case cases[] = {
      {model.not_this_model, "Device connected is not a " + name, "L'appareil connect\xE9 n'est pas un " + name,
       "NOT_" + name},
      {model.not_this_model + 1, "Too old " + name + " Version", "Version trop ancienne du " + name,
       "HIGHER_" + name + "_VER"},
      {model.not_this_model + 2, "Too old Exploitation Software Version",
       "Version trop ancienne du logiciel d'exploitation", "HIGHER_" + name + "CTL_VER"},
      {model.range_not_supported, "Range not supported", "Calibre non support\xE9", "RGE_NOT_SUPP"},
      {RPC_E_SERVERFAULT, "Unable to read answer", "Impossible de lire la r\xE9ponse", "UNABLE_TO_READ_COMM"},
      {serialCommErrCommClosed, "Communication is closed",
       "Communication ferm\xE9"
       "e",
       "COMM_CLOSED"},
      {model.card.exception_code + 5, "", "", ""},
      {hartCtlErrNack, "", "", ""},
  };
  for (const Case& c : cases) {
    EXPECT_EQ(ErrorText(c.code, false), c.text);
    EXPECT_EQ(ErrorText(c.code, true), c.short_text);
    EXPECT_EQ(FrenchErrorText(c.code), c.french);
  }
  std::string text;
  EXPECT_EQ(device->GetErrorText(0, false, nullptr, &text), E_INVALIDARG);
}

INSTANTIATE_TEST_SUITE_P(Models, RangeCalibrator, kModels, NameOf);

}  // namespace
}  // namespace ulix::range_calibrator
