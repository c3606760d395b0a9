// The ADT761 driver: its pure protocol, then whole exchanges with the simulated calibrator over an in-process line.
#include <gtest/gtest.h>

#include <cmath>

#include "drivers/others/adt761/protocol.h"
#include "drivers/others/adt761/tables.h"
#include "simulators/adt761.h"
#include "tests/support/line_bench.h"

namespace ulix::adt761 {
namespace {

// A frame with its prefix and NUL, as it goes over the line.
std::string Frame(const std::string& text) { return '\x01' + text + '\0'; }

TEST(Adt761Protocol, KnowsItselfARefusalAndOthers) {
  EXPECT_EQ(ParseIntroduction(":F:OTYPE:Additel 761"), Introduction::kAdt761);
  EXPECT_EQ(ParseIntroduction("x:F:OTYPE:Additel 761:more"), Introduction::kAdt761);
  EXPECT_EQ(ParseIntroduction(":E:OTYPE"), Introduction::kRefused);
  for (const char* other : {"", ":", "F:OTYPE:Additel 761", ":F:OTYPE", ":F:OTYPE:Additel 760", ":F:OTYPE:Additel 7610",
                            ":F:TYPE:Additel 761", ":f:OTYPE:Additel 761", ":Error:OTYPE"}) {
    EXPECT_EQ(ParseIntroduction(other), Introduction::kOther) << other;
  }
}

TEST(Adt761Protocol, WholeWordsComeBeforeTheLongestPart) {
  for (const Unit& unit : kUnits) EXPECT_EQ(FindUnit(unit.word), &unit) << unit.word;
  for (const Item& item : kItems) EXPECT_EQ(&FindItem(item.word), &item) << item.word;
  const std::pair<const char*, const char*> parts[] = {{"KPAG", "kPa"},     {"mmHG", "mmHg"},   {"INHG ", "inHg"},
                                                       {"INH2O4", "inH2O"}, {"MMH2O", "mmH2O"}, {"MBARA", "mbar"}};
  for (const auto& [word, display] : parts) EXPECT_STREQ(FindUnit(word)->display, display) << word;
  EXPECT_STREQ(FindItem("HPM1").word, "HPM");
  EXPECT_STREQ(FindItem("SWITCH").word, "SW");
  EXPECT_EQ(FindUnit(""), nullptr);
  EXPECT_EQ(&FindItem("OHM"), &kOtherItem);
}

TEST(Adt761Protocol, ReadsEachFormOfAnswer) {
  struct Case {
    const char* answer;
    const char* query;
    ChannelId channel;
    float value;
  };
  const Case good[] = {
      {":F:MVAL:-1.5:V", ":R:MVAL", 0, -1.5F},
      {":F:2.5:V", ":R:MVAL", 0, 2.5F},
      {":F:MVAL: 1.5 :V", ":R:MVAL", 0, 1.5F},
      {":F:MVAL:3:closed", ":R:MVAL", 1, 3.0F},
      {":F:HPMVALUE:7.5:MPA", ":R:HPMVALUE", 3, 7.5F},
      {":F:SMAPOWER:1", ":R:SMAPOWER", 6, 1.0F},
      {":F:250.25", ":R:CSV", 9, 250.25F},
      {":F:ORUNKIND:2:x", ":R:ORUNKIND", 8, 2.0F},
  };
  for (const Case& c : good) {
    const auto got = ParseReading(c.answer, c.query, kReadings[c.channel]);
    ASSERT_TRUE(got) << c.answer;
    EXPECT_EQ(got->value, c.value) << c.answer;
  }
  const Case bad[] = {
      {":E:MVAL", ":R:MVAL", 0, 0},
      {"", ":R:MVAL", 0, 0},
      {":F", ":R:MVAL", 0, 0},
      {":F:1.5", ":R:MVAL", 0, 0},
      {":F:MVAL:1.5x:V", ":R:MVAL", 0, 0},
      {":F:MVAL:NaN:V", ":R:MVAL", 0, 0},
      {":F:MVAL:1e39:V", ":R:MVAL", 0, 0},
      {":F:MVAL::V", ":R:MVAL", 0, 0},
      {":F:MVAL:1.5:MA", ":R:MVAL", 0, 0},
      {":F:OATMO:1.5:V", ":R:MVAL", 0, 0},
      {":F:MVAL:12:MA", ":R:LPMVALUE", 3, 0},
      {":F:SMAVALUE:12:KPA", ":R:SMAVALUE", 5, 0},
      {":F:1", ":R:SMAPOWER", 6, 0},
      {":F:O24POWER:1", ":R:SMAPOWER", 6, 0},
      {":F:NaN", ":R:CSV", 9, 0},
      {":F:", ":R:CSV", 9, 0},
      {":F:MITEM:V", ":R:CSV", 9, 0},
  };
  for (const Case& c : bad) {
    EXPECT_EQ(CodeOf(ParseReading(c.answer, c.query, kReadings[c.channel])), adt761CtlErrNoMeasAvailable) << c.answer;
  }
}

class Adt761 : public LineBench {
 protected:
  Adt761() : LineBench("adt761") {
    SetBench("noise", "0");
    Connect();
  }
  void Connect() {
    EXPECT_EQ(device->Connect(), S_OK);
    TakeSent();
  }
  // What reading the channel says, while the instrument measures `item`.
  std::string SaidWhile(const char* item, ChannelId channel, HRESULT result = S_OK) {
    SetBench("item", item);
    EXPECT_EQ(driver->ReadChannel(channel).code, result) << item << ' ' << channel;
    return TakeSent();
  }
};

TEST_F(Adt761, EachChannelIsReadWhileItsItemIsMeasured) {
  const std::string item = Frame(":R:MITEM");
  const std::string source = Frame(":R:SITEM");
  EXPECT_EQ(SaidWhile("V", 0), item + Frame(":R:MVAL"));
  EXPECT_EQ(SaidWhile("SW", 1), item + Frame(":R:MVAL"));
  EXPECT_EQ(SaidWhile("MA", 2), item + Frame(":R:MVAL"));
  EXPECT_EQ(SaidWhile("HPM", 3), item + Frame(":R:HPMVALUE"));
  EXPECT_EQ(SaidWhile("LPM", 3), item + Frame(":R:LPMVALUE"));
  for (const char* other : {"EPM", "HART", "V", "MA", "OHM"}) {
    EXPECT_EQ(SaidWhile(other, 3), item + Frame(":R:EPMVALUE")) << other;
  }
  EXPECT_EQ(SaidWhile("HPM", 4), item + Frame(":R:OATMO"));
  EXPECT_EQ(SaidWhile("V", 5), source + Frame(":R:SMAVALUE"));
  EXPECT_EQ(SaidWhile("V", 6), Frame(":R:SMAPOWER"));
  EXPECT_EQ(SaidWhile("V", 7), Frame(":R:O24POWER"));
  EXPECT_EQ(SaidWhile("V", 8), Frame(":R:ORUNKIND"));
  EXPECT_EQ(SaidWhile("V", 9), source + Frame(":R:CSV"));

  EXPECT_EQ(SaidWhile("MA", 0, adt761CtlErrNoMeasAvailable), item);
  EXPECT_EQ(SaidWhile("V", 1, adt761CtlErrNoMeasAvailable), item);
  EXPECT_EQ(SaidWhile("HART", 2, adt761CtlErrNoMeasAvailable), item);
  EXPECT_EQ(SaidWhile("SW", 4, adt761CtlErrNoMeasAvailable), item);
  EXPECT_EQ(SaidWhile("OHM", 0, adt761CtlErrNoMeasAvailable), item);
  EXPECT_EQ(SaidWhile("", 3, adt761CtlErrNoMeasAvailable), item);
  EXPECT_EQ(SaidWhile("V", 10, adt761CtlErrChNum), "");
  SetBench("refused", "SITEM");
  EXPECT_EQ(SaidWhile("V", 5, adt761CtlErrNoMeasAvailable), source);
  SetBench("refused", "");
  SetBench("set-point-text", "NaN");
  EXPECT_EQ(SaidWhile("V", 9, adt761CtlErrNoMeasAvailable), source + Frame(":R:CSV"));
  EXPECT_EQ(UnknownRequests(), std::vector<std::string>());
}

TEST_F(Adt761, UnitsOfPressuresComeWithThem) {
  EXPECT_EQ(driver->ChannelUnit(0) + driver->ChannelUnit(2) + driver->ChannelUnit(3), "VmA");
  SetBench("pressure-unit", "INH2O");
  EXPECT_EQ(driver->ReadChannel(kPressureChannel).value, 100.0F);
  EXPECT_EQ(driver->ReadChannel(kAtmosphereChannel).value, 101.3F);
  EXPECT_EQ(driver->ChannelUnit(kPressureChannel) + driver->ChannelUnit(kAtmosphereChannel), "inH2OkPa");
  EXPECT_EQ(driver->ChannelUnit(10), "");
  EXPECT_EQ(driver->ChannelResolution(10), 6);
}

TEST_F(Adt761, EachWriteHasItsWordsAndItsAcknowledgement) {
  struct Case {
    ChannelId channel;
    double value;
    std::string sent;
    const char* order;
  };
  const Case cases[] = {
      {4, 0, Frame(":W:CVENT:0"), "CVENT"},
      {4, -3, Frame(":W:CVENT:1"), "CVENT"},
      {5, 12.3456, Frame(":W:SMAVAL:12.346"), "SMAVAL"},
      {6, 1, Frame(":W:SMAPOWER:1"), "SMAPOWER"},
      {6, 0, Frame(":W:SMAPOWER:0"), "SMAPOWER"},
      {7, 1, Frame(":W:O24POWER:1"), "O24POWER"},
      {9, -100.125, Frame(":W:OIPMUNIT:1") + Frame(":W:CSV:-100.12"), "CSV"},
  };
  for (const Case& c : cases) {
    EXPECT_EQ(device->SetChanVal(c.channel, c.value), S_OK);
    EXPECT_EQ(TakeSent(), c.sent);
    SetBench("refused", c.order);
    EXPECT_EQ(device->SetChanVal(c.channel, c.value), adt761CtlErrNack) << c.order;
    SetBench("refused", "");
    TakeSent();
  }
  SetBench("refused", "OIPMUNIT");
  EXPECT_EQ(device->SetChanVal(9, 1.0), adt761CtlErrNack);
  EXPECT_EQ(TakeSent(), Frame(":W:OIPMUNIT:1")) << "no set point in another unit";
  for (const ChannelId input : {0U, 1U, 2U, 3U, 8U}) {
    EXPECT_EQ(device->SetChanVal(input, 1.0), E_INVALIDARG);
    EXPECT_EQ(driver->WriteChannel(input, 1.0F), adt761CtlErrChNum);
  }
  EXPECT_EQ(device->SetChanVal(10, 1.0), E_INVALIDARG);
  EXPECT_EQ(driver->WriteChannel(10, 1.0F), adt761CtlErrChNum);
  EXPECT_EQ(driver->WriteChannel(9, NAN), adt761CtlErrOutOfRange);
  EXPECT_EQ(TakeSent(), "");
}

TEST_F(Adt761, ConnectsAndHandsTheKeypadBack) {
  EXPECT_EQ(device->Disconnect(), S_OK);
  EXPECT_EQ(TakeSent(), Frame(":W:OKEYLOCK:0"));
  EXPECT_EQ(device->Connect(), S_OK);
  EXPECT_EQ(TakeSent(), Frame(":R:OTYPE"));
  std::string text;
  EXPECT_EQ(device->Identify(&text), S_OK);
  EXPECT_EQ(text, ":F:OTYPE:Additel 761");
  device->Disconnect();

  SetBench("type", "Additel 760");
  EXPECT_EQ(device->Connect(), adt761CtlErrNotAdt761);
  SetBench("refused", "OTYPE");
  EXPECT_EQ(device->Connect(), S_OK) << "refused without an error";
  EXPECT_FALSE(IsConnected());
  EXPECT_FALSE(driver->LinkIsOpen());
  EXPECT_EQ(device->SetChanVal(9, 1.0), E_UNEXPECTED);
  TakeSent();
  Set("link-mode", "port-only");
  EXPECT_EQ(device->Connect(), S_OK);
  EXPECT_TRUE(IsConnected());
  EXPECT_EQ(TakeSent(), "");
}

TEST_F(Adt761, ThePrefixIsASetting) {
  device->Disconnect();
  TakeSent();
  Set("frame-prefix", "2");
  EXPECT_EQ(device->Connect(), serialCommErrUnableToReadComm) << "not what the instrument listens to";
  SetBench("frame-prefix", "2");
  EXPECT_EQ(device->Connect(), S_OK);
  EXPECT_EQ(TakeSent(), std::string("\2:R:OTYPE\0\2:R:OTYPE\0", 20));
}

// A port that another program has for a while, and a user who reads what he is told.
class Adt761Opening : public testing::Test, public UserInterface {
 protected:
  HRESULT ConnectWhenRefused(int refusals) {
    const auto bench = std::make_shared<SimulatedBench>(FindSimulator("adt761")(clock), clock);
    DriverServices services;
    services.clock = &clock;
    services.open_serial_port = [this, refusals, open = OpenerOf(bench)](int port) {
      return ++attempts > refusals ? open(port) : platform::OpenResult{};
    };
    attempts = 0;
    warnings.clear();
    Instrument device(FindModel("adt761")->create(services), {.clock = &clock, .user_interface = this});
    const MonotonicTime before = clock.Now();
    const HRESULT result = device.Connect();
    took = clock.Now() - before;
    return result;
  }

