// The Hart driver: its pure protocol, then whole exchanges with the simulated unit over an in-process line.
#include "drivers/field/hart/driver.h"

#include <gtest/gtest.h>

#include "drivers/field/hart/protocol.h"
#include "tests/support/line_bench.h"

namespace ulix::hart {
namespace {

TEST(HartProtocol, ReadsTheNumberBehindTheFirstColon) {
  struct Case {
    const char* reply;
    float value;
  };
  const Case cases[] = {
      {"T:23.50", 23.5F},    {"t: 22.79 C", 22.79F}, {"set: -40.00C", -40.0F},
      {"\nT:+1.5E2", 150.F}, {":0", 0.0F},           {"T:1:2", 1.0F},
  };
  for (const Case& c : cases) EXPECT_EQ(ParseValue(c.reply).value_or(-1.0F), c.value) << c.reply;
  for (const char* reply : {"", "23.50", "T:", "T: C", "T:nan", "T:inf", "T:1e39", "T:-1e999", "t:x:1"}) {
    EXPECT_EQ(CodeOf(ParseValue(reply)), serialCommErrUnableToReadComm) << reply;
  }
}

TEST(HartProtocol, FindsTheSetPointThatItSent) {
  EXPECT_EQ(SetPointText(21.456F), "21.46");
  EXPECT_EQ(SetPointText(-40.0F), "-40.00");
  struct Case {
    const char* reply;
    const char* sent;
    bool confirmed;
  };
  const Case cases[] = {
      {"S:21.46 C", "21.46", true},
      {"21.46C", "21.46", true},
      {"S:21.46", "21.46", true},  // without its last character only the number says it
      {"set: 21.4649", "21.46", true},
      {"S:100.0", "100.00", true},
      {"S:0.00", "-0.00", true},
      {"S:21.45 C", "21.46", false},
      {"S:21.4", "21.46", false},
      {"21.46", "21.46", false},
      {"S:23.00 C", "3.00", false},
      {"S:-3.00 C", "3.00", false},
      {"3.00 23.00 C", "3.00", true},
      {"", "3.00", false},
      {"?", "3.00", false},
  };
  for (const Case& c : cases) EXPECT_EQ(Confirms(c.reply, c.sent), c.confirmed) << c.reply << " after " << c.sent;
}

class Hart : public LineBench {
 protected:
  Hart() : LineBench("hart") {
    SetBench("time-constant", "0");
    SetBench("set-point", "23.5");
    SetBench("noise", "0");
  }
};

TEST_F(Hart, SaysExactlyTheseWords) {
  ASSERT_EQ(device->Connect(), S_OK);
  EXPECT_EQ(TakeSent(), "lf=of\rdu=h\rsa=0\r");
  EXPECT_EQ(driver->ReadChannel(0).value, 23.5F);
  EXPECT_EQ(TakeSent(), "t\r");
  EXPECT_EQ(device->SetChanVal(1, 21.456), S_OK);
  EXPECT_EQ(TakeSent(), "s=21.46\rs\r");
  EXPECT_EQ(driver->ReadChannel(1).value, 21.46F);
  EXPECT_EQ(TakeSent(), "s\r");
  EXPECT_EQ(device->SendCfg(), S_OK);
  EXPECT_EQ(device->ReadCfg(), S_OK);
  std::string text;
  EXPECT_EQ(device->Identify(&text), E_NOTIMPL);
  EXPECT_EQ(device->Disconnect(), S_OK);
  EXPECT_EQ(TakeSent(), "");
  EXPECT_EQ(UnknownRequests(), std::vector<std::string>());
}

TEST_F(Hart, ChannelsThatAreNoneOrCannotBeWritten) {
  device->Connect();
  TakeSent();
  EXPECT_EQ(device->SetChanVal(0, 20.0), E_INVALIDARG);
  EXPECT_EQ(driver->WriteChannel(0, 20.0F), E_INVALIDARG);
  EXPECT_EQ(driver->WriteChannel(2, 20.0F), hartCtlErrChNum);
  EXPECT_EQ(driver->ReadChannel(2).code, hartCtlErrChNum);
  EXPECT_EQ(TakeSent(), "");
  EXPECT_EQ(driver->ChannelUnit(1),
            "\xB0"
            "C");
  EXPECT_EQ(driver->ChannelUnit(2), "");
}

// A set point is set when the unit says so, and not before.
TEST_F(Hart, ASetPointThatDoesNotComeBackIsRefused) {
  device->Connect();
  EXPECT_EQ(device->SetChanVal(1, 150.01), hartCtlErrNack);
  EXPECT_EQ(TakeErrorInfo().description, "Device Negative Acknowledge");
  EXPECT_EQ(driver->ReadChannel(1).value, 23.5F);
  SetBench("set-point", "150");
  EXPECT_EQ(device->SetChanVal(1, 50.0), S_OK);
  SetBench("reply-text", "S:150.00 C");
  EXPECT_EQ(device->SetChanVal(1, 50.0), hartCtlErrNack) << "the text is there, as the end of another number";
  SetBench("reply-text", "");
  for (const FaultKind fault : {FaultKind::kSilent, FaultKind::kGarbage, FaultKind::kRefuse, FaultKind::kTruncate}) {
    bench->SetFaults({{fault}});
    const MonotonicTime before = clock.Now();
    EXPECT_EQ(device->SetChanVal(1, 60.0), hartCtlErrNack) << static_cast<int>(fault);
    EXPECT_LE(clock.Now() - before, Milliseconds(1000));
    bench->SetFaults({});
    clock.SleepFor(Milliseconds(2000));
    EXPECT_EQ(device->SetChanVal(1, 70.0), S_OK);
  }
  bench->SetFaults({{FaultKind::kDrop, 0}});
  EXPECT_EQ(device->SetChanVal(1, 80.0), serialCommErrUnableToWriteComm);
}

// Line feeds that came before "lf=of" was heard, and what else came unasked, belong to no reading.
TEST_F(Hart, WhatTheUnitSaysUnaskedIsNoReading) {
  ASSERT_EQ(driver->OpenLink(), S_OK);
  EXPECT_EQ(driver->ReadChannel(0).value, 23.5F);
  EXPECT_EQ(driver->ReadChannel(1).value, 23.5F);
  ASSERT_EQ(device->Connect(), S_OK);
  EXPECT_EQ(driver->ReadChannel(0).value, 23.5F);
}

TEST_F(Hart, ALineThatIsTakenIsNotConnectedAndSaysSo) {
  class Listener final : public EventSink {
   public:
    std::vector<HRESULT> system_errors;
    void SysError(HRESULT code) override { system_errors.push_back(code); }
  };
  const auto listener = std::make_shared<Listener>();
  device->events().Advise(listener);
  const auto other = OpenerOf(bench)(1);
  EXPECT_EQ(device->Connect(), serialCommErrUnableToOpenComm);
  EXPECT_EQ(listener->system_errors, std::vector<HRESULT>{serialCommErrUnableToOpenComm});
  EXPECT_FALSE(IsConnected());
}

TEST_F(Hart, EveryTextOfItsErrors) {
  struct Case {
    HRESULT code;
    const char* text;
    const char* french;
    const char* short_text;
  };
  const Case cases[] = {
      {hartCtlErrNotHart, "Device connected is not a HART", "L'appareil connect\xE9 n'est pas un HART", "NOT_HART"},
      {hartCtlErrNack, "Device Negative Acknowledge", "Acquittement n\xE9gatif de l'appareil", "NEG_ACKNOWLEDGE"},
      {hartCtlErrOutOfRange, "Setpoint temperature is out of range", "La temp\xE9rature de consigne est hors limites",
       "OUT_OF_RANGE"},
      {hartCtlErrChNum, "Invalid channel number", "Num\xE9ro de voie incorrect", "CH_NUM"},
      {serialCommErrUnableToReadComm, "Unable to read answer", "Impossible de lire la r\xE9ponse",
       "UNABLE_TO_READ_COMM"},
      {hartErrExceptionCode, "", "", ""},
  };
  for (const Case& c : cases) {
    EXPECT_EQ(ErrorText(c.code, false), c.text);
    EXPECT_EQ(ErrorText(c.code, true), c.short_text);
    EXPECT_EQ(FrenchErrorText(c.code), c.french);
  }
}

}  // namespace
}  // namespace ulix::hart
