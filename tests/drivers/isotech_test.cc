// The Isotech driver: settings and set point forwarding, which only a host can use.
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
    EXPECT_EQ(TakeSent(), "") << "Connect sends nothing";
  }
};

TEST_F(Isotech, AddressOutOfRange_IsSentAndKeptAsTheHighest) {
  Start("addressed");
  Set("address", "4294967295");
  const auto address = [&] { return device->settings().TextOf(kSettings[kAddress]); };
  EXPECT_EQ(device->SetChanVal(0, 20000.0), isotechCtlErrOutOfRange);
  EXPECT_EQ(address(), "4294967295") << "a refused set point builds no frame";
  EXPECT_FALSE(device->IsDirty());
  EXPECT_EQ(device->SetChanVal(0, 1.0), S_OK);
  EXPECT_EQ(TakeSent().substr(0, 6), "\0049999\002");
  EXPECT_EQ(address(), "99");
  EXPECT_TRUE(device->IsDirty());
}

TEST_F(Isotech, Identify_IsNotImplemented) {
  Start("addressed");
  std::string text = "before";
  EXPECT_EQ(device->Identify(&text), E_NOTIMPL);
  EXPECT_EQ(text, "");
}

TEST_F(Isotech, UnknownModelCode_IsInvalid) {
  Start("addressed");
  Set("model", "3");
  EXPECT_EQ(device->SetChanVal(0, 1.0), E_INVALIDARG);
}

TEST_F(Isotech, EndlessReply_IsRefusedAndTheNextWriteWorks) {
  Start("line");
  SetBench("stop-answer", "GT" + std::string(300, 'x'));
  EXPECT_EQ(device->Stop(), isotechCtlErrNack);
  EXPECT_EQ(device->SetChanVal(0, 1.0), S_OK);
}

TEST_F(Isotech, SetPointsForwardedToAnObject_AreNotSentOnTheLine) {
  Start("object");
  EXPECT_EQ(device->SetChanVal(0, 300.0), E_NOTIMPL) << "no object is set yet";
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
