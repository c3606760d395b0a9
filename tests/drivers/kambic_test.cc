// The Kambic driver: its pure protocol, then whole exchanges with the simulated bath over an in-process line.
#include <gtest/gtest.h>

#include <cmath>
#include <limits>

#include "drivers/others/kambic/protocol.h"
#include "drivers/others/kambic/tables.h"
#include "simulators/kambic.h"
#include "tests/support/line_bench.h"

namespace ulix::kambic {
namespace {

TEST(KambicProtocol, KnowsTheSeriesByItsModelWords) {
  for (const char* known : {"ID=OB-22", "ID=OB7,1", "OB50", "ID=OB-7\r", "some OB-50 bath", "ID=OB22"}) {
    EXPECT_TRUE(IsKambic(known)) << known;
  }
  for (const char* other : {"ID=OB", "ID=OB-15", "ID=ob-22", "ID=OB 22", ""}) EXPECT_FALSE(IsKambic(other)) << other;
}

TEST(KambicProtocol, FindsEachValueBehindItsOwnKey) {
  struct Case {
    const char* answer;
    float temperature;
    float set_point;
  };
  const Case cases[] = {
      {"T= 25.012\rTSET= 30.000\r", 25.012F, 30.0F}, {"TSET=30\rT=25.5", 25.5F, 30.0F},
      {"T=-0.5 TSET=+1.5E1", -0.5F, 15.0F},          {"OK,T= \t25.5,TSET=.5", 25.5F, 0.5F},
      {"PT=3;T=4;XTSET=5;TSET=6", 4.0F, 6.0F},
  };
  for (const Case& c : cases) {
    EXPECT_EQ(ParseReading(c.answer, kTemperatureChannel), c.temperature) << c.answer;
    EXPECT_EQ(ParseReading(c.answer, kSetPointChannel), c.set_point) << c.answer;
  }
  for (const char* bad : {"", "TSET=30", "T=", "T=\r25.0", "T= \r", "T=abc", "T=nan", "T=inf", "T=1e39", "T=1e999",
                          "T=2\x85.5", "T=2O.5", "T=0x10", "t=25", "T =25"}) {
    EXPECT_EQ(CodeOf(ParseReading(bad, kTemperatureChannel)), kambicCtlErrBadResp) << bad;
  }
  EXPECT_EQ(CodeOf(ParseReading("T=25 COMMAND ERROR", kTemperatureChannel)), kambicCtlErrBadCmde);
}

TEST(KambicProtocol, ASetPointMustComeBackAsItWasSent) {
  EXPECT_EQ(SetPointCommand(100.1F).value(), "SETTEMP=100.100");
  EXPECT_EQ(SetPointCommand(-0.0004F).value(), "SETTEMP=-0.000");
  for (const float none : {std::numeric_limits<float>::quiet_NaN(), INFINITY}) {
    EXPECT_EQ(CodeOf(SetPointCommand(none)), kambicCtlErrOutOfRange);
  }
  struct Case {
    const char* answer;
    HRESULT result;
  };
  const Case cases[] = {
      {"SETTEMP= 100.100\r", S_OK},
      {"TSET=100.1", S_OK},
      {"=+1.001E2", S_OK},
      {"SETTEMP=100.101", kambicCtlErrBadResp},
      {"SETTEMP=100.1000015", kambicCtlErrBadResp},
      {"SETTEMP 100.100", kambicCtlErrBadResp},
      {"SETTEMP=\r100.100", kambicCtlErrBadResp},
      {"", kambicCtlErrBadResp},
      {"OUT OF RANGE", kambicCtlErrOutOfRange},
      {"SETTEMP=100.1 OUT OF RANGE", kambicCtlErrOutOfRange},
      {"OUT OF RANGE COMMAND ERROR", kambicCtlErrBadCmde},
  };
  for (const Case& c : cases) EXPECT_EQ(CheckSetPointAnswer(c.answer, "SETTEMP=100.100"), c.result) << c.answer;
}

class Kambic : public LineBench {
 protected:
  Kambic() : LineBench("kambic") {}
};

TEST_F(Kambic, SaysExactlyTheseWords) {
  ASSERT_EQ(device->Connect(), S_OK);
  EXPECT_EQ(TakeSent(), "IDENT\n");
  SetBench("noise", "0");
  SetBench("temperature", "25.012");
  SetBench("set-point", "25.012");
  EXPECT_EQ(driver->ReadChannel(0).value, 25.012F);
  EXPECT_EQ(driver->ReadChannel(1).value, 25.012F);
  EXPECT_EQ(TakeSent(), "TXD\nTXD\n");
  EXPECT_EQ(device->SetChanVal(1, 100.1), S_OK);
  EXPECT_EQ(TakeSent(), "SETTEMP=100.100\n");
  EXPECT_EQ(driver->ReadChannel(1).value, 100.1F);
  clock.SleepFor(Milliseconds(30'000));
  EXPECT_NEAR(driver->ReadChannel(0).value, 72.5, 0.5) << "on its way";
  std::string text;
  EXPECT_EQ(device->Identify(&text), S_OK);
  EXPECT_EQ(text, "ID=OB-22/2 ULT,SN 14021,V2.31");
  TakeSent();
  for (const HRESULT done : {device->SendCfg(), device->ReadCfg(), device->Run(), device->Stop()})
    EXPECT_EQ(done, S_OK);
  EXPECT_EQ(device->Disconnect(), S_OK);
  EXPECT_EQ(TakeSent(), "");
  EXPECT_EQ(UnknownRequests(), std::vector<std::string>());
}

TEST_F(Kambic, OtherInstrumentsAndNoneAreRefused) {
  SetBench("identity", "ID=OB");
  EXPECT_EQ(device->Connect(), kambicCtlErrNotKambic);
  EXPECT_FALSE(IsConnected());
  SetBench("identity", "ID=OB-22");
  EXPECT_EQ(device->Connect(), S_OK);
  EXPECT_EQ(device->Disconnect(), S_OK);
  bench->SetFaults({{FaultKind::kSilent}});
  const MonotonicTime before = clock.Now();
  EXPECT_EQ(device->Connect(), serialCommErrUnableToReadComm);
  EXPECT_EQ(clock.Now() - before, Milliseconds(3000));
  EXPECT_NE(OpenerOf(bench)(1).port, nullptr) << "the line is free again";
}

TEST_F(Kambic, ChannelsThatAreNone) {
  device->Connect();
  TakeSent();
  EXPECT_EQ(driver->ReadChannel(2).code, kambicCtlErrChNum);
  EXPECT_EQ(driver->WriteChannel(2, 1.0F), kambicCtlErrChNum);
  EXPECT_EQ(driver->WriteChannel(0, 1.0F), E_INVALIDARG);
  EXPECT_EQ(device->SetChanVal(0, 1.0), E_INVALIDARG);
  EXPECT_EQ(TakeSent(), "");
  EXPECT_EQ(driver->ChannelUnit(1),
            "\xB0"
            "C");
  EXPECT_EQ(driver->ChannelUnit(2), "");
  EXPECT_EQ(driver->ChannelResolution(0), 3);
  EXPECT_EQ(driver->ChannelResolution(2), 6);
}

TEST_F(Kambic, WhatTheBathSaysToASetPoint) {
  device->Connect();
  EXPECT_EQ(device->SetChanVal(1, 200.0), kambicCtlErrOutOfRange);
  SetBench("set-point-text", "SETTEMP= 30.00");
  EXPECT_EQ(device->SetChanVal(1, 30.004), kambicCtlErrBadResp) << "rounded by the bath";
  SetBench("set-point-text", "SETTEMP= 30.004");
  EXPECT_EQ(device->SetChanVal(1, 30.004), S_OK);
  bench->SetFaults({{FaultKind::kRefuse}});
  EXPECT_EQ(device->SetChanVal(1, 30.0), kambicCtlErrBadCmde);
  bench->SetFaults({{FaultKind::kSilent}});
  EXPECT_EQ(device->SetChanVal(1, 30.0), serialCommErrUnableToReadComm);
}

TEST_F(Kambic, ANumberThatMayBeCutIsNone) {
  device->Connect();
  // The bath's line is longer than what is read of it; the number stands across the cut, then before it.
  SetBench("reading-text", (std::string(143, 'x') + " T=25.012").c_str());
  EXPECT_EQ(driver->ReadChannel(0).code, kambicCtlErrBadResp);
  SetBench("reading-text", ("T=25.012 " + std::string(200, 'x')).c_str());
  EXPECT_EQ(driver->ReadChannel(0).value, 25.012F);
}

TEST_F(Kambic, EveryTextOfItsErrors) {
  struct Case {
    HRESULT code;
    const char* text;
    const char* french;
    const char* short_text;
  };
  const Case cases[] = {
      {kambicCtlErrNotKambic, "Device connected is not a KAMBIC", "L'appareil connect\xE9 n'est pas un KAMBIC",
       "NOT_KAMBIC"},
      {kambicCtlErrOutOfRange, "Setpoint temperature is out of range", "La temp\xE9rature de consigne est hors limites",
       "OUT_OF_RANGE"},
      {kambicCtlErrChNum, "Invalid channel number", "Num\xE9ro de voie incorrect", "CH_NUM"},
      {kambicCtlErrBadCmde, "Command refused by the device",
       "Commande refus\xE9"
       "e par l'appareil",
       "BAD_CMDE"},
      {kambicCtlErrBadResp, "Incorrect answer from the device", "R\xE9ponse incorrecte de l'appareil", "BAD_RESP"},
      {kambicErrExceptionCode, "", "", ""},
  };
  for (const Case& c : cases) {
    EXPECT_EQ(ErrorText(c.code, false), c.text);
    EXPECT_EQ(FrenchErrorText(c.code), c.french);
    EXPECT_EQ(ErrorText(c.code, true), c.short_text);
  }
}

TEST(KambicSimulatorTest, RefusesAndNotesWhatTheBathDoesNotKnow) {
  ManualClock clock;
  KambicSimulator bath(clock);
  const std::vector<std::string> wrong = {"",     "ident",        "IDENT\r",        "TXD?",
                                          "TXD ", "SETTEMP=25.0", "SETTEMP=25,000", "SETTEMP= 25.000"};
  for (const std::string& request : wrong) {
    const auto replies = bath.Receive(request + "\n");
    ASSERT_EQ(replies.size(), 1U);
    EXPECT_EQ(replies[0].bytes, "COMMAND ERROR\r\n");
  }
  EXPECT_EQ(bath.unknown_requests(), wrong);
  EXPECT_EQ(bath.bath().set_point, 20.0);
}

}  // namespace
}  // namespace ulix::kambic
