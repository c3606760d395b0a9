// The ADT760 driver: its pure protocol, then whole exchanges, over a recorded helper library and with the simulated
// calibrator.
#include <gtest/gtest.h>

#include <cmath>
#include <thread>

#include "core/instrument.h"
#include "drivers/others/adt760/driver.h"
#include "drivers/others/adt760/protocol.h"
#include "tests/support/fake_usb_library.h"
#include "tests/support/line_bench.h"

namespace ulix::adt760 {
namespace {

using Calls = std::vector<std::string>;

TEST(Adt760Protocol, FindsTheLongestWordOfAFunction) {
  const std::pair<const char*, const char*> cases[] = {
      {"CURRENT:SIMULATE\n", "CURR:SOUR?\n"},
      {"current:source", "CURR:SOUR?\n"},
      {"CURRENT", "MEAS:CURR?\n"},
      {"Voltage\n", "MEAS:VOLT?\n"},
      {"\"SWITCH:PNP\"", "MEAS:SWIT:PNP?\n"},
      {"SWITCH:REGULAR", "MEAS:SWIT:REG?\n"},
      {"SWITCH:NPN", "MEAS:SWIT:NPN?\n"},
  };
  for (const auto& [answer, query] : cases) {
    const ElectricalFunction* function = FindFunction(answer);
    ASSERT_NE(function, nullptr) << answer;
    EXPECT_STREQ(function->query, query) << answer;
  }
  for (const char* other : {"", "SWITCH", "CURR", "VOLT\n"}) EXPECT_EQ(FindFunction(other), nullptr) << other;
}

TEST(Adt760Protocol, ReadsANumberOrSaysThatThereIsNone) {
  EXPECT_EQ(ParseReading("1013.25\n", 0), 1013.25F);
  EXPECT_EQ(ParseReading("  -2.5E+1 mbar", 5), -25.0F);
  for (const std::string bad : {"", "\n", "mbar 5", "nan", "inf", "1e39", "---"}) {
    EXPECT_EQ(CodeOf(ParseReading(bad, 0)), adt760CtlErrNoMeasAvailable) << bad;
  }
  EXPECT_EQ(CodeOf(ParseReading(std::string(75, ' ') + "12.34", 0)), adt760CtlErrNoMeasAvailable) << "cut";
  EXPECT_EQ(ParseReading("12.34" + std::string(74, ' ') + "\n", 0), 12.34F);
  EXPECT_EQ(ParseReading("vent\n", kVentChannel), 1.0F);
  EXPECT_EQ(ParseReading("MEASURE\n", kVentChannel), 0.0F);
}

TEST(Adt760Protocol, OnlyANumberAtItsStartMakesAnErrorOfAQueue) {
  for (const char* none : {"0,\"No error\"\n", "+0", " 00", "-0,1", "", "No error", "0.7", ",5"}) {
    EXPECT_EQ(CheckErrorQueue(none), S_OK) << none;
  }
  for (const char* error : {"-113,\"Undefined header\"\n", "1", " +200", "99999999999999999999"}) {
    EXPECT_EQ(CheckErrorQueue(error), adt760CtlErrScpiCmde) << error;
  }
}

// Over the entries of a real library file.
class Adt760Calls : public testing::Test {
 protected:
  Adt760Calls() {
    usb.answers = {{"*IDN?", "Additel,HPC-HOST,1,2"}, {"SYST:ERR?", "0,\"No error\""}};
    DriverServices services;
    services.load_usb_library = usb.Loader();
    auto made = std::make_unique<Adt760Driver>(services);
    driver = made.get();
    device = std::make_unique<Instrument>(std::move(made));
  }
  void Connect() {
    ASSERT_EQ(device->Connect(), S_OK);
    usb.TakeCalls();
    usb.TakeWritten();
  }
  void Set(const char* key, const char* value) {
    ASSERT_EQ(device->settings().SetText(*device->settings().Find(key), value), S_OK);
  }
  bool IsConnected() {
    std::int32_t connected = 0;
    EXPECT_EQ(device->IsConnected(&connected), S_OK);
    return connected != 0;
  }
  std::string CommInfo() {
    std::string info;
    EXPECT_EQ(device->GetCommInfo(&info), S_OK);
    return info;
  }

