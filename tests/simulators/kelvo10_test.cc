#include "simulators/kelvo10.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <cmath>

#include "base/numbers.h"
#include "tests/support/manual_clock.h"

namespace ulix {
namespace {

using testing::ElementsAre;
using testing::IsEmpty;

class Kelvo10SimulatorTest : public testing::Test {
 protected:
  // Everything said to `request`, which gets its terminator here.
  std::string Ask(std::string_view request) {
    std::string said;
    for (const SimulatedReply& reply : kelvo10_.Receive(std::string(request) + "\n")) {
      EXPECT_EQ(reply.expected, !reply.bytes.empty());
      said += reply.bytes;
    }
    return said;
  }
  double Measure() { return ParseDecimal(Ask("MEAS?").substr(0, 6)).value_or(NAN); }
  void Set(std::string_view key, std::string_view value) { EXPECT_EQ(kelvo10_.Set(key, value), S_OK) << key; }

  ManualClock clock_;
  Kelvo10Simulator kelvo10_{clock_};
};

TEST_F(Kelvo10SimulatorTest, AnswersWholeLinesHoweverTheyArrive) {
  EXPECT_THAT(kelvo10_.Receive("*ID"), IsEmpty());
  const auto replies = kelvo10_.Receive("N?\nREM\nCFG_IN?\nCFG");
  ASSERT_EQ(replies.size(), 3u);
  EXPECT_EQ(replies[0].bytes, "ULIX,KELVO10,123456,V2.10\n");
  EXPECT_FALSE(replies[1].expected);
  EXPECT_EQ(replies[2].bytes, "RANGE_IN V50\n");
  EXPECT_EQ(Ask("_OUT?"), "RANGE_OUT V50\n");
  EXPECT_TRUE(kelvo10_.model().remote);
  Ask("LOC");
  EXPECT_FALSE(kelvo10_.model().remote);
  EXPECT_THAT(kelvo10_.unknown_requests(), IsEmpty());
}

TEST_F(Kelvo10SimulatorTest, GivesUpAnEndlessRequestAndGoesOn) {
  for (int i = 0; i < 1000; ++i) EXPECT_THAT(kelvo10_.Receive("REM REM "), IsEmpty());
  EXPECT_EQ(Ask(""), "");
  EXPECT_EQ(Ask("*IDN?"), "ULIX,KELVO10,123456,V2.10\n");
  ASSERT_EQ(kelvo10_.unknown_requests().size(), 1u);
  EXPECT_LE(kelvo10_.unknown_requests()[0].size(), 256u);
}

TEST_F(Kelvo10SimulatorTest, KeepsTheRangesItIsGiven) {
  for (const char* range :
       {"MV50", "V_AUTO", "MA24,TXP", "OHM5000,WIRE4", "OHM_AUTO,WIRE2", "TC,TYP_K,CEL,JR_PROG,20",
        "TC,WIRE2,TYP_A3926,FAR,JR_RTD", "RT,WIRE3,TYP_PT100,K", "TC,TXA50,TYP_NI1000,CEL,JR_PROG,-12.5"}) {
    Ask(std::string("RANGE_IN ") + range);
    EXPECT_EQ(Ask("CFG_IN?"), std::string("RANGE_IN ") + range + "\n");
  }
  for (const char* range : {"OHM500", "MA50,TXA50", "RT,WIRE2,TYP_PT50,FAR"}) {
    Ask(std::string("RANGE_OUT ") + range);
    EXPECT_EQ(Ask("CFG_OUT?"), std::string("RANGE_OUT ") + range + "\n");
  }
  EXPECT_THAT(kelvo10_.unknown_requests(), IsEmpty());
}

TEST_F(Kelvo10SimulatorTest, NotesWhatTheInstrumentDoesNotKnow) {
  const std::vector<std::string> wrong = {"",
                                          "*IDN",
                                          "REM\r",
                                          "rem",
                                          "OUT",
                                          "OUT ",
                                          "OUT nan",
                                          "OUT 1,5",
                                          "RANGE_IN",
                                          "RANGE_IN ",
                                          "RANGE_IN V30",
                                          "RANGE_IN V50,",
                                          "RANGE_IN V50,WIRE2",
                                          "RANGE_IN MA50",
                                          "RANGE_IN OHM500",
                                          "RANGE_OUT OHM500,WIRE2",
                                          "RANGE_IN RT,WIRE2,TYP_PT100",
                                          "RANGE_IN RT,WIRE2,TYP_PT100,C",
                                          "RANGE_IN RT,WIRE2,TYP_PT100,CEL,JR_ON",
                                          "RANGE_IN TC,TYP_K,CEL",
                                          "RANGE_IN TC,TYP_K,CEL,JR_PROG",
                                          "RANGE_IN TC,TYP_K,CEL,JR_PROG,warm",
                                          "RANGE_IN TC,TYP_K,CEL,JR_ON,20",
                                          "RANGE_IN TC,TXA50,TYP_A3926,CEL,JR_PROG,-0.000123456"};
  for (const std::string& request : wrong) EXPECT_EQ(Ask(request), "") << request;
  EXPECT_EQ(kelvo10_.unknown_requests(), wrong);
  EXPECT_EQ(kelvo10_.input_range(), "RANGE_IN V50");
  EXPECT_EQ(kelvo10_.output_range(), "RANGE_OUT V50");
}

TEST_F(Kelvo10SimulatorTest, MeasuresASlowSwingWithNoise) {
  Set("input", "20");
  Set("amplitude", "4");
  Set("period", "8");
  Set("noise", "0.5");
  EXPECT_NEAR(Measure(), 20, 0.501);
  clock_.Advance(std::chrono::seconds(2));
  EXPECT_NEAR(Measure(), 24, 0.501);
  EXPECT_NE(Measure(), Measure());
  clock_.Advance(std::chrono::seconds(4));
  EXPECT_NEAR(Measure(), 16, 0.501);
  Set("noise", "0");
  Set("period", "0");
  EXPECT_EQ(Ask("MEAS?"), "20.000\n");
  Ask("RANGE_IN RT,WIRE2,TYP_PT100,FAR");
  Set("reply-unit", "on");
  EXPECT_EQ(Ask("MEAS?"), "20.0 FAR\n");
}

TEST_F(Kelvo10SimulatorTest, SeesItsOwnOutputOnceItIsOn) {
  Set("follow-output", "1");
  Set("noise", "0");
  Ask("OUT 12.345000");
  EXPECT_EQ(Ask("MEAS?"), "0.000\n");
  Ask("OPER");
  EXPECT_EQ(Ask("MEAS?"), "12.345\n");
  EXPECT_TRUE(kelvo10_.model().output_on);
  EXPECT_EQ(kelvo10_.model().output, 12.345);
}

TEST_F(Kelvo10SimulatorTest, TakesPropertiesByNameOnly) {
  Set("identity", "SOMETHING ELSE");
  Set("measure-text", "no number");
  EXPECT_EQ(Ask("*IDN?"), "SOMETHING ELSE\n");
  EXPECT_EQ(Ask("MEAS?"), "no number\n");
  EXPECT_EQ(kelvo10_.Set("input", "warm"), E_INVALIDARG);
  EXPECT_EQ(kelvo10_.Set("follow-output", "perhaps"), E_INVALIDARG);
  EXPECT_EQ(kelvo10_.Set("colour", "blue"), E_INVALIDARG);
  EXPECT_THAT(kelvo10_.Properties(), testing::Contains(testing::Pair("input", "10")));
}

TEST(SimulatorCatalogueTest, FindsModelsByWord) {
  ManualClock clock;
  ASSERT_NE(FindSimulator("Kelvo10"), nullptr);
  EXPECT_THAT(FindSimulator("kelvo10")(clock)->Receive("*IDN?\n"), testing::SizeIs(1));
  EXPECT_EQ(FindSimulator("kelvo1"), nullptr);
}

}  // namespace
}  // namespace ulix
