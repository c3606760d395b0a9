#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <fstream>
#include <iterator>
#include <string>

#include "calibration/plan_loader.h"

namespace ulix::calibration {
namespace {

using ::testing::HasSubstr;

constexpr char kWholePlan[] = R"({
  "plan": 1,
  "instruments": {
    "bath": { "model": "kambic", "port": 5 },
    "bridge": { "model": "microk", "port": 6, "settings": { "channel.0.range": "460" } },
    "meter": { "model": "kelvo10", "port": "COM7" }
  },
  "source": { "set": "bath/SETPOINT", "min": -40, "max": 150, "safe": 20, "rate": 2 },
  "reference": { "channel": "bridge/CH1", "sensor": "pt100" },
  "units": [
    { "name": "A", "channel": "bridge/CH2", "tolerance": 0.1, "max": 120 },
    { "name": "B", "channel": "meter/in" }
  ],
  "points": [ 50, { "from": 0, "to": 0.3, "step": 0.1 }, { "value": 100, "dwell": "2m" } ],
  "stability": { "window": "5m" }
})";

// The good plan with a part replaced; its problems, a line each.
std::string ProblemsWith(const std::string& part, const std::string& replacement) {
  std::string text = kWholePlan;
  const std::size_t at = text.find(part);
  EXPECT_NE(at, text.npos) << part;
  text.replace(at, part.size(), replacement);
  std::string all;
  for (const PlanProblem& problem : LoadPlan(text, "").problems) all += Described(problem) + "\n";
  return all;
}

TEST(Plan, ValuesAndRanges_GivePointsInTheOrderWritten) {
  const LoadedPlan loaded = LoadPlan(kWholePlan, "/somewhere");
  for (const PlanProblem& problem : loaded.problems) ADD_FAILURE() << Described(problem);
  const Plan& plan = loaded.plan;
  ASSERT_EQ(plan.points.size(), 6U);
  EXPECT_DOUBLE_EQ(plan.points[4].value, 0.3);
  EXPECT_EQ(plan.points[0].direction, Direction::kRising);
  EXPECT_EQ(plan.points[1].direction, Direction::kFalling);
  EXPECT_EQ(plan.points[5].dwell, 120);
  EXPECT_EQ(plan.points[5].stability.window, 300);
  EXPECT_EQ(plan.source.near, 0.5);
  EXPECT_EQ(plan.instruments[0].port, "5");
}

TEST(Plan, RisingAndFalling_TakesEachPointBothWaysInEveryCycle) {
  std::string text = kWholePlan;
  text.replace(text.find("\"plan\": 1"), 9, "\"plan\": 1, \"sequence\": \"rising-falling\", \"cycles\": 2");
  const Plan plan = LoadPlan(text, "").plan;
  ASSERT_EQ(plan.points.size(), 24U);
  EXPECT_EQ(plan.points[5].value, 100);
  EXPECT_EQ(plan.points[6].value, 100);
  EXPECT_EQ(plan.points[6].direction, Direction::kFalling);
  EXPECT_EQ(plan.points[23].cycle, 2);
}

struct Mistake {
  const char* part;
  const char* replacement;
  const char* message;
};

void PrintTo(const Mistake& mistake, std::ostream* out) { *out << mistake.message; }

class PlanWithOneMistake : public ::testing::TestWithParam<Mistake> {};

TEST_P(PlanWithOneMistake, Load_NamesTheLineAndTheMistake) {
  EXPECT_THAT(ProblemsWith(GetParam().part, GetParam().replacement), HasSubstr(GetParam().message));
}

