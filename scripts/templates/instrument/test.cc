// Tests of the NewClass driver: first the pure protocol, then complete exchanges with the simulated instrument over an
// in-process line.
#include <gtest/gtest.h>

#include "drivers/new_family/new_model/protocol.h"
#include "tests/support/line_bench.h"

namespace ulix::new_model {
namespace {

TEST(NewClassProtocol, ReadsTheNumberOfAMeasure) {
  EXPECT_EQ(ParseMeasure("12.345 V").value(), 12.345F);
  EXPECT_EQ(ParseMeasure(" +1.5E-03").value(), 0.0015F);
  for (const char* none : {"", "OVER", "nan", "1e39", "12,345", "12.34512.345", "12\a.3"}) {
    EXPECT_EQ(CodeOf(ParseMeasure(none)), serialCommErrUnableToReadComm) << none;
  }
}

TEST(NewClassProtocol, RatesByWord) {
  EXPECT_EQ(RateCommand(0).value(), "RATE SLOW");
  EXPECT_EQ(RateCommand(1).value(), "RATE FAST");
  EXPECT_EQ(CodeOf(RateCommand(2)), E_INVALIDARG);
  EXPECT_EQ(ParseRate("FAST\r").value(), 1U);
  EXPECT_EQ(CodeOf(ParseRate("FASTER")), serialCommErrUnableToReadComm);
}

class NewClass : public LineBench {
 protected:
  NewClass() : LineBench("new_model") {}
  std::string Rate() { return device->settings().TextOf(*device->settings().Find("rate")); }
};

TEST_F(NewClass, SaysExactlyTheseWords) {
  ASSERT_EQ(device->Connect(), S_OK);
  std::string text;
  EXPECT_EQ(device->Identify(&text), S_OK);
  EXPECT_EQ(text, "ULIX,NEW_MODEL,123456,V1.00");
  Set("rate", "FAST");
  EXPECT_EQ(device->SendCfg(), S_OK);
  EXPECT_EQ(driver->ReadChannel(0).value, 1.5F);
  EXPECT_EQ(TakeSent(), "*IDN?\n*IDN?\nRATE FAST\nMEAS?\n");
  EXPECT_TRUE(UnknownRequests().empty());
}

TEST_F(NewClass, ReadsItsConfigurationWholeOrNotAtAll) {
  device->Connect();
  Set("rate", "FAST");
  ASSERT_EQ(device->SendCfg(), S_OK);
  Set("rate", "SLOW");
  EXPECT_EQ(device->ReadCfg(), S_OK);
  EXPECT_EQ(Rate(), "FAST");
  bench->SetFaults({{FaultKind::kGarbage}});
  EXPECT_EQ(device->ReadCfg(), serialCommErrUnableToReadComm);
  EXPECT_EQ(Rate(), "FAST");
}

TEST_F(NewClass, AnotherInstrumentOrNoneIsRefusedAndTheLinkClosed) {
  SetBench("identity", "MAKER,OTHER,0");
  EXPECT_EQ(device->Connect(), new_modelCtlErrNotNewClass);
  EXPECT_EQ(TakeErrorInfo().description, "Device connected is not a NEW_MODEL");
  bench->SetFaults({{FaultKind::kSilent}});
  EXPECT_EQ(device->Connect(), serialCommErrUnableToReadComm);
  EXPECT_FALSE(IsConnected());
  EXPECT_FALSE(driver->LinkIsOpen());
}

TEST_F(NewClass, FaultsGiveTheirErrorsInTheirTimeAndPass) {
  device->Connect();
  constexpr Milliseconds kAtMost{1000 + 10};  // the read timeout and the time of the query on the line
  const FaultCase cases[] = {
      {{FaultKind::kSilent}, serialCommErrUnableToReadComm, kAtMost},
      {{FaultKind::kDelay, 900}, S_OK, kAtMost},
      {{FaultKind::kLate}, serialCommErrUnableToReadComm, kAtMost},
      {{FaultKind::kTruncate}, serialCommErrUnableToReadComm, kAtMost},
      {{FaultKind::kRefuse}, serialCommErrUnableToReadComm, kAtMost},
  };
  ExpectFaultsToPass(cases, 0, 1.5F);
}

TEST_F(NewClass, KnowsItsChannel) {
  EXPECT_EQ(driver->ChannelUnit(0), "V");
  EXPECT_EQ(driver->ChannelResolution(0), 4);
  EXPECT_EQ(driver->ChannelUnit(1), "");
  EXPECT_EQ(driver->ReadChannel(1).code, E_INVALIDARG);
  EXPECT_EQ(driver->WriteChannel(0, 1.0F), E_INVALIDARG);
  EXPECT_EQ(driver->ReadChannel(0).code, serialCommErrCommClosed);
}

TEST_F(NewClass, TheSimulatorNotesWhatTheInstrumentDoesNotKnow) {
  const std::vector<std::string> wrong = {"", "*IDN", "meas?", "RATE", "RATE MEDIUM"};
  for (const std::string& request : wrong) {
    EXPECT_TRUE(bench->WithSimulator([&](Simulator& s) { return s.Receive(request + "\n"); })[0].bytes.empty());
  }
  EXPECT_EQ(UnknownRequests(), wrong);
}

}  // namespace
}  // namespace ulix::new_model
