// Both range calibrators: their protocol, then whole exchanges with the simulated instruments.
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
  std::span<const EnumLabel> Words(SettingIndex setting) const {
    return model.card.settings[static_cast<std::size_t>(setting)].labels;
  }
  std::uint32_t CountOf(SettingIndex setting) const { return static_cast<std::uint32_t>(Words(setting).size()); }
  std::uint32_t CodeOf(SettingIndex setting, const char* word) const {
    return CodeOfLabel(Words(setting), word).value();
  }

  const Model& model = *GetParam();
};

TEST_P(RangeProtocol, EveryRangeCommand_IsReadBackAsItWasSent) {
  for (std::uint32_t function = 1; function <= model.functions.size(); ++function) {
    for (std::uint32_t sensor = 1; sensor <= CountOf(kInputSensor); ++sensor) {
      for (const Side side : {Side::kInput, Side::kOutput}) {
        const SideConfig sent{function, sensor % CountOf(kInputConnection) + 1, sensor, sensor % 4, 12.5F};
        const auto line = RangeCommand(model, side, sent, sensor % 3);
        ASSERT_TRUE(line);
        const auto reply = ParseRangeReply(model, side, *line, sent);
        ASSERT_TRUE(reply) << *line;
        EXPECT_EQ(RangeCommand(model, side, reply->config, reply->unit.value_or(0)).value_or(""), *line);
      }
    }
  }
}

// Every choice that is offered for a function makes a command, and every function gets all the settings that it needs.
TEST_P(RangeProtocol, EveryChoiceOfferedForAFunction_CanBeSent) {
  const auto codes = [&](SettingIndex setting, std::uint32_t function) {
    const SettingRow& row = model.card.settings[static_cast<std::size_t>(setting)];
    std::vector<std::uint32_t> offered;
    for (std::uint32_t code = 0; code <= row.labels.size(); ++code) {
      if (row.depends->Has(function, code)) offered.push_back(code);
    }
    return offered.empty() ? std::vector<std::uint32_t>{0} : offered;
  };
  for (const Side side : {Side::kInput, Side::kOutput}) {
    const bool input = side == Side::kInput;
    for (std::uint32_t function = 1; function <= model.functions.size(); ++function) {
      for (const std::uint32_t connection : codes(input ? kInputConnection : kOutputConnection, function)) {
        for (const std::uint32_t sensor : codes(input ? kInputSensor : kOutputSensor, function)) {
          EXPECT_TRUE(RangeCommand(model, side, {function, connection, sensor, 0, 0.0F}, 0))
              << function << " " << connection << " " << sensor;
        }
      }
    }
  }
}

TEST_P(RangeProtocol, MeaninglessRangeReply_IsNotSupported) {
  for (const char* refused :
       {"", "CFG_IN", "V50,V5", "TC,TYP_K", "TYP_K,CEL", "V50 CFG_IN", "V50,20", "TC,TYP_K,CEL,JR_PROG,20,30",
        "TC,TYP_K,CEL,JR_PROG,nan", "TC,TYP_K,CEL,JR_PROG,1e99", "CFG_OUT V50", "V5\a0", "MA50,V", "V50,V,V"}) {
    EXPECT_EQ(ulix::CodeOf(ParseRangeReply(model, Side::kInput, refused, {})), model.range_not_supported) << refused;
  }
}

// The buffer may have cut 20 to 2.
TEST_P(RangeProtocol, RangeReplyThatFillsTheBuffer_IsNotSupported) {
  const std::string words = "TC,TYP_K,CEL,JR_PROG,2";
  const std::string blanks(kLongestReply - words.size(), ' ');
  EXPECT_EQ(ulix::CodeOf(ParseRangeReply(model, Side::kInput, blanks + words, {})), model.range_not_supported);
  EXPECT_TRUE(ParseRangeReply(model, Side::kInput, blanks.substr(1) + words, {}));
}

