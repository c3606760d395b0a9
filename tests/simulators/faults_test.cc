#include "simulators/faults.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "simulators/faulty_instrument.h"
#include "tests/support/manual_clock.h"

namespace ulix {
namespace {

using testing::HasSubstr;

std::string Complaint(std::string_view text) {
  const auto fault = ParseFault(text);
  return fault ? "" : fault.error();
}

TEST(FaultTextTest, NamesWhatIsWrongWithIt) {
  EXPECT_EQ(ParseFault("silent")->kind, FaultKind::kSilent);
  EXPECT_EQ(ParseFault("drop=0")->amount, 0);
  EXPECT_EQ(ParseFault("delay=1500")->amount, 1500);
  for (const char* text : {"delay", "delay=", "delay=-1", "delay=1.5", "delay=1e9", "delay=soon"}) {
    EXPECT_THAT(Complaint(text), HasSubstr("delay=MS takes a whole number")) << text;
  }
  EXPECT_THAT(Complaint("silent=1"), HasSubstr("takes no argument"));
  EXPECT_THAT(Complaint("Fire"), HasSubstr("no fault \"Fire\"; there are silent, delay=MS"));
}

// Answers every 'q' with "ab" and a digit that counts, and takes every other byte silently.
class CountingSimulator final : public Simulator {
 public:
  std::vector<SimulatedReply> Receive(std::string_view bytes) override {
    std::vector<SimulatedReply> replies;
    for (const char byte : bytes) {
      replies.push_back(byte == 'q' ? SimulatedReply{"ab" + std::to_string(++count_) + "\n", true} : SimulatedReply{});
    }
    return replies;
  }
  std::string Refusal() const override { return "no\n"; }
  HRESULT Set(std::string_view, std::string_view) override { return E_INVALIDARG; }
  std::vector<std::pair<std::string, std::string>> Properties() const override { return {}; }

 private:
  int count_ = 0;
};

class FaultyInstrumentTest : public testing::Test {
 protected:
  std::string Ask(std::string_view request = "q") {
    instrument_.Receive(request, clock_.Now());
    return Take();
  }
  std::string Take(int after_ms = 0) {
    clock_.Advance(Milliseconds(after_ms));
    return instrument_.TakeDue(clock_.Now());
  }
  // Milliseconds until the next byte; -1 when nothing is under way.
  auto NextIn() {
    const auto due = instrument_.NextDue();
    return due ? std::chrono::duration_cast<Milliseconds>(*due - clock_.Now()).count() : -1;
  }

  ManualClock clock_;
  FaultyInstrument instrument_{std::make_unique<CountingSimulator>()};
};

TEST_F(FaultyInstrumentTest, AnswersAtOnceWithoutFaults) {
  EXPECT_EQ(Ask("x"), "");
  EXPECT_EQ(Ask("qxq"), "ab1\nab2\n");
  EXPECT_EQ(NextIn(), -1);
}

TEST_F(FaultyInstrumentTest, SpoilsRepliesAsOrdered) {
  instrument_.SetFaults({{FaultKind::kSilent}});
  EXPECT_EQ(Ask(), "");
  EXPECT_EQ(NextIn(), -1);
  instrument_.SetFaults({{FaultKind::kTruncate}});
  EXPECT_EQ(Ask(), "ab");
  instrument_.SetFaults({{FaultKind::kRefuse}});
  EXPECT_EQ(Ask("xq"), "no\n");
  instrument_.SetFaults({{FaultKind::kGarbage}});
  const std::string garbage = Ask();
  ASSERT_EQ(garbage.size(), 4u);
  EXPECT_EQ(garbage.back(), '\n');
  for (const char byte : garbage.substr(0, 3)) EXPECT_GE(static_cast<unsigned char>(byte), 0x80);
  instrument_.SetFaults({{FaultKind::kOversize}});
  const std::string swollen = Ask();
  EXPECT_GT(swollen.size(), 4096u);
  EXPECT_EQ(swollen.find('\n'), swollen.size() - 1);
  instrument_.SetFaults({});
  EXPECT_EQ(Ask(), "ab6\n");
}

TEST_F(FaultyInstrumentTest, DelaysEachReplyBehindTheOneBefore) {
  instrument_.SetFaults({{FaultKind::kDelay, 300}});
  EXPECT_EQ(Ask("qq"), "");
  EXPECT_EQ(NextIn(), 300);
  EXPECT_EQ(Take(299), "");
  EXPECT_EQ(Take(1), "ab1\n");
  EXPECT_EQ(NextIn(), 300);
  instrument_.SetFaults({});
  EXPECT_EQ(Ask(), "") << "a later reply came first";
  EXPECT_EQ(Take(300), "ab2\nab3\n");
}

TEST_F(FaultyInstrumentTest, DripsByteByByte) {
  instrument_.SetFaults({{FaultKind::kDelay, 50}, {FaultKind::kDrip, 900}});
  EXPECT_EQ(Ask(), "");
  EXPECT_EQ(Take(50), "a");
  EXPECT_EQ(Take(899), "");
  EXPECT_EQ(Take(1), "b");
  EXPECT_EQ(NextIn(), 900);
  EXPECT_EQ(Take(1800), "1\n");
}

TEST_F(FaultyInstrumentTest, HoldsEachReplyUntilTheNextQuery) {
  instrument_.SetFaults({{FaultKind::kLate}});
  EXPECT_EQ(Ask(), "");
  EXPECT_EQ(Ask("x"), "");
  EXPECT_EQ(Ask(), "ab1\n");
  EXPECT_EQ(Ask(), "ab2\n");
}

TEST_F(FaultyInstrumentTest, VanishesBehindItsLastReplyAndComesBack) {
  instrument_.SetFaults({{FaultKind::kDrop, 2}, {FaultKind::kDelay, 10}});
  Ask("xqx");
  EXPECT_EQ(Take(10), "ab1\n");
  EXPECT_FALSE(instrument_.Vanished());
  EXPECT_EQ(Ask(), "");
  EXPECT_FALSE(instrument_.Vanished()) << "its last reply is still under way";
  EXPECT_EQ(Take(10), "ab2\n");
  EXPECT_TRUE(instrument_.Vanished());
  EXPECT_EQ(Ask(), "");
  instrument_.SetFaults({});
  EXPECT_FALSE(instrument_.Vanished());
  EXPECT_EQ(Ask(), "ab3\n");
  instrument_.SetFaults({{FaultKind::kDrop, 0}});
  EXPECT_TRUE(instrument_.Vanished());
}

TEST_F(FaultyInstrumentTest, BoundsWhatIsUnderWay) {
  instrument_.SetFaults({{FaultKind::kDrip, 1000}});
  for (int i = 0; i < 20'000; ++i) instrument_.Receive("q", clock_.Now());
  EXPECT_LE(Take(1'000'000'000).size(), 8192u);
}

}  // namespace
}  // namespace ulix
