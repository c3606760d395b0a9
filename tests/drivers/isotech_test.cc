// The Isotech driver: what a host alone can do with it.
#include <gtest/gtest.h>

#include "drivers/others/isotech/driver.h"
#include "drivers/others/isotech/tables.h"
#include "tests/support/line_bench.h"

namespace ulix::isotech {
namespace {

class Isotech : public LineBench {
 protected:
  Isotech() : LineBench("isotech") {}
  void Start(const char* model) {
    Set("model", model);
    ASSERT_EQ(device->Connect(), S_OK);
    EXPECT_EQ(TakeSent(), "") << "connecting asks nothing";
  }
};

TEST_F(Isotech, AnAddressOutOfRangeIsSentAndKeptAsTheHighest) {
  Start("addressed");
  Set("address", "4294967295");
  const auto address = [&] { return device->settings().TextOf(kSettings[kAddress]); };
  EXPECT_EQ(device->SetChanVal(0, 20000.0), isotechCtlErrOutOfRange);
  EXPECT_EQ(address(), "4294967295") << "no frame was built";
  EXPECT_FALSE(device->IsDirty());
  device->SetChanVal(0, 1.0);
  EXPECT_EQ(TakeSent().substr(0, 6), "\0049999\002");
  EXPECT_EQ(address(), "99");
  EXPECT_TRUE(device->IsDirty()) << "there is something to save";
  std::string text = "before";
  EXPECT_EQ(device->Identify(&text), E_NOTIMPL);
  EXPECT_EQ(text, "");
  Set("model", "3");
  EXPECT_EQ(device->SetChanVal(0, 1.0), E_INVALIDARG) << "a code of no protocol";
}

TEST_F(Isotech, AnAnswerThatNeverEndsIsRefusedAndTheLineIsClearAgain) {
  Start("line");
  SetBench("stop-answer", "GT" + std::string(300, 'x'));
  EXPECT_EQ(device->Stop(), isotechCtlErrNack);
  EXPECT_EQ(device->SetChanVal(0, 1.0), S_OK);
}

TEST_F(Isotech, SetPointsOfAnObjectNeverSeeTheLine) {
  Start("object");
  EXPECT_EQ(device->SetChanVal(0, 300.0), E_NOTIMPL) << "none is set";
  std::pair<std::uint32_t, float> seen;
  driver->set_point_forwarding()->SetObject([&](std::uint32_t address, float degrees) {
    seen = {address, degrees};
    EXPECT_FALSE(driver->IsBusy()) << "no lock is held";
    return degrees > 100 ? isotechCtlErrNack : S_OK;
  });
  Set("address", "12");
  EXPECT_EQ(device->SetChanVal(0, 42.5), S_OK);
  EXPECT_EQ(seen, std::pair(12U, 42.5F));
  EXPECT_EQ(device->SetChanVal(0, 300.0), isotechCtlErrNack);
  Set("start-set-point", "37");
  EXPECT_EQ(device->Run(), S_OK);
  EXPECT_EQ(device->SetChanVal(0, -300.0), isotechCtlErrOutOfRange);
  EXPECT_EQ(seen.second, 37.0F);
  EXPECT_EQ(TakeSent(), "");
}

}  // namespace
}  // namespace ulix::isotech