  DialogResult EditGroup(Instrument&, std::uint32_t) override { return DialogResult::kCancel; }
  DialogResult EditOutChans(Instrument&) override { return DialogResult::kCancel; }
  DialogResult EditCommParams(Instrument&) override { return DialogResult::kCancel; }
  DialogResult EditCfg(Instrument&) override { return DialogResult::kCancel; }
  void ShowProperties(Instrument&) override {}
  bool Progress(int) override { return true; }
  void Warn(Instrument&, const std::string& text) override { warnings.push_back(text); }

  ManualClock clock{ManualClock::Mode::kAutomatic};
  int attempts = 0;
  std::vector<std::string> warnings;
  MonotonicTime::duration took{};
};

TEST_F(Adt761Opening, IsTriedElevenTimesASecondApartAndWarnsFromTheFifthOn) {
  EXPECT_EQ(ConnectWhenRefused(3), S_OK);
  EXPECT_EQ(warnings, std::vector<std::string>());
  EXPECT_EQ(ConnectWhenRefused(4), S_OK);
  EXPECT_EQ(warnings, std::vector<std::string>{"The serial port could be opened after several attempts only"});
  EXPECT_EQ(took, Milliseconds(4000));
  EXPECT_EQ(ConnectWhenRefused(10), S_OK);
  EXPECT_EQ(warnings.size(), 1U);
  EXPECT_EQ(ConnectWhenRefused(11), serialCommErrUnableToOpenComm);
  EXPECT_EQ(attempts, 11);
  EXPECT_EQ(warnings.size(), 0U);
}

TEST_F(Adt761, EveryTextOfItsErrors) {
  const std::tuple<HRESULT, const char*, const char*> cases[] = {
      {adt761CtlErrNotAdt761, "Device connected is not an Adt761 calibrator", "NOT_ADT761"},
      {adt761CtlErrNack, "Negative acknowledge", "NEG_ACKNOWLEDGE"},
      {adt761CtlErrOutOfRange, "The parameter or set point is out of range", "OUT_OF_RANGE"},
      {adt761CtlErrChNum, "Invalid channel number", "WRONG_CHAN_NUM"},
      {adt761CtlErrNoMeasAvailable, "No measure available", "NO_MEAS_AVAILABLE"},
      {serialCommErrUnableToReadComm, "Unable to read answer", "UNABLE_TO_READ_COMM"},
      {adt761CtlErrWinUsbNotLoaded, "", ""},  // the other model's, for all its name
      {winUsbCommErrUnableToReadComm, "", ""},
      {adt761ErrExceptionCode, "", ""},
  };
  for (const auto& [code, text, short_text] : cases) {
    EXPECT_EQ(ErrorText(code, false), text);
    EXPECT_EQ(ErrorText(code, true), short_text);
  }
  EXPECT_EQ(FrenchErrorText(adt761CtlErrNack), "Acquittement n\xE9gatif");
}

}  // namespace
}  // namespace ulix::adt761
