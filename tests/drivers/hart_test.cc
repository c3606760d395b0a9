// The Hart driver: its protocol, then exchanges with the simulated unit over an in-process line.
#include <gtest/gtest.h>

#include "base/numbers.h"
#include "drivers/field/hart/protocol.h"
#include "tests/support/line_bench.h"

namespace ulix::hart {
namespace {

TEST(HartProtocol, Reply_GivesTheNumberAfterItsFirstColon) {
  const std::pair<const char*, float> cases[] = {
      {"T:23.50", 23.5F}, {"t: 22.79 C", 22.79F}, {"set: -40.00C", -40.0F},       {"\nT:+1.5E2", 150.F},
      {":0", 0.0F},       {"sensor:23.5", 23.5F}, {"a long word: 23.5 C", 23.5F},
  };
  for (const auto& [reply, value] : cases) EXPECT_EQ(ParseValue(reply).value_or(-1.0F), value) << reply;
  for (const char* reply : {"", "23.50", "T:", "T: C", "T:nan", "T:inf", "T:1e39", "T:-1e999", "t:x:1", "T:1:2",
                            "T:23,5", "T:60.39160.391", "T:34\a.2", "a longer word: 23.50"}) {
    EXPECT_EQ(CodeOf(ParseValue(reply)), serialCommErrUnableToReadComm) << reply;
  }
}

TEST(HartProtocol, Echo_ConfirmsOnlyTheSetPointThatWasSent) {
  struct Case {
    const char* reply;
    const char* sent;
    bool confirmed;
  };
  const Case cases[] = {
      {"S:21.46 C", "21.46", true},    {"21.46C", "21.46", true},
      {"S:21.46", "21.46", true},  // The last character is missing; the number alone confirms.
      {"set: 21.4649", "21.46", true}, {"S:100.0", "100.00", true},
      {"S:0.00", "-0.00", true},       {"3.00 23.00 C", "3.00", true},
      {"S:21.45 C", "21.46", false},   {"S:21.4", "21.46", false},
      {"21.46", "21.46", false},       {"S:23.00 C", "3.00", false},
      {"S:-3.00 C", "3.00", false},    {"", "3.00", false},
      {"S:21.469 C", "21.46", false},  {"S:\a21.46 C", "21.46", false},
  };
  for (const Case& c : cases) EXPECT_EQ(Confirms(c.reply, c.sent), c.confirmed) << c.reply << " after " << c.sent;
}

TEST(HartProtocol, Reply_GivesItsUnit) {
  const std::pair<const char*, const char*> cases[] = {
      {"T:1", "\260C"}, {"T:1 C", "\260C"}, {"T:1f", "\260F"}, {"T:1 K", "K"}, {"T:1 mV", ""}};
  for (const auto& [reply, unit] : cases) {
    const auto measured = ParseMeasurement(reply);
    ASSERT_TRUE(measured) << reply;
    EXPECT_STREQ(measured->unit, unit) << reply;
  }
}

class Hart : public LineBench {
 protected:
  Hart() : LineBench("hart") {}
};

TEST_F(Hart, LineFeedsStillOn_ReadingIsRight) {
  for (const auto& [key, value] : {std::pair{"time-constant", "0"}, {"noise", "0"}, {"set-point", "23.5"}}) {
    SetBench(key, value);
  }
  ASSERT_EQ(driver->OpenLink(), S_OK);
  for (int k = 0; k < 2; ++k) EXPECT_EQ(driver->ReadChannel(0).value, 23.5F);
}

// Another program queried the set point and did not wait for the reply. One or several such replies come late.
TEST_F(Hart, SetPointReplyToAnotherProgram_IsNotTakenForTheTemperature) {
  for (const char* key : {"time-constant", "noise"}) SetBench(key, "0");
  for (const char* asked : {"s\r", "s\rs\rs\r"}) {
    SetBench("set-point", "23.5");
    bench->SetFaults({{FaultKind::kDelay, 600}});
    EXPECT_TRUE(OpenBench(bench).port->Write(asked).outcome == platform::IoOutcome::kComplete);
    bench->SetFaults({});
    SetBench("set-point", "20.25");
    ASSERT_EQ(device->Connect(), S_OK);
    TakeSent();
    const Reading reading = driver->ReadChannel(0);
    EXPECT_EQ(reading.code, S_OK);
    EXPECT_EQ(reading.value, 20.25F);
    EXPECT_TRUE(TakeSent().starts_with("t\rs\r"));
    EXPECT_EQ(device->Disconnect(), S_OK);
  }
}

// Another program asked for the temperature and did not wait for it.
TEST_F(Hart, TemperatureReplyToAnotherProgram_IsNotTakenForTheSetPoint) {
  for (const char* key : {"time-constant", "noise"}) SetBench(key, "0");
  for (const char* heading : {"t", "sensor", "V"}) {
    SCOPED_TRACE(heading);
    SetBench("temperature-heading", heading);
    SetBench("set-point", "23.5");
    bench->SetFaults({{FaultKind::kDelay, 600}});
    EXPECT_TRUE(OpenBench(bench).port->Write("t\r").outcome == platform::IoOutcome::kComplete);
    bench->SetFaults({});
    SetBench("set-point", "20.25");
    ASSERT_EQ(device->Connect(), S_OK);
    const Reading first = driver->ReadChannel(1);
    EXPECT_TRUE(Failed(first.code) || first.value == 20.25F) << first.value;
    const Reading next = driver->ReadChannel(1);
    EXPECT_EQ(next.code, S_OK);
    EXPECT_EQ(next.value, 20.25F);
    EXPECT_EQ(device->Disconnect(), S_OK);
    clock.SleepFor(Milliseconds(60'000));
  }
}

TEST_F(Hart, OverloadNumber_IsNoValueAndAReply) {
  ASSERT_EQ(device->Connect(), S_OK);
  SetBench("reply-text", "t:9.91E37");
  EXPECT_EQ(driver->ReadChannel(0).code, serialCommErrUnableToReadComm);
  EXPECT_EQ(driver->state(), SessionState::kInSync);
}

// Whatever the headings before the colons, a late reply is never taken for a value and each channel works again.
TEST_F(Hart, AnyReplyHeadings_LateReplyIsNeverTakenForAValue) {
  const std::pair<const char*, const char*> headings[] = {
      {"T", "S"}, {"temp", "V"}, {"V", "V"}, {"sensor", "set"}, {"", ""}};
  for (const char* key : {"time-constant", "noise"}) SetBench(key, "0");
  for (const auto& [temperature, set_point] : headings) {
    SCOPED_TRACE(testing::Message() << temperature << ", " << set_point);
    SetBench("temperature-heading", temperature);
    SetBench("set-point-heading", set_point);
    SetBench("set-point", "20.25");
    ASSERT_EQ(device->Connect(), S_OK);
    EXPECT_EQ(driver->ReadChannel(0).value, 20.25F);
    Reading doubted = driver->ReadChannel(1);
    // A set point that looks like a temperature is doubted once, and the line drained.
    for (int i = 0; i < 12 && Failed(doubted.code); ++i) doubted = driver->ReadChannel(1);
    EXPECT_EQ(doubted.code, S_OK);
    EXPECT_EQ(doubted.value, 20.25F);
    double quantity = 20;
    for (int late_ms = 1100; late_ms < 9000; late_ms += 700) {
      bench->SetFaults({{FaultKind::kDelay, late_ms}});
      EXPECT_EQ(driver->ReadChannel(0).code, serialCommErrUnableToReadComm);
      bench->SetFaults({});
      Reading reading;
      for (int i = 0; i < 12; ++i) {
        quantity += 0.25;
        SetBench("set-point", FormatFixed(quantity, 2));
        reading = driver->ReadChannel(static_cast<ChannelId>(i % 2));
        EXPECT_EQ(reading.code == S_OK ? reading.value : static_cast<float>(quantity), static_cast<float>(quantity))
            << late_ms;
      }
      EXPECT_EQ(reading.code, S_OK) << "after ten read timeouts at the latest";
    }
    EXPECT_EQ(device->Disconnect(), S_OK);
    clock.SleepFor(Milliseconds(60'000));
  }
}

}  // namespace
}  // namespace ulix::hart
