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
  std::span<const EnumLabel> Words(SettingIndex setting) const {
    return model.card.settings[static_cast<std::size_t>(setting)].labels;
  }
  std::uint32_t CountOf(SettingIndex setting) const { return static_cast<std::uint32_t>(Words(setting).size()); }
  std::uint32_t CodeOf(SettingIndex setting, const char* word) const {
    return CodeOfLabel(Words(setting), word).value();
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

TEST_P(RangeProtocol, RepliesThatMeanNothingAreRefused) {
  for (const char* refused : {"", "CFG_IN", "V50,V5", "TC,TYP_K", "TYP_K,CEL", "V50 CFG_IN", "V50,20",
                              "TC,TYP_K,CEL,JR_PROG,20,30", "TC,TYP_K,CEL,JR_PROG,nan", "TC,TYP_K,CEL,JR_PROG,1e99"}) {
    EXPECT_EQ(ulix::CodeOf(ParseRangeReply(model, refused, {})), model.range_not_supported) << refused;
  }
}

INSTANTIATE_TEST_SUITE_P(Models, RangeProtocol, kModels, NameOf);

class RangeCalibrator : public LineBench, public testing::WithParamInterface<const Model*> {
 protected:
  RangeCalibrator() : LineBench(GetParam()->card.model_id) {}
  const Model& model = *GetParam();
};

TEST_P(RangeCalibrator, ReadsItsConfigurationWholeOrNotAtAll) {
  for (const auto& [key, value] : {std::pair{"input-function", "RT"},
                                   {"input-connection", "WIRE3"},
                                   {"input-sensor", "TYP_PT100"},
                                   {"temperature-unit", "FAR"}}) {
    Set(key, value);
  }
  device->Connect();
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
  EXPECT_EQ(TakeSent(), "REM\nRANGE_IN RT,WIRE3,TYP_PT100,FAR\n") << "stops behind the input";
}

INSTANTIATE_TEST_SUITE_P(Models, RangeCalibrator, kModels, NameOf);

}  // namespace
}  // namespace ulix::range_calibrator
