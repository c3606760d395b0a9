// What is the CMX310's own among the range calibrators: its tables, and outputs without a connection.
#include "drivers/calibrators/cmx310/tables.h"

#include <gtest/gtest.h>

#include "drivers/calibrators/range_calibrator/protocol.h"
#include "tests/support/line_bench.h"

namespace ulix::range_calibrator {
namespace {

using cmx310::kModel;

TEST(Cmx310Protocol, BuildsRangeCommands) {
  struct Case {
    Side side;
    SideConfig config;
    std::uint32_t unit;
    const char* line;
  };
  const Case cases[] = {
      {Side::kInput, {2, 4, 17, 3, 0.0F}, 3, "RANGE_IN V30"},
      {Side::kOutput, {2, 0, 0, 0, 0.0F}, 3, "RANGE_OUT V30"},
      {Side::kInput, {7, 4, 0, 0, 0.0F}, 0, "RANGE_IN MA50,TXA"},
      {Side::kInput, {8, 3, 0, 0, 0.0F}, 0, "RANGE_IN MA24,TXP"},
      {Side::kInput, {11, 2, 0, 0, 0.0F}, 0, "RANGE_IN OHM_AUTO,WIRE3"},
      {Side::kInput, {12, 0, 1, 2, -12.5F}, 0, "RANGE_IN TC,TYP_K,CEL,JR_PROG,-12.5"},
      {Side::kInput, {12, 1, 13, 3, 0.0F}, 1, "RANGE_IN TC,WIRE2,TYP_MO,FAR,JR_RTD"},
      {Side::kInput, {13, 2, 17, 0, 0.0F}, 2, "RANGE_IN RT,WIRE3,TYP_PT1000,K"},
      {Side::kOutput, {7, 4, 0, 0, 0.0F}, 0, "RANGE_OUT MA50"},
      {Side::kOutput, {10, 1, 0, 0, 0.0F}, 0, "RANGE_OUT OHM500"},
      {Side::kOutput, {12, 1, 10, 2, 1.5e10F}, 0, "RANGE_OUT TC,TYP_B,CEL,JR_PROG,1.5E+10"},
      {Side::kOutput, {13, 7, 14, 0, 0.0F}, 0, "RANGE_OUT RT,TYP_PT100,CEL"},
  };
  for (const Case& c : cases) EXPECT_EQ(RangeCommand(kModel, c.side, c.config, c.unit).value_or("refused"), c.line);
  for (const SideConfig& refused : {SideConfig{7, 5, 0, 0, 0.0F}, SideConfig{13, 1, 18, 0, 0.0F}}) {
    EXPECT_EQ(CodeOf(RangeCommand(kModel, Side::kInput, refused, 0)), cmx310CtlErrRgeNotSupported);
  }
}

TEST(Cmx310Protocol, ResolutionsFollowTheFunction) {
  const int decimals[] = {3, 3, 4, 5, 6, 6, 3, 3, 1, 2, 6, 1, 1};
  for (std::uint32_t i = 0; i < std::size(decimals); ++i) EXPECT_EQ(ResolutionOf(kModel, i + 1), decimals[i]) << i + 1;
}

class Cmx310 : public LineBench {
 protected:
  Cmx310() : LineBench("cmx310") {}
};

// Every function goes over the line to an instrument that refuses a connection too many or too few.
TEST_F(Cmx310, EveryFunctionIsTakenOnBothSides) {
  device->Connect();
  for (const char* key : {"input-connection", "output-connection"}) Set(key, "WIRE3");
  for (const char* key : {"input-sensor", "output-sensor"}) Set(key, "TYP_PT1000");
  for (const FunctionRow& function : kModel.functions) {
    Set("input-function", function.word);
    Set("output-function", function.word);
    EXPECT_EQ(device->SendCfg(), S_OK);
  }
  EXPECT_EQ(UnknownRequests(), std::vector<std::string>());
  EXPECT_TRUE(sent.ends_with("REM\nRANGE_IN RT,WIRE3,TYP_PT1000,CEL\nRANGE_OUT RT,TYP_PT1000,CEL\nMEAS RUN\n")) << sent;
  Set("input-connection", "5");
  EXPECT_EQ(device->SendCfg(), cmx310CtlErrRgeNotSupported);
}

}  // namespace
}  // namespace ulix::range_calibrator
