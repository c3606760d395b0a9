// The ADT761 driver: its protocol, then its connection and readings with the simulated calibrator.
#include <gtest/gtest.h>

#include <cmath>

#include "drivers/others/adt761/protocol.h"
#include "drivers/others/adt761/tables.h"
#include "tests/support/line_bench.h"

namespace ulix::adt761 {
namespace {

// A frame with its prefix and NUL, as it goes over the line.
std::string Frame(const std::string& text) { return '\x01' + text + '\0'; }

TEST(Adt761Protocol, UnitAndItemNames_MatchWholeExceptMercuryAndWater) {
  for (const Unit& unit : kUnits) EXPECT_EQ(&FindUnit(unit.word), &unit) << unit.word;
  for (const Item& item : kItems) EXPECT_EQ(&FindItem(item.word), &item) << item.word;
  for (const auto& [word, display] :
       {std::pair{"MMHG", "mmHg"}, {"INHGA", "inHg"}, {"INH2O4", "inH2O"}, {"CMH2O", "mmH2O"}}) {
    EXPECT_STREQ(FindUnit(word).display, display) << word;
  }
  for (const char* other : {"", "MV", "KPAG", "SV", "mPa"}) EXPECT_EQ(&FindUnit(other), &kNoUnit) << other;
  EXPECT_EQ(&FindItem("OHM"), &kOtherItem);
}

TEST(Adt761Protocol, Reading_IsOneWholeFrameWithAUnitOfItsChannel) {
  const auto unit_of = [](const char* answer, ChannelId channel) {
    const auto measured = ParseReading(answer, ":R:MVAL", kReadings[channel]);
    EXPECT_EQ(measured ? measured->value : -1, 1.5F) << answer;
    return measured ? measured->unit->display : "none";
  };
  EXPECT_STREQ(unit_of(":F:MVAL:1.5:V", 0), "V");
  EXPECT_STREQ(unit_of(":F:MVAL:1.5:MV", 0), "");
  EXPECT_STREQ(unit_of(":F:MVAL:1.5:V", 1), "") << "a switch test in volts";
  for (const char* bad :
       {":F:MVAL:1.5:V:F:MVAL:2.5:V", ":F:MVAL:1.5V", "x:F:MVAL:1.5:V", ":F:MVAL:1,5:V", ":F:MVAL:1.5 2:V",
        ":F:MVAL:1.5\a:V", ":F:MITEM:1.5:V", ":F:MVAL:700:1.5:V", ":F:700:1.5:V", ":F:MVAL:9.91E37:V"}) {
    EXPECT_EQ(CodeOf(ParseReading(bad, ":R:MVAL", kReadings[0])), adt761CtlErrNoMeasAvailable) << bad;
  }
  EXPECT_TRUE(ParseReading(":F:MVAL:DC:1.5:V", ":R:MVAL", kReadings[0])) << "a word before the last two fields";
  for (const char* bad : {":F:SMAPOWER:1:0", ":F:SMAPOWER", ":F:O24POWER:1"}) {
    EXPECT_FALSE(ParseReading(bad, ":R:SMAPOWER", kReadings[6])) << bad;
  }
  for (const char* bad : {":F:250:75", ":F:"}) {
    EXPECT_FALSE(ParseReading(bad, ":R:CSV", kReadings[kSetPointChannel])) << bad;
  }
}

class Adt761 : public LineBench {
 protected:
  Adt761() : LineBench("adt761") {
    SetBench("noise", "0");
    EXPECT_EQ(device->Connect(), S_OK);
    TakeSent();
  }
};

TEST_F(Adt761, Units_FollowTheInstrument) {
  SetBench("pressure-unit", "INH2O");
  EXPECT_EQ(driver->ReadChannel(kPressureChannel).value, 100.0F);
  EXPECT_EQ(driver->ReadChannel(kAtmosphereChannel).value, 101.3F);
  EXPECT_EQ(driver->ChannelUnit(kPressureChannel) + driver->ChannelUnit(kAtmosphereChannel), "inH2OkPa");
  for (const auto& [channel, value] : {std::pair{5U, 12.5F}, {6U, 1.0F}, {7U, 0.0F}, {9U, -100.5F}}) {
    EXPECT_EQ(device->SetChanVal(channel, value), S_OK);
    EXPECT_EQ(driver->ReadChannel(channel).value, value) << channel;
  }
}

// The set point would be taken in another unit.
TEST_F(Adt761, UnitCommandRefused_NoSetPointIsSent) {
  SetBench("pressure-unit", "INH2O");
  SetBench("refused", "OIPMUNIT");
  TakeSent();
  EXPECT_EQ(device->SetChanVal(9, 1.0), adt761CtlErrNack);
  EXPECT_EQ(TakeSent(), Frame(":W:OIPMUNIT:1"));
  EXPECT_EQ(driver->WriteChannel(9, NAN), adt761CtlErrOutOfRange);
}

TEST_F(Adt761, Disconnect_UnlocksTheKeypad) {
  EXPECT_EQ(device->Disconnect(), S_OK);
  EXPECT_EQ(TakeSent(), Frame(":W:OKEYLOCK:0"));
}

TEST_F(Adt761, InstrumentOfAnotherType_IsNotAdt761) {
  EXPECT_EQ(device->Disconnect(), S_OK);
  TakeSent();
  SetBench("type", "Additel 760");
  EXPECT_EQ(device->Connect(), adt761CtlErrNotAdt761);
  EXPECT_EQ(TakeSent(), Frame(":R:OTYPE"));
}

TEST_F(Adt761, TypeQueryRefused_StaysDisconnectedWithoutAnError) {
  EXPECT_EQ(device->Disconnect(), S_OK);
  SetBench("refused", "OTYPE");
  EXPECT_EQ(device->Connect(), S_OK);
  EXPECT_FALSE(IsConnected());
  EXPECT_FALSE(driver->LinkIsOpen());
}

TEST_F(Adt761, FramePrefixOfAnotherInstrument_IsUnableToRead) {
  EXPECT_EQ(device->Disconnect(), S_OK);
  Set("frame-prefix", "2");
  EXPECT_EQ(device->Connect(), serialCommErrUnableToReadComm);
}

TEST_F(Adt761, PortOnly_ConnectsWithoutAQuery) {
  EXPECT_EQ(device->Disconnect(), S_OK);
  TakeSent();
  Set("link-mode", "port-only");
  EXPECT_EQ(device->Connect(), S_OK);
  EXPECT_TRUE(IsConnected());
  EXPECT_EQ(TakeSent(), "");
}

}  // namespace
}  // namespace ulix::adt761