INSTANTIATE_TEST_SUITE_P(
    EachMistake, PlanWithOneMistake,
    ::testing::Values(
        Mistake{"\"plan\": 1,", "\"plan\": 1", "3: column 15: syntax error"},
        Mistake{"\"tolerance\"", "\"tolerence\"", "11: units[0].tolerence: is no key; did you mean \"tolerance\"?"},
        Mistake{"\"tolerance\": 0.1", "\"tolerance\": \"0.1\"", "11: units[0].tolerance: is to be a number"},
        Mistake{"\"tolerance\": 0.1", "\"tolerance\": -1", "out of range; takes at least 0"},
        Mistake{"\"tolerance\": 0.1", "\"max\": 130", "11: units[0].max: is there twice"},
        Mistake{"\"safe\": 20,", "", "8: source.safe: is missing"},
        Mistake{"\"safe\": 20", "\"safe\": 200", "200 is outside the source's range"},
        Mistake{"kambic", "kambik", "4: instruments.bath.model: 'kambik' is no model; did you mean \"kambic\"?"},
        Mistake{"\"port\": 6", "\"port\": \"com5\"", "5: instruments.bridge.port: port com5 is taken by bath already"},
        Mistake{"\"port\": 6", "\"port\": \"sim\"", "share one world"},
        Mistake{"channel.0.range", "channel.0.rang", "did you mean \"channel.0.range\"?"},
        Mistake{"bath/SETPOINT", "bath/TEMPERATURE", "source.set: the channel cannot be set"},
        Mistake{"bath/SETPOINT", "bat/SETPOINT", "there is no instrument 'bat'; did you mean \"bath\"?"},
        Mistake{"bridge/CH2", "bridge/ch1", "units[0].channel: is the reference too"},
        Mistake{"bridge/CH2", "bridge/0", "units[0].channel: is the reference too"},
        Mistake{"bridge/CH2", "meter/IN", "units[1].channel: is that of units[0] too"},
        Mistake{"bridge/CH2", "bridge/CH99", "there is no channel 'CH99'"},
        Mistake{"bridge/CH2", "bridge", "is to be \"instrument/channel\""},
        Mistake{"\"value\": 100", "\"value\": 130", "14: points: 130 is outside the range of A, "},
        Mistake{"\"value\": 100", "\"value\": -50", "-50 is outside the source's range, -40 to 150"},
        Mistake{"\"step\": 0.1", "\"step\": -0.1", "\"step\" does not lead from"},
        Mistake{"\"step\": 0.1", "\"step\": 1e-9", "more than 20000 points"},
        Mistake{"\"5m\"", "\"5 minutes\"", "15: stability.window: is to be seconds"},
        Mistake{"\"5m\"", "\"5s\"", "holds fewer than 10 samples"},
        Mistake{"\"5m\"", "\"5h\"", "limits.point is 14400"},
        Mistake{"\"points\"", "\"phases\": [], \"points\"", "phases: names no phase"},
        Mistake{"\"points\"", "\"limits\": { \"run\": \"10m\" }, \"points\"", "limits.run: the time table takes "},
        Mistake{"\"points\"", "\"uncertainty\": [ { \"name\": \"x\", \"value\": 1e200 } ], \"points\"",
                "uncertainty[0].value: 1E+200 is out of range"},
        Mistake{"\"tolerance\": 0.1, \"max\": 120 },\n    { \"name\": \"B\", \"channel\": \"meter/in\" }\n  ]",
                "\"max\": 120 } ], \"decision\": { \"rule\": \"simple\" }", "decision: decides nothing"},
        Mistake{"\"sensor\": \"pt100\"", "\"sensor\": { \"type\": \"cvd\" }", "cvd needs r0 or a coefficient"},
        Mistake{"\"port\": 6", "\"port\": \"COM05\"", "is taken by bath already"},
        Mistake{"\"port\": 6", "\"port\": \"\\\\\\\\.\\\\com5\"", "is taken by bath already"},
        Mistake{
            "\"port\": 5 },\n    \"bridge\": { \"model\": \"microk\", \"port\": 6",
            "\"port\": \"tcp://localhost:5\" }, \"bridge\": { \"model\": \"microk\", \"port\": \"TCP://127.0.0.1:5\"",
            "is taken by bath already"}));

TEST(Plan, Mistakes_AreToldInFrenchToo) {
  std::string text = kWholePlan;
  text.replace(text.find("\"safe\": 20,"), 11, "");
  EXPECT_EQ(Described(LoadPlan(text, "").problems.at(0), Language::kFrench), "8: source.safe: manque");
}

TEST(Plan, HostileTexts_AreRefused) {
  for (const std::string& text :
       {std::string(), std::string("[]"), std::string(100000, '['), std::string("{\"plan\":1}"),
        std::string("\xFF\xFE{}"), std::string("{\"plan\": 1e999}"), std::string("null")}) {
    EXPECT_FALSE(LoadPlan(text, "").usable());
  }
}

TEST(Plan, Examples_CanRun) {
  for (const char* name : {"dry-block", "bath", "pressure"}) {
    std::ifstream file(std::string(ULIX_SOURCE_DIR "/examples/plans/") + name + ".json");
    const std::string text(std::istreambuf_iterator<char>(file), {});
    ASSERT_FALSE(text.empty());
    for (const PlanProblem& problem : LoadPlan(text, "").problems) ADD_FAILURE() << name << ": " << Described(problem);
  }
}

}  // namespace
}  // namespace ulix::calibration
