// The NewClass driver: its pure protocol, then whole exchanges with the simulated instrument over an in-process line.
#include <gtest/gtest.h>

#include <utility>

#include "core/instrument.h"
#include "drivers/catalogue.h"
#include "drivers/new_family/new_word/protocol.h"
#include "simulators/in_process_port.h"
#include "simulators/simulator.h"
#include "tests/support/manual_clock.h"

namespace ulix::new_word {
namespace {

TEST(NewClassProtocol, ReadsTheNumberAtTheStartOfAMeasure) {
  EXPECT_EQ(ParseMeasure("12.345 V").value(), 12.345F);
  EXPECT_EQ(ParseMeasure(" +1.5E-03").value(), 0.0015F);
  for (const char* none : {"", "OVER", "nan", "1e39"}) {
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

// The instrument on a simulated line; every byte that is sent is kept. Time passes by being waited for.
class NewClass : public testing::Test {
 protected:
  NewClass() {
    DriverServices services;
    services.clock = &clock;
    services.open_serial_port = OpenerOf(bench);
    services.trace = [this](TraceDirection direction, std::string_view bytes) {
      if (direction == TraceDirection::kSent) sent += bytes;
    };
    auto driver = FindModel("new_word")->create(services);
    instrument = driver.get();
    device = std::make_unique<Instrument>(std::move(driver), Instrument::Options{.clock = &clock});
  }
  void SetRate(const char* word) {
    ASSERT_EQ(device->settings().SetText(*device->settings().Find("rate"), word), S_OK);
  }
  std::string Rate() { return device->settings().TextOf(*device->settings().Find("rate")); }
  std::string TakeSent() { return std::exchange(sent, {}); }

  ManualClock clock{ManualClock::Mode::kAutomatic};
  std::shared_ptr<SimulatedBench> bench = std::make_shared<SimulatedBench>(FindSimulator("new_word")(clock), clock);
  std::string sent;
  std::unique_ptr<Instrument> device;
  Driver* instrument = nullptr;
};

TEST_F(NewClass, SaysExactlyTheseWords) {
  ASSERT_EQ(device->Connect(), S_OK);
  std::string text;
  EXPECT_EQ(device->Identify(&text), S_OK);
  EXPECT_EQ(text, "ULIX,NEW_WORD,123456,V1.00");
  SetRate("FAST");
  EXPECT_EQ(device->SendCfg(), S_OK);
  EXPECT_EQ(instrument->ReadChannel(0).value, 1.5F);
  EXPECT_EQ(TakeSent(), "*IDN?\n*IDN?\nRATE FAST\nMEAS?\n");
  EXPECT_TRUE(bench->WithSimulator([](Simulator& s) { return s.unknown_requests(); }).empty());
}

TEST_F(NewClass, ReadsItsConfigurationWholeOrNotAtAll) {
  device->Connect();
  SetRate("FAST");
  ASSERT_EQ(device->SendCfg(), S_OK);
  SetRate("SLOW");
  EXPECT_EQ(device->ReadCfg(), S_OK);
  EXPECT_EQ(Rate(), "FAST");
  bench->SetFaults({{FaultKind::kGarbage}});
  EXPECT_EQ(device->ReadCfg(), serialCommErrUnableToReadComm);
  EXPECT_EQ(Rate(), "FAST");
}

TEST_F(NewClass, AnotherInstrumentOrNoneIsRefusedAndTheLinkClosed) {
  bench->WithSimulator([](Simulator& s) { return s.Set("identity", "MAKER,OTHER,0"); });
  EXPECT_EQ(device->Connect(), new_wordCtlErrNotNewClass);
  EXPECT_EQ(TakeErrorInfo().description, "Device connected is not a NEW_WORD");
  bench->SetFaults({{FaultKind::kSilent}});
  EXPECT_EQ(device->Connect(), serialCommErrUnableToReadComm);
  EXPECT_FALSE(instrument->LinkIsOpen());
}

TEST_F(NewClass, KnowsItsChannel) {
  EXPECT_EQ(instrument->ChannelUnit(0), "V");
  EXPECT_EQ(instrument->ChannelResolution(0), 4);
  EXPECT_EQ(instrument->ChannelUnit(1), "");
  EXPECT_EQ(instrument->ReadChannel(1).code, E_INVALIDARG);
  EXPECT_EQ(instrument->WriteChannel(0, 1.0F), E_INVALIDARG);
  EXPECT_EQ(instrument->ReadChannel(0).code, serialCommErrCommClosed);
}

TEST_F(NewClass, TheSimulatorNotesWhatTheInstrumentDoesNotKnow) {
  const std::vector<std::string> wrong = {"", "*IDN", "meas?", "RATE", "RATE MEDIUM"};
  for (const std::string& request : wrong) {
    EXPECT_TRUE(bench->WithSimulator([&](Simulator& s) { return s.Receive(request + "\n"); })[0].bytes.empty());
  }
  EXPECT_EQ(bench->WithSimulator([](Simulator& s) { return s.unknown_requests(); }), wrong);
}

}  // namespace
}  // namespace ulix::new_word
