#include "simulators/faults.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "simulators/faulty_instrument.h"
#include "simulators/simulator.h"
#include "tests/support/manual_clock.h"

namespace ulix {
namespace {

using testing::HasSubstr;

std::string Complaint(std::string_view text) {
  const auto fault = ParseFault(text);
  return fault ? "" : fault.error().en;
}

TEST(FaultTextTest, FaultText_IsParsedOrItsMistakeNamed) {
  EXPECT_EQ(ParseFault("silent")->kind, FaultKind::kSilent);
  EXPECT_EQ(ParseFault("drop=0")->amount, 0);
  EXPECT_EQ(ParseFault("delay=1500")->amount, 1500);
  for (const char* text : {"delay", "delay=", "delay=-1", "delay=1.5", "delay=1e9", "delay=soon"}) {
    EXPECT_THAT(Complaint(text), HasSubstr("delay=MS takes a whole number")) << text;
  }
  EXPECT_THAT(Complaint("silent=1"), HasSubstr("takes no argument"));
  EXPECT_THAT(Complaint("Fire"), HasSubstr("no fault \"Fire\"; there are silent, delay=MS"));
}

class FaultyInstrumentTest : public testing::Test {
 protected:
  std::string Ask(std::string_view request = "*IDN?\n") {
    instrument_.Receive(request, clock_.Now());
    return Take();
  }
  std::string Take(int after_ms = 0) {
    clock_.Advance(Milliseconds(after_ms));
    return instrument_.TakeDue(clock_.Now());
  }

  ManualClock clock_;
  FaultyInstrument instrument_{FindSimulator("kelvo10")(clock_)};
};

TEST_F(FaultyInstrumentTest, GarbageAndOversize_ReplaceTheReply) {
  instrument_.SetFaults({{FaultKind::kGarbage}});
  for (const char byte : Ask().substr(0, 3)) EXPECT_GE(static_cast<unsigned char>(byte), 0x80);
  instrument_.SetFaults({{FaultKind::kOversize}});
  const std::string swollen = Ask();
  EXPECT_GT(swollen.size(), 4096u);
  EXPECT_EQ(swollen.find('\n'), swollen.size() - 1);
}

TEST_F(FaultyInstrumentTest, DelayAndDrip_KeepTheOrderOfReplies) {
  instrument_.SetFaults({{FaultKind::kDelay, 50}, {FaultKind::kDrip, 900}});
  EXPECT_EQ(Ask(), "");
  EXPECT_EQ(Take(50), "U");
  EXPECT_EQ(Take(899), "");
  instrument_.SetFaults({});
  EXPECT_EQ(Ask("CFG_IN?\n"), "") << "a later reply does not overtake";
  EXPECT_EQ(Take(1), "L");
  EXPECT_EQ(Take(50'000), "IX,KELVO10,123456,V2.10\nRANGE_IN V50\n");
  instrument_.SetFaults({{FaultKind::kDelay, 300}});
  EXPECT_EQ(Ask("CFG_IN?\nCFG_IN?\n"), "");
  for (int k = 0; k < 2; ++k) EXPECT_EQ(Take(300), "RANGE_IN V50\n") << "one after the other";
}

TEST_F(FaultyInstrumentTest, DelayedBytes_AreBounded) {
  instrument_.SetFaults({{FaultKind::kDrip, 1000}});
  for (int i = 0; i < 20'000; ++i) instrument_.Receive("*IDN?\n", clock_.Now());
  EXPECT_LE(Take(1'000'000'000).size(), 8192u);
}

}  // namespace
}  // namespace ulix