  FakeUsbLibrary usb;
  std::unique_ptr<Instrument> device;
  Adt760Driver* driver = nullptr;  // the device's own
};

TEST_F(Adt760Calls, ConnectsAndIdentifies) {
  ASSERT_EQ(device->Connect(), S_OK);
  EXPECT_EQ(usb.TakeCalls(), (Calls{"GetInterfaceGuid", "Connect", "Flush", "SetTimeout 1 1", "Read 80",
                                    "SetTimeout 3 5000", "Write *CLS", "Write *IDN?", "Read 80"}));
  EXPECT_EQ(usb.TakeWritten(), "*CLS\n*IDN?\n");
  EXPECT_EQ(CommInfo(), "GUID:00000001-0002-0003-0405-060708090A0B VENDOR_ID:0483 PRODUCT_ID:5740");
  std::string text;
  EXPECT_EQ(device->Identify(&text), S_OK);
  EXPECT_EQ(text, "Additel,HPC-HOST,1,2");
  EXPECT_EQ(device->Disconnect(), S_OK);
  EXPECT_EQ(usb.calls.back(), "Disconnect");
  EXPECT_EQ(CommInfo(), "GUID:00000000-0000-0000-0000-000000000000 VENDOR_ID:0000 PRODUCT_ID:0000");
}

TEST_F(Adt760Calls, TheConfigurationCanNameTheDeviceAndLeaveItUnasked) {
  Set("guid", "F06E89B5-6258-4CE7-83AA-248D25DEBF60");
  Set("vendor-id", "1155");
  Set("identify", "no");
  MemoryStream stream;
  ASSERT_EQ(device->Save(stream), S_OK);
  ASSERT_EQ(device->InitNew(), S_OK);
  MemoryStream saved(stream.bytes());
  ASSERT_EQ(device->Load(saved), S_OK);
  usb.answers = {{"*IDN?", "another"}};
  ASSERT_EQ(device->Connect(), S_OK);
  EXPECT_EQ(usb.TakeCalls(),
            (Calls{"Connect", "Flush", "SetTimeout 1 1", "Read 80", "SetTimeout 3 5000", "Write *CLS"}));
  EXPECT_EQ(CommInfo(), "GUID:F06E89B5-6258-4CE7-83AA-248D25DEBF60 VENDOR_ID:0483 PRODUCT_ID:0000");
  EXPECT_EQ(device->Disconnect(), S_OK);
  usb.TakeCalls();
  Set("guid", "no GUID");
  EXPECT_EQ(device->Connect(), winUsbCommErrGuidNotFound);
  EXPECT_EQ(usb.TakeCalls(), Calls());
}

TEST_F(Adt760Calls, AFailedConnectionClosesTheDeviceAndFiresItsError) {
  struct Case {
    const char* step;
    const char* identification;
    HRESULT code;
  };
  const Case cases[] = {
      {"Write *CLS", "HPC-HOST", winUsbCommErrUnableToWriteComm},
      {"Write *IDN?", "HPC-HOST", winUsbCommErrUnableToWriteComm},
      {"", nullptr, winUsbCommErrUnableToReadComm},
      {"", "HPC-HOS", adt760CtlErrNotAdt760},
      {"Flush", "HPC-HOST", winUsbCommErrUnableToFlushComm},
  };
  for (const Case& c : cases) {
    SCOPED_TRACE(testing::Message() << c.step << ' ' << (c.identification ? c.identification : "silence"));
    usb.failing = {{c.step, E_FAIL}};
    usb.answers.clear();
    if (c.identification) usb.answers = {{"*IDN?", c.identification}};
    EXPECT_EQ(device->Connect(), c.code);
    EXPECT_EQ(usb.calls.back(), "Disconnect");
    EXPECT_FALSE(IsConnected());
    EXPECT_FALSE(driver->LinkIsOpen());
  }
}

TEST(Adt760WithoutLibrary, SaysSoWithACodeOfItsOwn) {
  DriverServices services;
  services.load_usb_library = [] { return LoadUsbLibrary(TestUsbFolder("nowhere")); };
  Instrument device(std::make_unique<Adt760Driver>(services));
  EXPECT_EQ(device.Connect(), adt761CtlErrWinUsbNotLoaded);
  std::int32_t unknown = 1;
  std::string text;
  EXPECT_EQ(device.GetErrorText(adt761CtlErrWinUsbNotLoaded, true, &unknown, &text), S_OK);
  EXPECT_EQ(text, "WINUSB_NOT_LOADED");
  Adt760Driver driver(services);
  EXPECT_EQ(driver.ReadChannel(0).code, adt761CtlErrWinUsbNotLoaded);
  EXPECT_EQ(driver.WriteChannel(kSetPointChannel, 1.0F), adt761CtlErrWinUsbNotLoaded);
}

TEST_F(Adt760Calls, EachChannelIsAskedItsOwnQuestion) {
  Connect();
  for (ChannelId id = 0; id < 6; ++id) {
    const std::string query = "MEAS:PRES" + std::to_string(id + 1) + "?";
    usb.answers[query] = std::to_string(id) + ".5";
    const Reading reading = driver->ReadChannel(id);
    EXPECT_EQ(reading.code, S_OK);
    EXPECT_EQ(reading.value, static_cast<float>(id) + 0.5F);
    EXPECT_EQ(usb.TakeWritten(), "*CLS\n" + query + "\nSYST:ERR?\n");
  }
  usb.answers["SOUR:PRES?"] = "1500.25";
  EXPECT_EQ(driver->ReadChannel(kSetPointChannel).value, 1500.25F);
  usb.answers["CURR:SOUR?"] = "4.5";
  EXPECT_EQ(driver->ReadChannel(kCurrentChannel).value, 4.5F);
  usb.answers["OUTP:MODE?"] = "VENT";
  EXPECT_EQ(driver->ReadChannel(kVentChannel).value, 1.0F);
  EXPECT_EQ(usb.TakeWritten(),
            "*CLS\nSOUR:PRES?\nSYST:ERR?\n*CLS\nCURR:SOUR?\nSYST:ERR?\n*CLS\nOUTP:MODE?\nSYST:ERR?\n");
  EXPECT_EQ(driver->ReadChannel(10).code, adt760CtlErrChNum);
  EXPECT_EQ(usb.TakeWritten(), "");
  EXPECT_EQ(driver->ChannelUnit(0) + driver->ChannelUnit(7) + driver->ChannelUnit(8) + driver->ChannelUnit(9),
            "mbarmbarmA");
}

TEST_F(Adt760Calls, TheElectricalInputIsAskedWhatItIs) {
  Connect();
  usb.answers["SENS:ELEC:FUNC?"] = "CURRENT:SOURCE";
  usb.answers["CURR:SOUR?"] = "4.25";
  EXPECT_EQ(driver->ReadChannel(kElectricalChannel).value, 4.25F);
  EXPECT_EQ(usb.TakeWritten(), "*CLS\nSENS:ELEC:FUNC?\nSYST:ERR?\n*CLS\nCURR:SOUR?\nSYST:ERR?\n");
  EXPECT_EQ(driver->ChannelUnit(kElectricalChannel), "mA");
  usb.answers["SENS:ELEC:FUNC?"] = "VOLTAGE";
  usb.answers["MEAS:VOLT?"] = "5";
  EXPECT_EQ(driver->ReadChannel(kElectricalChannel).value, 5.0F);
  EXPECT_EQ(driver->ChannelUnit(kElectricalChannel), "V");
  usb.TakeWritten();
  usb.answers["SENS:ELEC:FUNC?"] = "HART";
  EXPECT_EQ(driver->ReadChannel(kElectricalChannel).code, winUsbCommErrUnableToReadComm);
  usb.answers["SENS:ELEC:FUNC?"] = "VOLTAGE";
  usb.answers["SYST:ERR?"] = "-100,\"Command error\"";
  EXPECT_EQ(driver->ReadChannel(kElectricalChannel).code, adt760CtlErrScpiCmde);
  EXPECT_EQ(usb.TakeWritten(), "*CLS\nSENS:ELEC:FUNC?\n*CLS\nSENS:ELEC:FUNC?\nSYST:ERR?\n");
}

TEST_F(Adt760Calls, AReadingFailsWithTheFirstThingThatFailed) {
  Connect();
  usb.answers["MEAS:PRES1?"] = "1.5";
  usb.answers["SYST:ERR?"] = "-222,\"Data out of range\"";
  EXPECT_EQ(driver->ReadChannel(0).code, adt760CtlErrScpiCmde) << "even with a good value";
  EXPECT_EQ(driver->LastError(), "-222,\"Data out of range\"\n");
  usb.answers["MEAS:PRES1?"] = "----";
  EXPECT_EQ(driver->ReadChannel(0).code, adt760CtlErrNoMeasAvailable);
  usb.answers["SYST:ERR?"] = "No error";
  EXPECT_EQ(driver->ReadChannel(0).code, adt760CtlErrNoMeasAvailable);
  usb.answers.erase("MEAS:PRES1?");
  EXPECT_EQ(driver->ReadChannel(0).code, winUsbCommErrUnableToReadComm);
  usb.answers["MEAS:PRES1?"] = "1.5";
  usb.answers.erase("SYST:ERR?");
  EXPECT_EQ(driver->ReadChannel(0).code, winUsbCommErrUnableToReadComm) << "no error queue";
  for (const char* step : {"Write *CLS", "Write MEAS:PRES1?"}) {
    usb.failing = {{step, E_FAIL}};
    EXPECT_EQ(driver->ReadChannel(0).code, winUsbCommErrUnableToWriteComm) << step;
  }
  usb.failing = {{"Read", kUsbBadIdentifier}};
  EXPECT_EQ(driver->ReadChannel(0).code, winUsbCommErrBadIdentifier);
}

TEST_F(Adt760Calls, WritesGoOutWithFiveDecimals) {
  Connect();
  EXPECT_EQ(device->SetChanVal(kSetPointChannel, 1200.5), S_OK);
  EXPECT_EQ(device->SetChanVal(kCurrentChannel, -0.1), S_OK);
  EXPECT_EQ(device->SetChanVal(kVentChannel, 0.5), S_OK);
  EXPECT_EQ(usb.TakeWritten(),
            "*CLS\nSOUR:PRES 1200.50000\nSYST:ERR?\n*CLS\nCURR:SOUR -0.10000\nSYST:ERR?\n*CLS\nOUTP:MODE VENT\n"
            "SYST:ERR?\n");
  EXPECT_EQ(device->SetChanVal(kVentChannel, std::int64_t{0}), S_OK);
  EXPECT_EQ(usb.TakeWritten(), "*CLS\n") << "venting is never ended";
  usb.answers["SYST:ERR?"] = "-222,\"Data out of range\"";
  EXPECT_EQ(device->SetChanVal(kSetPointChannel, 1e6), adt760CtlErrScpiCmde);
  usb.failing = {{"Write", E_FAIL}};
  EXPECT_EQ(device->SetChanVal(kVentChannel, std::int64_t{0}), winUsbCommErrUnableToWriteComm);
  usb.failing.clear();
  usb.TakeWritten();

  const ChannelId ids[] = {kSetPointChannel, 3};
  const Value values[] = {1.0, 2.0};
  EXPECT_EQ(device->SetChansVals(ids, values), adt760CtlErrChNum);
  for (ChannelId id = 0; id <= kElectricalChannel; ++id) EXPECT_EQ(device->SetChanVal(id, 1.0), adt760CtlErrChNum);
  EXPECT_EQ(device->SetChanVal(10, 1.0), E_INVALIDARG);
  EXPECT_EQ(device->SetChanVal(kSetPointChannel, Value()), E_INVALIDARG);
  EXPECT_EQ(driver->WriteChannel(10, 1.0F), adt760CtlErrChNum);
  EXPECT_EQ(driver->WriteChannel(kSetPointChannel, NAN), adt760CtlErrOutOfRange);
  EXPECT_EQ(usb.TakeWritten(), "");
}

TEST_F(Adt760Calls, ExchangesOfTwoThreadsDoNotMix) {
  constexpr int kReadings = 200;
  Connect();
  usb.answers["SENS:ELEC:FUNC?"] = "VOLTAGE";
  usb.answers["MEAS:VOLT?"] = "5";
  usb.answers["MEAS:PRES1?"] = "1000";
  const auto read = [&](ChannelId id, float right) {
    for (int i = 0; i < kReadings; ++i) EXPECT_EQ(driver->ReadChannel(id).value, right);
  };
  std::thread other(read, kElectricalChannel, 5.0F);
  read(0, 1000.0F);
  other.join();
  const std::string written = usb.TakeWritten();
  const std::string pressure = "*CLS\nMEAS:PRES1?\nSYST:ERR?\n";
  const std::string electrical = "*CLS\nSENS:ELEC:FUNC?\nSYST:ERR?\n*CLS\nMEAS:VOLT?\nSYST:ERR?\n";
  std::string_view rest = written;
  while (rest.starts_with(pressure) || rest.starts_with(electrical)) {
    rest.remove_prefix(rest.starts_with(pressure) ? pressure.size() : electrical.size());
  }
  EXPECT_EQ(rest, "");
  EXPECT_EQ(written.size(), kReadings * (pressure.size() + electrical.size()));
}

class Adt760 : public LineBench {
 protected:
  Adt760() : LineBench("adt760") {}
};

TEST_F(Adt760, TheSimulatedCalibratorUnderstandsEveryWord) {
  SetBench("noise", "0");
  ASSERT_EQ(device->Connect(), S_OK);
  EXPECT_EQ(device->SetChanVal(kSetPointChannel, 1500.0), S_OK);
  EXPECT_EQ(device->SetChanVal(kCurrentChannel, 12.25), S_OK);
  clock.SleepFor(Milliseconds(60'000));
  const float right[] = {1500, 1500, 1500, 1500, 1500, 1500, 12.5F, 1500, 12.25F, 0};
  for (ChannelId id = 0; id < kChannels.size(); ++id) {
    const Reading reading = driver->ReadChannel(id);
    EXPECT_EQ(reading.code, S_OK) << id;
    EXPECT_NEAR(reading.value, right[id], 1e-3) << id;
  }
  for (const char* function :
       {"VOLTAGE", "CURRENT:SIMULATE", "CURRENT:SOURCE", "SWITCH:REGULAR", "SWITCH:PNP", "SWITCH:NPN"}) {
    SetBench("function", function);
    EXPECT_EQ(driver->ReadChannel(kElectricalChannel).code, S_OK) << function;
  }
  EXPECT_EQ(device->SetChanVal(kSetPointChannel, 1e6), adt760CtlErrScpiCmde);
  EXPECT_EQ(device->SetChanVal(kVentChannel, 1.0), S_OK);
  EXPECT_EQ(driver->ReadChannel(kVentChannel).value, 1.0F);
  EXPECT_EQ(UnknownRequests(), Calls());
  SetBench("measuring-error", "-200,\"Execution error\"");
  EXPECT_EQ(driver->ReadChannel(0).code, adt760CtlErrScpiCmde);
}

TEST_F(Adt760, ADeviceOfAnotherVendorIsNotIt) {
  Set("vendor-id", "1");
  EXPECT_EQ(device->Connect(), winUsbCommErrBadIdentifier);
}

TEST_F(Adt760, EveryTextOfItsErrors) {
  struct Case {
    HRESULT code;
    const char* text;
    const char* short_text;
  };
  const Case cases[] = {
      {adt760CtlErrNotAdt760, "Device connected is not an Adt760 calibrator", "NOT_ADT760"},
      {adt760CtlErrOutOfRange, "The set point is out of range", "OUT_OF_RANGE"},
      {adt760CtlErrChNum, "Invalid channel number", "WRONG_CHAN_NUM"},
      {adt760CtlErrNoMeasAvailable, "No measure available", "NO_MEAS_AVAILABLE"},
      {adt760CtlErrScpiCmde, "Scpi command error", "SCPI_ERROR"},
      {winUsbCommErrUnableToReadComm, "Unable to read answer", "UNABLE_TO_READ_COMM"},
      {adt760ErrExceptionCode, "", ""},
      {serialCommErrUnableToReadComm, "", ""},
  };
  for (const Case& c : cases) {
    EXPECT_EQ(ErrorText(c.code, false), c.text);
    EXPECT_EQ(ErrorText(c.code, true), c.short_text);
  }
  EXPECT_EQ(FrenchErrorText(adt760CtlErrNotAdt760), "L'appareil connect\xE9 n'est pas un calibrateur Adt760");
  for (HRESULT code = winUsbCommErrUnableToOpenComm; code <= winUsbCommErrGuidNotFound; ++code) {
    EXPECT_NE(ErrorText(code, false), "") << ErrorCodeName(code);
    EXPECT_NE(FrenchErrorText(code), ErrorText(code, false)) << ErrorCodeName(code);
  }
}

}  // namespace
}  // namespace ulix::adt760
