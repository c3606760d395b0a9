// The Jofra driver: its protocol, then exchanges with the simulated instrument of both series.
#include <gtest/gtest.h>

#include <cmath>

#include "drivers/others/jofrartcptc/protocol.h"
#include "tests/support/line_bench.h"

namespace ulix::jofrartcptc {
namespace {

TEST(JofraProtocol, EachChannel_IsFoundAtItsPlaceInTheReply) {
  constexpr const char* kLive =
      "<GetResponse LiveSensors 2 3 4 5.5 6 7 8 9 10 11 12 13 14 -15.25 16 17 18 19 20 21 22 23 24>";
  EXPECT_EQ(ParseReading(kRtc, kLive, kRtcPlaces[0]).value(), 5.5F);
  EXPECT_EQ(ParseReading(kRtc, kLive, kRtcPlaces[1]).value(), -15.25F);
  EXPECT_EQ(ParseReading(kRtc, kLive, kRtcPlaces[2]).value(), 24.0F) << "the closing bracket is not part of the number";
  constexpr const char* kReadings = "23.12, CEL, 323.15, KEL, 122.0, FAR, 1, -40.0, FAR";
  EXPECT_EQ(ParseReading(kCtc, kReadings, kCtcPlaces[0]).value(), 50.0F);
  EXPECT_EQ(ParseReading(kCtc, kReadings, kCtcPlaces[1]).value(), -40.0F);
  EXPECT_EQ(ParseReading(kCtc, kReadings, kCtcPlaces[2]).value(), 50.0F);
  EXPECT_EQ(ParseReading(kCtc, kReadings, kCtcPlaces[3]).value(), 23.12F);
  for (const char* none :
       {"0, CEL, 1x, CEL, 1", "0, CEL, 1, RAN, 1", "0, CEL, 1", "0, CEL, inf, CEL", "0, CEL, 1e39, CEL"}) {
    EXPECT_EQ(CodeOf(ParseReading(kCtc, none, kCtcPlaces[kTargetChannel])), serialCommErrUnableToReadComm) << none;
  }
}

// Each of these replies has a number at the channel's place.
TEST(JofraProtocol, ReplyThatIsNotWholeOrNotOfTheQuery_HasNoValue) {
  const std::string live =
      "<GetResponse LiveSensors 2 3 4 5.5 6 7 8 9 10 11 12 13 14 15 16 17 18 19 20 21 22 23 24 25>";
  for (const std::string& bad : {live.substr(0, live.size() - 1), live.substr(0, 60), live + live, "x" + live,
                                 "<SetResponse SETTemperature>" + live, live + "<SetResponse SETTemperature>",
                                 "<GetResponse Other" + live.substr(live.find(" 2"))}) {
    EXPECT_EQ(CodeOf(ParseReading(kRtc, bad, kRtcPlaces[0])), serialCommErrUnableToReadComm) << bad;
  }
  const std::string readings = "23.12, CEL, 50.00, CEL, 49.98, CEL, 1, 50.03, CEL";
  EXPECT_EQ(ParseReading(kCtc, readings, kCtcPlaces[3]).value(), 23.12F);
  for (const std::string& bad : {std::string("50.00, CEL"), "50.00, CEL, " + readings, readings.substr(13),
                                 readings.substr(0, readings.size() - 1), "REMOTE, " + readings}) {
    EXPECT_EQ(CodeOf(ParseReading(kCtc, bad, kCtcPlaces[3])), serialCommErrUnableToReadComm) << bad;
  }
}

TEST(JofraProtocol, SetPoint_HasTwoDecimalsInTheUnitOfTheSeries) {
  EXPECT_EQ(SetPointCommand(kRtc, 50.126F).value(), "Settemperature 50.13");
  EXPECT_EQ(SetPointCommand(kRtc, -25.0F).value(), "Settemperature -25.00");
  EXPECT_EQ(SetPointCommand(kCtc, 50.0F).value(), "SETTEMP 323.15 KEL");
  for (const float bad : {-274.0F, INFINITY, NAN}) {
    EXPECT_EQ(CodeOf(SetPointCommand(kRtc, bad)), jofrartcptcCtlErrOutOfRange);
  }
}

TEST(JofraProtocol, PartOfAnAnswerBeforeAWholeOne_GivesNoValue) {
  std::string whole = "<GetResponse LiveSensors";
  for (int field = 2; field < 26; ++field) whole += " " + std::to_string(field);
  whole += ">";
  ASSERT_EQ(ParseReading(kRtc, whole, kRtcPlaces[0]).value_or(0), 5.0F);
  const auto behind_part = ParseReading(kRtc, "<GetResponse LiveSensors 7 8 9 10 11 " + whole, kRtcPlaces[0]);
  EXPECT_EQ(CodeOf(behind_part), serialCommErrUnableToReadComm);
}

TEST(JofraProtocol, SetPointAnswer_ConfirmsTheSameTenthOfADegreeOnly) {
  EXPECT_TRUE(ConfirmsSetPoint(kRtc, "<GetResponse SETTemperature 50.00>", 50.0F));
  EXPECT_FALSE(ConfirmsSetPoint(kRtc, "<GetResponse SETTemperature 50.00", 50.0F)) << "the closing bracket is missing";
  EXPECT_FALSE(ConfirmsSetPoint(kRtc, "<GetResponse SETTemperature 20.00>", 50.0F));
  EXPECT_FALSE(ConfirmsSetPoint(kRtc, "<GetResponse SETTemperature>", 50.0F));
  for (const char* told : {"50.0, CEL", "50.04 CEL", "122.0, FAR", "323.15, KEL"}) {
    EXPECT_TRUE(ConfirmsSetPoint(kCtc, told, 50.0F)) << told;
  }
  for (const char* told : {"50.2, CEL", "50.0", "50.0, XYZ", "50.0, CEL, 1", "50.0, FAR", "NaN, CEL", ""}) {
    EXPECT_FALSE(ConfirmsSetPoint(kCtc, told, 50.0F)) << told;
  }
  for (float value = -40.0F; value < 160.0F; value += 0.35F) {
    const auto command = SetPointCommand(kCtc, value);
    EXPECT_TRUE(ConfirmsSetPoint(kCtc, command->substr(8), value)) << value << ": the echo of the command confirms it";
  }
}

class Jofra : public LineBench {
 protected:
  Jofra() : LineBench("jofrartcptc") {}
};

TEST_F(Jofra, BothSeries_ReportMissingSensorsAndUnreachedSetPoints) {
  SetBench("line-feed", "on");  // Replies end with carriage return and line feed.
  SetBench("sensor-connected", "off");
  for (const char* model : {"RTC/PTC", "CTC"}) {
    SCOPED_TRACE(model);
    Set("model", model);
    SetBench("model", model);
    ASSERT_EQ(device->Connect(), S_OK);
    EXPECT_EQ(driver->ReadChannel(1).code, jofrartcptcCtlErrNoMeasAvailable);
    EXPECT_EQ(driver->ReadChannel(0).code, S_OK);
    EXPECT_EQ(device->SetChanVal(2, 20.0F), S_OK);
    SetBench("stuck", "on");
    EXPECT_EQ(device->SetChanVal(2, 70.0F), jofrartcptcCtlErrNack);
    SetBench("stuck", "off");
    TakeSent();
    EXPECT_EQ(device->SetChanVal(2, -300.0F), jofrartcptcCtlErrOutOfRange);
    EXPECT_EQ(TakeSent(), "");
    EXPECT_EQ(device->Disconnect(), S_OK);
  }
}

}  // namespace
}  // namespace ulix::jofrartcptc
