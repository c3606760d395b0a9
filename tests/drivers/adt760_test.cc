// The ADT760 driver: its protocol, then whole exchanges, first with a helper library that records its calls, then with
// the simulated calibrator.
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

TEST(Adt760Protocol, FunctionReply_GivesTheQueryOfTheLongestMatchingName) {
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

TEST(Adt760Protocol, ReadingReply_GivesItsNumberOrNoMeasurement) {
  EXPECT_EQ(ParseReading("1013.25\n", 0), 1013.25F);
  EXPECT_EQ(ParseReading("  -2.5E+1 mbar", 5), -25.0F);
  EXPECT_EQ(ParseReading("12.5,KPA\n", 5), 12.5F);
  for (const std::string bad :
       {"", "\n", "mbar 5", "nan", "inf", "1e39", "---", "9.9E37\n", "-9.91E+37", "NAN", "52,331", "34\a.2"}) {
    EXPECT_EQ(CodeOf(ParseReading(bad, 0)), adt760CtlErrNoMeasAvailable) << bad;
  }
  EXPECT_EQ(CodeOf(ParseReading(std::string(75, ' ') + "12.34", 0)), adt760CtlErrNoMeasAvailable) << "cut";
  EXPECT_EQ(ParseReading("12.34" + std::string(74, ' ') + "\n", 0), 12.34F);
  EXPECT_EQ(ParseReading("vent\n", kVentChannel), 1.0F);
  EXPECT_EQ(ParseReading("MEASURE\n", kVentChannel), 0.0F);
  for (const char* other : {"-221,\"Prevented\"\n", "1013.25\n", "VE\aNT\n"}) {
    EXPECT_EQ(CodeOf(ParseReading(other, kVentChannel)), adt760CtlErrNoMeasAvailable) << other;
  }
}

TEST(Adt760Protocol, ErrorQueueReply_NonZeroNumberAtItsStart_IsAnError) {
  for (const char* none : {"0,\"No error\"\n", "+0", " 00", "-0,1", "", "No error", "0.7", ",5"}) {
    EXPECT_EQ(CheckErrorQueue(none), S_OK) << none;
  }
  for (const char* error : {"-113,\"Undefined header\"\n", "1", " +200", "99999999999999999999"}) {
    EXPECT_EQ(CheckErrorQueue(error), adt760CtlErrScpiCmde) << error;
  }
}

TEST(Adt760Protocol, ErrorQueueReply_IsRecognised) {
  for (const char* queue : {"0,\"No error\"\n", "-113,\"Undefined header\"", "0\n", " +200"}) {
    EXPECT_TRUE(IsErrorQueue(queue)) << queue;
  }
  for (const char* other : {"", "VENT", "No error", "1013.25\n", "1E3", "0x", "0\a,\"No error\""})
    EXPECT_FALSE(IsErrorQueue(other)) << other;
}

// The driver over a library file that is loaded as the real one is.
class Adt760Calls : public testing::Test {
 protected:
  Adt760Calls() {
    usb.answers = {{"*IDN?", "Additel,HPC-HOST,1,2"}, {"SYST:ERR?", "0,\"No error\""}};
    DriverServices services;
    services.clock = &clock;
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
  std::string CommInfo() {
    std::string info;
    EXPECT_EQ(device->GetCommInfo(&info), S_OK);
    return info;
  }

  FakeUsbLibrary usb;
  ManualClock clock{ManualClock::Mode::kAutomatic};
  std::unique_ptr<Instrument> device;
  Adt760Driver* driver = nullptr;  // Owned by `device`.
};

TEST_F(Adt760Calls, Connect_IdentifiesTheDevice) {
  ASSERT_EQ(device->Connect(), S_OK);
  EXPECT_EQ(usb.TakeCalls(), (Calls{"GetInterfaceGuid", "Connect", "Flush", "SetTimeout 1 1", "Read 80",
                                    "SetTimeout 3 5000", "Write *CLS", "Write *IDN?", "Read 80"}));
  EXPECT_EQ(CommInfo(), "GUID:00000001-0002-0003-0405-060708090A0B VENDOR_ID:0483 PRODUCT_ID:5740");
  std::string text;
  EXPECT_EQ(device->Identify(&text), S_OK);
  EXPECT_EQ(text, "Additel,HPC-HOST,1,2");
  EXPECT_EQ(device->Disconnect(), S_OK);
  EXPECT_EQ(CommInfo(), "GUID:00000000-0000-0000-0000-000000000000 VENDOR_ID:0000 PRODUCT_ID:0000");
}

TEST_F(Adt760Calls, ConnectWithAGuidAndWithoutIdentification_SkipsBothQueries) {
  Set("guid", "F06E89B5-6258-4CE7-83AA-248D25DEBF60");
  Set("identify", "no");
  ASSERT_EQ(device->Connect(), S_OK);
  EXPECT_EQ(usb.TakeCalls(),
            (Calls{"Connect", "Flush", "SetTimeout 1 1", "Read 80", "SetTimeout 3 5000", "Write *CLS"}));
}

TEST_F(Adt760Calls, TextThatIsNoGuid_IsGuidNotFound) {
  Set("guid", "no GUID");
  EXPECT_EQ(device->Connect(), winUsbCommErrGuidNotFound);
  EXPECT_EQ(usb.TakeCalls(), Calls{});
}

TEST_F(Adt760Calls, ConnectThatFails_ClosesTheDevice) {
  const std::tuple<const char*, const char*, HRESULT> cases[] = {
      {"Write *CLS", "HPC-HOST", winUsbCommErrUnableToWriteComm},
      {"Write *IDN?", "HPC-HOST", winUsbCommErrUnableToWriteComm},
      {"Read", "HPC-HOST", winUsbCommErrUnableToReadComm},
      {"", "HPC-HOS", adt760CtlErrNotAdt760},
      {"Flush", "HPC-HOST", winUsbCommErrUnableToFlushComm},
  };
  for (const auto& [step, identification, code] : cases) {
    SCOPED_TRACE(testing::Message() << step << ' ' << identification);
    usb.failing = {{step, E_FAIL}};
    usb.answers = {{"*IDN?", identification}};
    EXPECT_EQ(device->Connect(), code);
    EXPECT_EQ(usb.calls.back(), "Disconnect");
    EXPECT_FALSE(driver->LinkIsOpen());
  }
}

TEST(Adt760Library, Missing_IsNotLoaded) {
  DriverServices services;
  services.load_usb_library = [] { return LoadUsbLibrary(TestUsbFolder("nowhere")); };
  Adt760Driver without_library(services);
  EXPECT_EQ(CodeOf(without_library.Connect()), adt761CtlErrWinUsbNotLoaded);
  EXPECT_EQ(without_library.ReadChannel(0).code, adt761CtlErrWinUsbNotLoaded);
  EXPECT_EQ(without_library.WriteChannel(kSetPointChannel, 1.0F), adt761CtlErrWinUsbNotLoaded);
}

TEST_F(Adt760Calls, EachChannel_IsReadByItsOwnQuery) {
  Connect();
  struct Case {
    ChannelId channel;
    const char* query;
    const char* answer;
    float value;
    const char* unit;
  };
  const Case cases[] = {
      {0, "MEAS:PRES1?", "1.5", 1.5F, "mbar"},
      {5, "MEAS:PRES6?", "-6.5", -6.5F, "mbar"},
      {kSetPointChannel, "SOUR:PRES?", "1500.25", 1500.25F, "mbar"},
      {kCurrentChannel, "CURR:SOUR?", "4.5", 4.5F, "mA"},
      {kVentChannel, "OUTP:MODE?", "VENT", 1.0F, ""},
  };
  for (const Case& c : cases) {
    usb.answers[c.query] = c.answer;
    EXPECT_EQ(driver->ReadChannel(c.channel).value, c.value);
    EXPECT_EQ(usb.TakeWritten(), "*CLS\n" + std::string(c.query) + "\nSYST:ERR?\n");
    EXPECT_EQ(driver->ChannelUnit(c.channel), c.unit);
  }
  EXPECT_EQ(driver->ReadChannel(10).code, adt760CtlErrChNum);
  EXPECT_EQ(usb.TakeWritten(), "");
}

TEST_F(Adt760Calls, ElectricalInput_IsReadByTheQueryOfItsFunction) {
  Connect();
  usb.answers["SENS:ELEC:FUNC?"] = "VOLTAGE";
  usb.answers["MEAS:VOLT?"] = "5";
  EXPECT_EQ(driver->ReadChannel(kElectricalChannel).value, 5.0F);
  EXPECT_EQ(usb.TakeWritten(), "*CLS\nSENS:ELEC:FUNC?\nSYST:ERR?\n*CLS\nMEAS:VOLT?\nSYST:ERR?\n");
  EXPECT_EQ(driver->ChannelUnit(kElectricalChannel), "V");
  usb.answers["SYST:ERR?"] = "-100,\"Command error\"";
  usb.answers["SENS:ELEC:FUNC?"] = "HART";
  EXPECT_EQ(driver->ReadChannel(kElectricalChannel).code, winUsbCommErrUnableToReadComm);
  EXPECT_EQ(driver->LastError(), "-100,\"Command error\"\n") << "the error queue is also read after a bad reply";
  usb.answers["SENS:ELEC:FUNC?"] = "VOLTAGE";
  EXPECT_EQ(driver->ReadChannel(kElectricalChannel).code, adt760CtlErrScpiCmde);
  EXPECT_EQ(usb.TakeWritten(), "*CLS\nSENS:ELEC:FUNC?\nSYST:ERR?\n*CLS\nSENS:ELEC:FUNC?\nSYST:ERR?\n");
}

TEST_F(Adt760Calls, Read_GivesTheCodeOfTheFirstFailure) {
  Connect();
  struct Case {
    const char* value;  // Null: no reply.
    const char* queue;
    const char* failing;
    HRESULT result;
  };
  const Case cases[] = {
      {"1.5", "-222,\"Data out of range\"", "", adt760CtlErrScpiCmde},  // Even with a good value.
      {"----", "-222,\"Data out of range\"", "", adt760CtlErrNoMeasAvailable},
      {"----", "No error", "", adt760CtlErrNoMeasAvailable},
      {nullptr, "No error", "", winUsbCommErrUnableToReadComm},
      {"1.5", nullptr, "", winUsbCommErrUnableToReadComm},
      {"1.5", "No error", "Write *CLS", winUsbCommErrUnableToWriteComm},
      {"1.5", "No error", "Write MEAS:PRES1?", winUsbCommErrUnableToWriteComm},
      {"1.5", "No error", "", S_OK},
  };
  for (const Case& c : cases) {
    SCOPED_TRACE(&c - cases);
    usb.answers = {{"*IDN?", "Additel,HPC-HOST,1,2"}};  // The driver identifies again after a write that failed.
    if (c.value) usb.answers["MEAS:PRES1?"] = c.value;
    if (c.queue) usb.answers["SYST:ERR?"] = c.queue;
    usb.failing = {{c.failing, E_FAIL}};
    EXPECT_EQ(driver->ReadChannel(0).code, c.result);
  }
}

// One library ends its replies with a line feed, another does not.
TEST_F(Adt760Calls, LateReply_IsDiscardedBeforeTheNextOperation) {
  for (const char* line_end : {"\n", ""}) {
    usb.line_end = line_end;
    Connect();
    EXPECT_EQ(driver->ReadChannel(kVentChannel).code, winUsbCommErrUnableToReadComm);
    EXPECT_EQ(usb.TakeWritten(), "*CLS\nOUTP:MODE?\n");
    usb.answers["MEAS:PRES1?"] = "0.75";
    usb.answers["*IDN?"] = "VENT" + usb.line_end + "Additel,HPC-HOST,1,2";
    EXPECT_EQ(driver->ReadChannel(0).value, 0.75F);
    EXPECT_EQ(usb.TakeWritten(), "*IDN?\n*CLS\nMEAS:PRES1?\nSYST:ERR?\n");
    EXPECT_EQ(driver->ReadChannel(0).value, 0.75F);
    EXPECT_EQ(usb.TakeWritten(), "*CLS\nMEAS:PRES1?\nSYST:ERR?\n");
    EXPECT_EQ(device->Disconnect(), S_OK);
  }
}

TEST_F(Adt760Calls, DeviceLostDuringAWait_IsReconnected) {
  Connect();
  usb.answers["MEAS:PRES1?"] = "0.75";
  usb.failing = {{"Read", E_FAIL}};
  EXPECT_EQ(driver->ReadChannel(0).code, winUsbCommErrUnableToReadComm);
  usb.failing = {{"Flush", E_FAIL}};
  EXPECT_EQ(driver->ReadChannel(0).code, winUsbCommErrUnableToFlushComm);
  usb.failing.clear();
  EXPECT_EQ(driver->ReadChannel(0).value, 0.75F);
}

// Without identification the driver has no query to resynchronise with. After a late reply it gives no value for ten
// read timeouts.
TEST_F(Adt760Calls, NoIdentification_OutOfSyncLineIsDrained) {
  Set("identify", "no");
  usb.answers["*IDN?"] = "OTHER";
  Connect();
  EXPECT_EQ(driver->ReadChannel(kVentChannel).code, winUsbCommErrUnableToReadComm);
  usb.TakeWritten();
  usb.answers["MEAS:PRES1?"] = "0.75";
  for (int i = 0; i < 8; ++i) EXPECT_EQ(driver->ReadChannel(0).code, winUsbCommErrUnableToReadComm);
  EXPECT_EQ(usb.TakeWritten(), "");
  clock.SleepFor(Milliseconds(10'000));
  EXPECT_EQ(driver->ReadChannel(0).value, 0.75F);
  EXPECT_EQ(usb.TakeWritten(), "*CLS\nMEAS:PRES1?\nSYST:ERR?\n");
}

// The error queue reports an error only once. The queue's reply was lost, so the set point is sent again.
TEST_F(Adt760Calls, ReplyToAnotherProgram_SetPointIsSentAgain) {
  Connect();
  usb.received = {"Additel,HPC-HOST,1,2\n"};
  usb.answers["SYST:ERR?"] = "-222,\"Data out of range\"";
  EXPECT_EQ(device->SetChanVal(kSetPointChannel, 9.0), adt760CtlErrScpiCmde);
  const std::string set = "*CLS\nSOUR:PRES 9.00000\nSYST:ERR?\n";
  EXPECT_EQ(usb.TakeWritten(), set + "*IDN?\n" + set);
}

TEST_F(Adt760Calls, Write_SendsFiveDecimals) {
  Connect();
  EXPECT_EQ(device->SetChanVal(kSetPointChannel, 1200.5), S_OK);
  EXPECT_EQ(device->SetChanVal(kCurrentChannel, -0.1), S_OK);
  EXPECT_EQ(device->SetChanVal(kVentChannel, 0.5), S_OK);
  EXPECT_EQ(usb.TakeWritten(),
            "*CLS\nSOUR:PRES 1200.50000\nSYST:ERR?\n*CLS\nCURR:SOUR -0.10000\nSYST:ERR?\n*CLS\nOUTP:MODE VENT\n"
            "SYST:ERR?\n");
  EXPECT_EQ(device->SetChanVal(kVentChannel, std::int64_t{0}), S_OK);
  EXPECT_EQ(usb.TakeWritten(), "*CLS\n") << "there is no command to end venting";
}

TEST_F(Adt760Calls, WriteThatFails_GivesItsCode) {
  Connect();
  usb.answers["SYST:ERR?"] = "-222,\"Data out of range\"";
  EXPECT_EQ(device->SetChanVal(kSetPointChannel, 1e6), adt760CtlErrScpiCmde);
  usb.failing = {{"Write", E_FAIL}};
  EXPECT_EQ(device->SetChanVal(kVentChannel, std::int64_t{0}), winUsbCommErrUnableToWriteComm);
}

TEST_F(Adt760Calls, WriteToAnInputOrOfNoNumber_SendsNothing) {
  Connect();
  for (ChannelId id = 0; id <= kElectricalChannel; ++id) EXPECT_EQ(device->SetChanVal(id, 1.0), adt760CtlErrChNum);
  EXPECT_EQ(driver->WriteChannel(10, 1.0F), adt760CtlErrChNum);
  EXPECT_EQ(driver->WriteChannel(kSetPointChannel, NAN), adt760CtlErrOutOfRange);
  EXPECT_EQ(usb.TakeWritten(), "");
}

TEST_F(Adt760Calls, ExchangesOfTwoThreads_DoNotMix) {
  Connect();
  usb.answers["SENS:ELEC:FUNC?"] = "VOLTAGE";
  usb.answers["MEAS:VOLT?"] = "5";
  usb.answers["MEAS:PRES1?"] = "1000";
  const auto read = [&](ChannelId id, float right) {
    for (int i = 0; i < 200; ++i) EXPECT_EQ(driver->ReadChannel(id).value, right);
  };
  std::thread other(read, kElectricalChannel, 5.0F);
  read(0, 1000.0F);
  other.join();
  const std::string written = usb.TakeWritten();
  EXPECT_EQ(written.find("*CLS\nSENS:ELEC:FUNC?\nSYST:ERR?\n*CLS\nMEAS:PRES1?"), written.npos);
}

class Adt760 : public LineBench {
 protected:
  Adt760() : LineBench("adt760") {}
};

TEST_F(Adt760, SimulatedCalibrator_UnderstandsEveryCommand) {
  SetBench("noise", "0");
  ASSERT_EQ(device->Connect(), S_OK);
  EXPECT_EQ(device->SetChanVal(kSetPointChannel, 1500.0), S_OK);
  EXPECT_EQ(device->SetChanVal(kCurrentChannel, 12.25), S_OK);
  clock.SleepFor(Milliseconds(60'000));
  const float right[] = {1500, 1500, 1500, 1500, 1500, 1500, 12.5F, 1500, 12.25F, 0};
  for (ChannelId id = 0; id < kChannels.size(); ++id) EXPECT_NEAR(driver->ReadChannel(id).value, right[id], 1e-3) << id;
  for (const char* function : {"VOLTAGE", "CURRENT:SIMULATE", "SWITCH:REGULAR", "SWITCH:PNP", "SWITCH:NPN"}) {
    SetBench("function", function);
    EXPECT_EQ(driver->ReadChannel(kElectricalChannel).code, S_OK) << function;
  }
  EXPECT_EQ(device->SetChanVal(kSetPointChannel, 1e6), adt760CtlErrScpiCmde);
  EXPECT_EQ(device->SetChanVal(kVentChannel, 1.0), S_OK);
  EXPECT_EQ(driver->ReadChannel(kVentChannel).value, 1.0F);
  EXPECT_EQ(UnknownRequests(), Calls());
}

TEST_F(Adt760, DeviceOfAnotherVendor_IsBadIdentifier) {
  Set("vendor-id", "1");
  EXPECT_EQ(device->Connect(), winUsbCommErrBadIdentifier);
}

}  // namespace
}  // namespace ulix::adt760
