// Simulators refuse and list the requests that a real instrument does not know.
#include "simulators/simulator.h"

#include <gmock/gmock.h>

#include "simulators/memolog.h"
#include "tests/support/manual_clock.h"

namespace ulix {
namespace {

struct Strangers {
  const char* model;
  std::vector<std::pair<const char*, const char*>> properties;
  std::string end;  // of a request
  std::vector<std::string> requests;
};

const Strangers kStrangers[] = {
    {"kelvo10",
     {},
     "\n",
     {"", "*IDN", "REM\r", "rem", "OUT", "OUT nan", "OUT 1,5", "RANGE_IN", "RANGE_IN V30", "RANGE_IN V50,",
      "RANGE_IN V50,WIRE2", "RANGE_IN MA50", "RANGE_OUT OHM500,WIRE2", "RANGE_IN RT,WIRE2,TYP_PT100,C",
      "RANGE_IN RT,WIRE2,TYP_PT100,CEL,JR_ON", "RANGE_IN TC,TYP_K,CEL", "RANGE_IN TC,TYP_K,CEL,JR_PROG,warm",
      "RANGE_IN TC,TYP_K,CEL,JR_ON,20"}},
    {"cmx310", {}, "\n", {"RANGE_OUT MA50,TXA", "RANGE_IN MA50", "RANGE_IN RT,WIRE2,TYP_NI1000,CEL"}},
    {"microk", {}, "\r", {"READ1?", "read1", "read1? ", "read?", "REM", "MEAS:RES1? 115,NORM"}},
    {"microk",
     {{"model", "1"}},
     "\r",
     {"read1?", "MEAS:RES1? 115,NORM,", "MEAS:RES1? 115", "MEAS:RES? 115,NORM", "MEAS:VOLT1? INT,",
      "MEAS:TEMP1? TYPE K,C", "MEAS:TEMP1? 4,C,115,NORM", "MEAS:TEMP2? 1,C", "MEAS:CURR?", "PROB:NAM?"}},
    {"kambic", {}, "\n", {"", "ident", "IDENT\r", "TXD?", "TXD ", "SETTEMP=25.0", "SETTEMP=25,000", "SETTEMP= 25.000"}},
    {"isotech",
     {},
     "",
     {"x", "\0040078\002SL 25.0\003\x25", "\0040077\002SL 25.0\003\x26", "\0040077\002SL 1000.5\003\x2B",
      "\2ST0+25.5\r\n", "\2ST0+0a025.500000\r\n", "\2XX\r\n", "\2OC\n"}},
};

TEST(Simulators, UnknownRequests_AreListedAndChangeNothing) {
  ManualClock clock;
  for (const Strangers& row : kStrangers) {
    SCOPED_TRACE(row.model);
    const auto simulator = FindSimulator(row.model)(clock);
    for (const auto& [key, value] : row.properties) ASSERT_EQ(simulator->Set(key, value), S_OK);
    const auto before = simulator->Properties();
    for (const std::string& request : row.requests) simulator->Receive(request + row.end);
    EXPECT_EQ(simulator->unknown_requests(), row.requests);
    EXPECT_EQ(simulator->Properties(), before);
    EXPECT_EQ(simulator->Set("colour", "blue"), E_INVALIDARG);
  }
}

TEST(Simulators, PropertyValueOutOfRange_IsRefused) {
  ManualClock clock;
  const std::tuple<const char*, const char*, const char*> cases[] = {
      {"adt761", "frame-prefix", "255"}, {"memolog", "slave", "255"},     {"memolog", "lock", "65535"},
      {"memolog", "Records", "40"},      {"memolog", "refuse-with", "7"},
  };
  for (const auto& [model, key, value] : cases) {
    const auto simulator = FindSimulator(model)(clock);
    EXPECT_EQ(simulator->Set(key, value), S_OK) << key;
    const auto before = simulator->Properties();
    for (const char* bad : {"-1", "65536", "1e300", "0.5", "nan"}) {
      EXPECT_EQ(simulator->Set(key, bad), E_INVALIDARG) << key << ' ' << bad;
    }
    EXPECT_EQ(simulator->Properties(), before);
  }
  MemologSimulator logger(clock);
  EXPECT_EQ(logger.Set("Records", "40"), S_OK);
  EXPECT_EQ(logger.held(2), 40u) << "keys may be in upper or lower case";
}

TEST(Simulators, RequestInPieces_IsAnsweredAndAnEndlessOneDropped) {
  ManualClock clock;
  const auto kelvo10 = FindSimulator("Kelvo10")(clock);
  EXPECT_THAT(kelvo10->Receive("*ID"), testing::IsEmpty());
  ASSERT_EQ(kelvo10->Receive("N?\nREM\nCFG_IN?\nCFG").size(), 3u);
  for (int i = 0; i < 1000; ++i) EXPECT_THAT(kelvo10->Receive("REM REM "), testing::IsEmpty());
  EXPECT_EQ(kelvo10->Receive("\n*IDN?\n").back().bytes, "ULIX,KELVO10,123456,V2.10\n");
  ASSERT_EQ(kelvo10->unknown_requests().size(), 1u);
  EXPECT_LE(kelvo10->unknown_requests()[0].size(), 256u);
  for (const char* key : {"input", "follow-output"}) EXPECT_EQ(kelvo10->Set(key, "warm"), E_INVALIDARG);
}

TEST(Simulators, Kelvo10_MeasuresASwingWithNoiseOrItsOwnOutput) {
  ManualClock clock;
  const auto kelvo10 = FindSimulator("kelvo10")(clock);
  const auto set = [&](std::initializer_list<std::pair<const char*, const char*>> properties) {
    for (const auto& [key, value] : properties) EXPECT_EQ(kelvo10->Set(key, value), S_OK) << key;
  };
  const auto measure = [&] { return std::stod(kelvo10->Receive("MEAS?\n").back().bytes); };
  set({{"input", "20"}, {"amplitude", "4"}, {"period", "8"}, {"noise", "0.5"}});
  for (const double middle : {20.0, 24.0, 20.0, 16.0}) {
    EXPECT_NEAR(measure(), middle, 0.501);
    EXPECT_NE(measure(), measure());
    clock.Advance(std::chrono::seconds(2));
  }
  set({{"noise", "0"}, {"period", "0"}, {"reply-unit", "on"}});
  EXPECT_EQ(kelvo10->Receive("RANGE_IN RT,WIRE2,TYP_PT100,FAR\nMEAS?\n").back().bytes, "20.0 FAR\n");
  set({{"follow-output", "1"}, {"amplitude", "0"}});
  EXPECT_EQ(kelvo10->Receive("RANGE_IN V50\nOUT 12.345\nMEAS?\n").back().bytes, "0.000 V\n");
  EXPECT_EQ(kelvo10->Receive("OPER\nMEAS?\n").back().bytes, "12.345 V\n");
}

}  // namespace
}  // namespace ulix