TEST_P(RangeProtocol, AnyHeaderOfARangeReply_IsAccepted) {
  for (const char* reply : {"V50", "cfg_in v50", "CFG_IN V50,V", "Range_In V50", "INPUT V50 , v"}) {
    const auto range = ParseRangeReply(model, Side::kInput, reply, {});
    ASSERT_TRUE(range) << reply;
    EXPECT_EQ(range->config.function, 1U) << reply;
  }
}

TEST_P(RangeProtocol, MeasureReply_GivesItsNumber) {
  const std::pair<const char*, float> cases[] = {
      {"12.345 V", 12.345F}, {" -1.5E1\r", -15.0F}, {"3.5mA", 3.5F}, {"0 ready: 12", 0.0F}};
  for (const auto& [reply, value] : cases) {
    EXPECT_EQ(ParseMeasure(reply).value_or(Measured{-1}), Measured{value}) << reply;
  }
  for (const char* none : {"V", "OVERRANGE", "nan"}) {
    EXPECT_EQ(ParseMeasure(none).value_or(Measured{-1}), (Measured{0.0F, Doubt::kNoNumber})) << none;
  }
  const std::string blanks(kLongestReply - 7, ' ');
  for (const std::string& bad : {std::string("52,331"), std::string("34\a.2"), std::string("24\0.131", 7),
                                 std::string("60.39160.391"), std::string("1e39"), std::string("\a"),
                                 std::string("12.345x"), blanks + "1.23456", std::string(kLongestReply, ' ')}) {
    EXPECT_EQ(ulix::CodeOf(ParseMeasure(bad)), serialCommErrUnableToReadComm) << bad;
  }
  EXPECT_EQ(ParseMeasure(blanks + "1.2345").value_or(Measured{-1}), Measured{1.2345F})
      << "the terminator was read, so the line is whole";
}

INSTANTIATE_TEST_SUITE_P(Models, RangeProtocol, kModels, NameOf);

class RangeCalibrator : public LineBench, public testing::WithParamInterface<const Model*> {
 protected:
  RangeCalibrator() : LineBench(GetParam()->card.model_id) {}
  const Model& model = *GetParam();
};

TEST_P(RangeCalibrator, ReadCfg_TakesTheWholeConfigurationOrNone) {
  for (const auto& [key, value] : {std::pair{"input-function", "RT"},
                                   {"input-connection", "WIRE3"},
                                   {"input-sensor", "TYP_PT100"},
                                   {"temperature-unit", "FAR"}}) {
    Set(key, value);
  }
  EXPECT_EQ(device->Connect(), S_OK);
  ASSERT_EQ(device->SendCfg(), S_OK);
  const auto sent_record = device->settings().Snapshot();
  device->settings().Reset();
  ASSERT_EQ(device->ReadCfg(), S_OK);
  EXPECT_EQ(device->settings().Snapshot(), sent_record);
  bench->SetFaults({{FaultKind::kGarbage}});
  EXPECT_EQ(device->ReadCfg(), model.range_not_supported);
  EXPECT_EQ(device->settings().Snapshot(), sent_record);
  bench->SetFaults({});
  TakeSent();
  Set("output-function", "0");
  EXPECT_EQ(device->SendCfg(), model.range_not_supported);
  EXPECT_EQ(TakeSent(), "REM\nRANGE_IN RT,WIRE3,TYP_PT100,FAR\n") << "stops after the input";
}

TEST_P(RangeCalibrator, EachSide_HasTheUnitOfItsOwnRange) {
  OpenBench(bench).port->Write("RANGE_IN TC,TYP_K,CEL,JR_ON\nRANGE_OUT TC,TYP_J,FAR,JR_ON\n");
  EXPECT_EQ(device->Connect(), S_OK);
  ASSERT_EQ(device->ReadCfg(), S_OK);
  EXPECT_EQ(driver->ChannelUnit(0) + driver->ChannelUnit(1), "\260C\260F");
  Set("temperature-unit", "K");
  EXPECT_EQ(driver->ChannelUnit(1), "\260K") << "the unit that SendCfg will send";
}

INSTANTIATE_TEST_SUITE_P(Models, RangeCalibrator, kModels, NameOf);

}  // namespace
}  // namespace ulix::range_calibrator
