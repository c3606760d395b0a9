// What is the Kelvo10's own among the range calibrators: its tables.
#include "drivers/calibrators/kelvo10/tables.h"

#include <gtest/gtest.h>

#include "drivers/calibrators/range_calibrator/protocol.h"

namespace ulix::range_calibrator {
namespace {

using kelvo10::kModel;

TEST(Kelvo10, BuildsRangeCommands) {
  struct Case {
    Side side;
    SideConfig config;
    std::uint32_t unit;
    const char* line;
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
      {Side::kOutput, {12, 7, 14, 0, 0.0F}, 2, "RANGE_OUT RT,TXA50,TYP_PT50,K"},
  };
  for (const Case& c : cases) EXPECT_EQ(RangeCommand(kModel, c.side, c.config, c.unit).value_or("refused"), c.line);
  EXPECT_FALSE(RangeCommand(kModel, Side::kOutput, {12, 0, 14, 0, 0.0F}, 0)) << "outputs need their connection";
}

TEST(Kelvo10, ResolutionsFollowTheFunction) {
  const int decimals[] = {3, 4, 5, 6, 6, 3, 3, 1, 2, 6, 1, 1};
  for (std::uint32_t i = 0; i < std::size(decimals); ++i) EXPECT_EQ(ResolutionOf(kModel, i + 1), decimals[i]) << i + 1;
}

}  // namespace
}  // namespace ulix::range_calibrator
