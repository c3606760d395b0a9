// The Jofra driver: its pure protocol, then whole exchanges with the simulated instrument over an in-process line, in
// both series' languages.
#include <gtest/gtest.h>

#include <limits>

#include "base/text.h"
#include "drivers/others/jofrartcptc/protocol.h"
#include "tests/support/line_bench.h"

namespace ulix::jofrartcptc {
namespace {

TEST(JofraProtocol, KnowsBothSeries) {
  EXPECT_TRUE(SpeaksAscii("<ASCII protocol activated>"));
  EXPECT_TRUE(SpeaksAscii("<Error Invalid command or argument(s)>"));
  EXPECT_FALSE(SpeaksAscii("<Error>"));
  EXPECT_TRUE(IsOf(kRtc, "<GetResponse CalibratorDevice a b c d e PTC_155>"));
  EXPECT_TRUE(IsOf(kRtc, "<GetResponse  CalibratorDevice a b   c d e Jofra-RTC_157 x>")) << "runs of blanks are one";
  EXPECT_TRUE(IsOf(kCtc, "JOFRA, CTC-155 A, 1"));
  EXPECT_TRUE(IsOf(kCtc, "JOFRA,CTC-155"));
  for (const char* other : {"", "<GetResponse CalibratorDevice a b c d RTC_1 e>", "JOFRA, CTC-155",
                            "GetResponse CalibratorDevice a b c d e RTC_1", "<GetResponse Device a b c d e RTC_1>"}) {
    EXPECT_FALSE(IsOf(kRtc, other)) << other;
  }
  for (const char* other :
       {"", "JOFRA", "jofra, CTC-155", "JOFRA, ITC-155", "<Error Invalid command or argument(s)>"}) {
    EXPECT_FALSE(IsOf(kCtc, other)) << other;
  }
}

TEST(JofraProtocol, FindsEachChannelInItsPlace) {
  constexpr const char* kLive =
      "<GetResponse LiveSensors 2 3 4 5.5 6 7 8 9 10 11 12 13 14 -15.25 16 17 18 19 20 21 22 23 24>";
  EXPECT_EQ(ParseReading(kRtc, kLive, kRtcPlaces[0]).value(), 5.5F);
  EXPECT_EQ(ParseReading(kRtc, kLive, kRtcPlaces[1]).value(), -15.25F);
  EXPECT_EQ(ParseReading(kRtc, kLive, kRtcPlaces[2]).value(), 24.0F)
      << "the bracket behind the last field is none of it";
  constexpr const char* kReadings = "23.12, CEL, 323.15, KEL, 122.0, FAR, 1, -40.0, FAR";
  EXPECT_EQ(ParseReading(kCtc, kReadings, kCtcPlaces[0]).value(), 50.0F);
  EXPECT_EQ(ParseReading(kCtc, kReadings, kCtcPlaces[1]).value(), -40.0F);
  EXPECT_EQ(ParseReading(kCtc, kReadings, kCtcPlaces[2]).value(), 50.0F);
  EXPECT_EQ(ParseReading(kCtc, kReadings, kCtcPlaces[3]).value(), 23.12F);
}

TEST(JofraProtocol, TellsWhyThereIsNoValue) {
  struct Case {
    const char* answer;
    HRESULT error;
  };
  const Case cases[] = {
      {"0, CEL, NaN, CEL, 1", jofrartcptcCtlErrNoMeasAvailable},
      {"0, CEL, 1x, CEL, 1", serialCommErrUnableToReadComm},
      {"0, CEL, 1, RAN, 1", serialCommErrUnableToReadComm},
      {"0, CEL, 1", serialCommErrUnableToReadComm},
      {"0, CEL, inf, CEL", serialCommErrUnableToReadComm},
      {"0, CEL, 1e39, CEL", serialCommErrUnableToReadComm},
      {"0", serialCommErrUnableToReadComm},
      {"<Error Invalid command or argument(s)>", jofrartcptcCtlErrNack},
  };
  for (const Case& c : cases) {
    EXPECT_EQ(CodeOf(ParseReading(kCtc, c.answer, kCtcPlaces[kTargetChannel])), c.error) << c.answer;
  }
}

TEST(JofraProtocol, SendsAndConfirmsSetPoints) {
  EXPECT_EQ(SetPointCommand(kRtc, 50.126F).value(), "Settemperature 50.13");
  EXPECT_EQ(SetPointCommand(kRtc, -25.0F).value(), "Settemperature -25.00");
  EXPECT_EQ(SetPointCommand(kCtc, 50.0F).value(), "SETTEMP 323.15 KEL");
  for (const float bad : {-274.0F, std::numeric_limits<float>::infinity(), std::numeric_limits<float>::quiet_NaN()}) {
    EXPECT_EQ(CodeOf(SetPointCommand(kRtc, bad)), jofrartcptcCtlErrOutOfRange);
  }
  EXPECT_TRUE(ConfirmsSetPoint(kRtc, "<GetResponse SETTemperature 50.00>", 50.0F));
  EXPECT_FALSE(ConfirmsSetPoint(kRtc, "<GetResponse SETTemperature 50.00", 50.0F)) << "the bracket belongs there";
  EXPECT_FALSE(ConfirmsSetPoint(kRtc, "<GetResponse SETTemperature 20.00>", 50.0F));
  EXPECT_FALSE(ConfirmsSetPoint(kRtc, "<GetResponse SETTemperature>", 50.0F));
  for (const char* told : {"50.0, CEL", "50.04 CEL", "122.0, FAR", "323.15, KEL"}) {
    EXPECT_TRUE(ConfirmsSetPoint(kCtc, told, 50.0F)) << told;
  }
  for (const char* told : {"50.2, CEL", "50.0", "50.0, XYZ", "50.0, FAR", "NaN, CEL", ""}) {
    EXPECT_FALSE(ConfirmsSetPoint(kCtc, told, 50.0F)) << told;
  }
  for (float value = -40.0F; value < 160.0F; value += 0.35F) {
    const auto command = SetPointCommand(kCtc, value);
    EXPECT_TRUE(ConfirmsSetPoint(kCtc, command->substr(8), value)) << value << ": what is sent confirms itself";
  }
}

class Jofra : public LineBench {
 protected:
  Jofra() : LineBench("jofrartcptc") {
    SetBench("noise", "0");
    SetBench("time-constant", "0");
    SetBench("sensor-offset", "-0.5");
    SetBench("internal-offset", "0.25");
  }
  void Speak(const char* model) {
    Set("model", model);
    SetBench("model", model);
  }
  std::vector<float> ReadAll() {
    std::vector<float> values;
    for (ChannelId id = 0; device->OffersChannel(id); ++id) {
      const Reading reading = driver->ReadChannel(id);
      EXPECT_EQ(reading.code, S_OK) << id;
      values.push_back(reading.value);
    }
    return values;
  }
  std::vector<std::string> Names() {
    std::vector<std::string> names(4);
    for (ChannelId id = 0; id < names.size(); ++id) EXPECT_EQ(device->GetChanName(id, &names[id]), S_OK);
    return names;
  }
};

TEST_F(Jofra, SaysExactlyTheseWordsToAnRtc) {
  ASSERT_EQ(device->Connect(), S_OK);
  EXPECT_EQ(TakeSent(), "ascii+\rCalibratorDevice?\rLogOn\rIsloggedon?\r");
  EXPECT_EQ(device->SetChanVal(2, 50.0F), S_OK);
  EXPECT_EQ(TakeSent(), "Settemperature 50.00\rSettemperature?\r");
  clock.SleepFor(Milliseconds(10));
  EXPECT_EQ(ReadAll(), (std::vector<float>{50.0F, 49.5F, 50.0F}));
  EXPECT_EQ(TakeSent(), "LiveSensors?\rLiveSensors?\rLiveSensors?\r");
  EXPECT_EQ(driver->ReadChannel(3).code, jofrartcptcCtlErrChNum);
  EXPECT_EQ(driver->WriteChannel(3, 1), jofrartcptcCtlErrChNum);
  EXPECT_EQ(driver->WriteChannel(0, 1), E_INVALIDARG);
  EXPECT_EQ(device->Run(), S_OK);
  EXPECT_EQ(device->Stop(), S_OK);
  EXPECT_EQ(Names(), (std::vector<std::string>{"TRUE TEMPERATURE", "SENSOR TEMPERATURE", "TARGET TEMPERATURE",
                                               "(UNKNOWN/UNSUPPORTED INPUT !?)"}));
  EXPECT_EQ(TakeSent(), "");
  EXPECT_EQ(device->Disconnect(), S_OK);
  EXPECT_EQ(TakeSent(), "LogOff\rascii-\r");
  EXPECT_EQ(UnknownRequests(), std::vector<std::string>());
}

TEST_F(Jofra, SaysExactlyTheseWordsToACtc) {
  Speak("CTC");
  ASSERT_EQ(device->Connect(), S_OK);
  EXPECT_EQ(TakeSent(), "*CLS\rascii+\r*IDN?\rREMOTE\rREMOTE_MODE?\r");
  for (const char* unit : {"FAR", "KEL", "CEL"}) {
    SetBench("unit", unit);
    EXPECT_EQ(device->SetChanVal(2, 50.0F), S_OK) << unit;
    EXPECT_EQ(TakeSent(), "SETTEMP 323.15 KEL\rSETTEMP?\r");
    clock.SleepFor(Milliseconds(10));
    EXPECT_EQ(ReadAll(), (std::vector<float>{50.0F, 49.5F, 50.0F, 50.25F})) << unit;
    EXPECT_EQ(TakeSent(), "READINGS?\rREADINGS?\rREADINGS?\rREADINGS?\r");
  }
  EXPECT_EQ(driver->ReadChannel(4).code, jofrartcptcCtlErrChNum);
  EXPECT_EQ(Names(), (std::vector<std::string>{"EXT. REF. SENSOR TEMPERATURE", "SENSOR TEMPERATURE",
                                               "TARGET TEMPERATURE", "INT. REF. TEMPERATURE"}));
  EXPECT_EQ(device->Disconnect(), S_OK);
  EXPECT_EQ(TakeSent(), "LOCAL\r");
  EXPECT_EQ(UnknownRequests(), std::vector<std::string>());
}

TEST_F(Jofra, AUnitThatEndsAnswersByCarriageReturnAndLineFeedWorksToo) {
  SetBench("line-feed", "on");
  for (const char* model : {"RTC/PTC", "CTC"}) {
    Speak(model);
    ASSERT_EQ(device->Connect(), S_OK) << model;
    EXPECT_EQ(device->SetChanVal(2, 50.0F), S_OK) << model;
    EXPECT_EQ(driver->ReadChannel(2).value, 50.0F) << model;
    EXPECT_EQ(device->Disconnect(), S_OK);
  }
}

TEST_F(Jofra, AnotherInstrumentIsRefusedAndTheLinkClosed) {
  struct Case {
    const char* model;
    const char* key;
    const char* value;
    HRESULT error;
  };
  const Case cases[] = {
      {"RTC/PTC", "identity", "PTC_125", S_OK},
      {"RTC/PTC", "identity", "ITC_125", jofrartcptcCtlErrNotJofraRtcPtc},
      {"RTC/PTC", "model", "CTC", jofrartcptcCtlErrNotJofraRtcPtc},
      {"RTC/PTC", "ascii-text", "<Hello>", jofrartcptcCtlErrNotJofraRtcPtc},
      {"CTC", "ctc-identity", "JOFRA, ITC-155", jofrartcptcCtlErrNotJofraCtc},
      {"CTC", "model", "RTC/PTC", jofrartcptcCtlErrNotJofraCtc},
      {"CTC", "ascii-text", "<ASCII protocol activated>", S_OK},
      {"CTC", "ascii-text", "<Hello>", jofrartcptcCtlErrNotJofraRtcPtc},
      {"RTC/PTC", "locked", "on", jofrartcptcCtlErrNack},
      {"CTC", "locked", "on", jofrartcptcCtlErrNack},
  };
  for (const Case& c : cases) {
    const std::string before = bench->WithSimulator([&](Simulator& s) {
      for (const auto& [key, value] : s.Properties()) {
        if (key == c.key) return value;
      }
      return std::string();
    });
    Speak(c.model);
    SetBench(c.key, c.value);
    EXPECT_EQ(device->Connect(), c.error) << c.model << ' ' << c.key << '=' << c.value;
    EXPECT_EQ(IsConnected(), c.error == S_OK);
    device->Disconnect();
    SetBench(c.key, before);
  }
  bench->SetFaults({{FaultKind::kSilent}});
  const MonotonicTime before = clock.Now();
  EXPECT_EQ(device->Connect(), serialCommErrUnableToReadComm);
  EXPECT_EQ(clock.Now() - before, Milliseconds(1000));
}

TEST_F(Jofra, ASetPointThatIsNotKeptIsAFailure) {
  for (const char* model : {"RTC/PTC", "CTC"}) {
    Speak(model);
    SetBench("set-point", "20");
    SetBench("stuck", "on");
    ASSERT_EQ(device->Connect(), S_OK);
    EXPECT_EQ(device->SetChanVal(2, 70.0F), jofrartcptcCtlErrNack) << model;
    SetBench("stuck", "off");
    bench->SetFaults({{FaultKind::kRefuse}});
    EXPECT_EQ(device->SetChanVal(2, 70.0F), jofrartcptcCtlErrNack) << model;
    bench->SetFaults({});
    TakeSent();
    EXPECT_EQ(device->SetChanVal(2, -300.0F), jofrartcptcCtlErrOutOfRange);
    EXPECT_EQ(TakeSent(), "");
    device->Disconnect();
  }
}

TEST_F(Jofra, ASensorThatIsNotConnectedHasNoValue) {
  SetBench("sensor-connected", "off");
  for (const char* model : {"RTC/PTC", "CTC"}) {
    Speak(model);
    ASSERT_EQ(device->Connect(), S_OK);
    EXPECT_EQ(driver->ReadChannel(1).code, jofrartcptcCtlErrNoMeasAvailable) << model;
    EXPECT_EQ(driver->ReadChannel(0).code, S_OK) << model;
    device->Disconnect();
  }
}

TEST_F(Jofra, EveryTextOfItsErrors) {
  struct Case {
    HRESULT code;
    const char* text;
    const char* french;
    const char* short_text;
  };
  const Case cases[] = {
      {jofrartcptcCtlErrNotJofraRtcPtc, "Device connected is not a JOFRA RTC/PTC",
       "L'appareil connecté n'est pas un JOFRA RTC/PTC", "NOT_JOFRA_RTC_PTC"},
      {jofrartcptcCtlErrNotJofraCtc, "Device connected is not a JOFRA CTC",
       "L'appareil connecté n'est pas un JOFRA CTC", "NOT_JOFRA_CTC"},
      {jofrartcptcErrExceptionCode, "", "", ""},
      {flukehydraCtlErrNack, "", "", ""},
  };
  for (const Case& c : cases) {
    EXPECT_EQ(ErrorText(c.code, false), c.text);
    EXPECT_EQ(ErrorText(c.code, true), c.short_text);
    EXPECT_EQ(Utf8FromAnsi(FrenchErrorText(c.code)), c.french);
  }
}

}  // namespace
}  // namespace ulix::jofrartcptc
