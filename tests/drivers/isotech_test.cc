// The Isotech driver: its frames, then whole exchanges with the simulated controller over an in-process line.
#include <gtest/gtest.h>

#include <cmath>
#include <limits>

#include "drivers/others/isotech/driver.h"
#include "drivers/others/isotech/protocol.h"
#include "drivers/others/isotech/tables.h"
#include "simulators/isotech.h"
#include "tests/support/line_bench.h"

namespace ulix::isotech {
namespace {

TEST(IsotechProtocol, FramesSetPoints) {
  struct Case {
    float degrees;
    const char* block;
  };
  const Case cases[] = {{25.0F, "SL 25.0"},     {7.0F, "SL  7.0"},     {999.9F, "SL 999.9"},
                        {999.95F, "SL 1000.0"}, {1000.0F, "SL 1000"},  {1234.5F, "SL 1234"},
                        {-5.5F, "SL -5.5"},     {-275.0F, "SL-275.0"}, {10000.0F, "SL 10000"}};
  for (const Case& c : cases) {
    const std::string frame = AddressedFrame(7, c.degrees);
    EXPECT_EQ(frame.substr(0, frame.size() - 1),
              "\4"
              "0077\2" +
                  std::string(c.block) + "\3");
    char check = 0;
    for (const char byte : std::string(c.block) + "\3") check = static_cast<char>(check ^ byte);
    EXPECT_EQ(frame.back(), check);
  }
  // S ^ L ^ blank ^ "25.0" ^ ETX
  EXPECT_EQ(AddressedFrame(99, 25.0F),
            "\4"
            "9999\2SL 25.0\3\x25");
  EXPECT_EQ(LineSetPointFrame(25.5F), "\2ST0+00025.500000\r\n");
  EXPECT_EQ(LineSetPointFrame(-3.0F), "\2ST0-00003.000000\r\n");
}

TEST(IsotechProtocol, ChecksSetPointsAsEachProtocolTakesThem) {
  const float nan = std::numeric_limits<float>::quiet_NaN();
  for (const float taken : {-275.0F, 10000.0F, -101.0F, 41.0F}) {
    EXPECT_EQ(CheckSetPoint(kAddressed, taken), S_OK) << taken;
    EXPECT_EQ(CheckSetPoint(kObject, taken), S_OK) << taken;
    EXPECT_EQ(CheckSetPoint(kLine, taken), isotechCtlErrOutOfRange) << taken;
  }
  for (const float refused : {-275.1F, 10001.0F, nan, INFINITY, -INFINITY}) {
    for (const std::uint32_t model : {kAddressed, kObject, kLine}) {
      EXPECT_EQ(CheckSetPoint(model, refused), isotechCtlErrOutOfRange) << refused;
    }
  }
  EXPECT_EQ(CheckSetPoint(kLine, -100.0F), S_OK);
  EXPECT_EQ(CheckSetPoint(kLine, 40.0F), S_OK);
}

class Isotech : public LineBench {
 protected:
  Isotech() : LineBench("isotech") {}
  // Connects and forgets what was said.
  void Start(const char* model) {
    Set("model", model);
    ASSERT_EQ(device->Connect(), S_OK);
    TakeSent();
  }
  template <typename Get>
  auto Simulated(Get&& get) {
    return bench->WithSimulator([&](Simulator& s) { return get(static_cast<IsotechSimulator&>(s)); });
  }
  Milliseconds Elapsed() { return std::chrono::duration_cast<Milliseconds>(clock.Now() - start_); }
  void StartWatch() { start_ = clock.Now(); }

 private:
  MonotonicTime start_;
};

TEST_F(Isotech, SaysExactlyTheseFramesWithAnAddress) {
  EXPECT_EQ(device->Connect(), S_OK);
  EXPECT_EQ(TakeSent(), "") << "connecting asks nothing";
  Set("address", "7");
  SetBench("address", "7");
  EXPECT_EQ(device->SetChanVal(0, 25.0), S_OK);
  EXPECT_EQ(TakeSent(),
            "\4"
            "0077\2SL 25.0\3\x25");
  EXPECT_EQ(Simulated([](auto& s) { return s.set_point(); }), 25.0);
  Set("start-set-point", "-12");
  EXPECT_EQ(device->Run(), S_OK);
  EXPECT_EQ(TakeSent().substr(6, 7), "SL-12.0");
  Set("start-mode", "output-on");
  EXPECT_EQ(device->Run(), S_OK);
  EXPECT_EQ(device->Stop(), S_OK);
  EXPECT_EQ(device->Disconnect(), S_OK);
  EXPECT_EQ(TakeSent(), "");
  EXPECT_EQ(UnknownRequests(), std::vector<std::string>());
}

TEST_F(Isotech, AnAddressTooHighIsClampedForGood) {
  Start("addressed");
  Set("address", "4294967295");
  EXPECT_EQ(device->SetChanVal(0, 20000.0), isotechCtlErrOutOfRange);
  EXPECT_EQ(device->settings().TextOf(*device->settings().Find("address")), "4294967295") << "no frame was built";
  EXPECT_EQ(device->SetChanVal(0, 1.0), S_OK);
  EXPECT_EQ(TakeSent().substr(0, 6),
            "\4"
            "9999\2");
  EXPECT_EQ(device->settings().TextOf(*device->settings().Find("address")), "99");
}

TEST_F(Isotech, SaysExactlyTheseLines) {
  Start("line");
  EXPECT_EQ(device->SetChanVal(0, 25.5), S_OK);
  EXPECT_EQ(TakeSent(), "\2ST0+00025.500000\r\n");
  Set("start-mode", "2");
  EXPECT_EQ(device->Run(), S_OK);
  EXPECT_EQ(TakeSent(), "\2OC\r\n");
  EXPECT_TRUE(Simulated([](auto& s) { return s.output_on(); }));
  StartWatch();
  EXPECT_EQ(device->Stop(), S_OK);
  EXPECT_EQ(TakeSent(),
            "\2"
            "CP\r\n");
  EXPECT_EQ(Elapsed(), Milliseconds(2000)) << "a pause before and after";
  EXPECT_EQ(UnknownRequests(), std::vector<std::string>());
  for (const double refused : {41.0, -101.0}) EXPECT_EQ(device->SetChanVal(0, refused), isotechCtlErrOutOfRange);
  EXPECT_EQ(TakeSent(), "");
}

TEST_F(Isotech, AStopAnswerMayBeLongAndEndsAtItsLineFeed) {
  Start("line");
  struct Case {
    std::string answer;
    HRESULT result;
  };
  const Case cases[] = {{"GT", S_OK},
                        {"GT+00025.500000", S_OK},
                        {"GS", isotechCtlErrNack},
                        {"ST", isotechCtlErrNack},
                        {"GT" + std::string(300, 'x'), isotechCtlErrNack}};
  for (const Case& c : cases) {
    SetBench("stop-answer", c.answer.c_str());
    EXPECT_EQ(device->Stop(), c.result) << c.answer;
    EXPECT_EQ(device->SetChanVal(0, 1.0), S_OK) << "the line is clear again";
  }
  SetBench("stop-answer", "GT+00025.500000");
  bench->SetFaults({{FaultKind::kTruncate}});
  StartWatch();
  EXPECT_EQ(device->Stop(), serialCommErrUnableToReadComm);
  EXPECT_EQ(Elapsed(), Milliseconds(3000));
}

TEST_F(Isotech, SetPointsOfAnObjectNeverSeeTheLine) {
  Start("object");
  EXPECT_EQ(device->SetChanVal(0, 300.0), E_NOTIMPL) << "none is set";
  std::uint32_t seen_address = 0;
  float seen = 0;
  static_cast<IsotechDriver*>(driver)->SetObject([&](std::uint32_t address, float degrees) {
    seen_address = address;
    seen = degrees;
    EXPECT_FALSE(driver->IsBusy()) << "no lock is held";
    return degrees > 100 ? isotechCtlErrNack : S_OK;
  });
  Set("address", "12");
  EXPECT_EQ(device->SetChanVal(0, 42.5), S_OK);
  EXPECT_EQ(seen_address, 12U);
  EXPECT_EQ(seen, 42.5F);
  EXPECT_EQ(device->SetChanVal(0, 300.0), isotechCtlErrNack);
  Set("start-set-point", "37");
  EXPECT_EQ(device->Run(), S_OK);
  EXPECT_EQ(seen, 37.0F);
  EXPECT_EQ(device->SetChanVal(0, -300.0), isotechCtlErrOutOfRange);
  EXPECT_EQ(seen, 37.0F);
  EXPECT_EQ(TakeSent(), "");
}

TEST_F(Isotech, NeedsTheConnectionAndKnowsOneOutput) {
  EXPECT_EQ(device->SetChanVal(0, 1.0), E_UNEXPECTED);
  EXPECT_EQ(device->Run(), E_UNEXPECTED);
  EXPECT_EQ(device->Stop(), E_UNEXPECTED);
  Start("addressed");
  EXPECT_EQ(device->SetChanVal(1, 1.0), E_INVALIDARG);
  std::vector<ChannelId> outputs;
  EXPECT_EQ(device->OutChans(&outputs), S_OK);
  EXPECT_EQ(outputs, std::vector<ChannelId>{0});
  EXPECT_EQ(driver->ReadChannel(0).code, E_INVALIDARG);
  EXPECT_EQ(driver->ChannelUnit(0),
            "\xB0"
            "C");
  std::string text = "x";
  EXPECT_EQ(device->Identify(&text), E_NOTIMPL);
  EXPECT_EQ(text, "");
  Set("model", "3");
  EXPECT_EQ(device->SetChanVal(0, 1.0), E_INVALIDARG) << "a code of no protocol";
}

TEST_F(Isotech, ConfigurationSurvivesAndKeepsItsSigns) {
  Set("model", "line");
  Set("address", "45");
  Set("start-mode", "output-on");
  Set("start-set-point", "-25");
  MemoryStream stream;
  ASSERT_EQ(device->Save(stream), S_OK);
  const auto saved = device->settings().Snapshot();
  ASSERT_EQ(device->InitNew(), S_OK);
  MemoryStream again(stream.bytes());
  ASSERT_EQ(device->Load(again), S_OK);
  EXPECT_EQ(device->settings().Snapshot(), saved);
  EXPECT_EQ(device->settings().TextOf(kSettings[kStartSetPoint]), "-25");
}

TEST_F(Isotech, EveryTextOfItsErrors) {
  EXPECT_EQ(ErrorText(isotechCtlErrNotIsotech, false), "Device connected is not an Isotech");
  EXPECT_EQ(ErrorText(isotechCtlErrNotIsotech, true), "NOT_ISOTECH");
  EXPECT_EQ(ErrorText(isotechCtlErrNack, false), "Device Negative Acknowledge");
  EXPECT_EQ(ErrorText(isotechCtlErrNack, true), "NEG_ACKNOLEDGE");
  EXPECT_EQ(ErrorText(isotechCtlErrOutOfRange, false), "Setpoint temperature is out of range");
  EXPECT_EQ(ErrorText(isotechCtlErrOutOfRange, true), "OUT_OF_RANGE");
  EXPECT_EQ(FrenchErrorText(isotechCtlErrNack), "Acquittement n\xE9gatif de l'appareil");
  EXPECT_EQ(ErrorText(isotechErrExceptionCode, false), "");
  EXPECT_EQ(ErrorText(serialCommErrCommClosed, true), "COMM_CLOSED");
}

TEST(IsotechSimulatorTest, NotesWhatTheControllerDoesNotKnow) {
  ManualClock clock;
  IsotechSimulator controller(clock);
  const std::vector<std::string> wrong = {"x",
                                          "\4"
                                          "0078\2SL 25.0\3\x25",
                                          "\4"
                                          "0077\2SL 25.0\3\x26",
                                          "\4"
                                          "0077\2SL 1000.5\3\x2B",
                                          "\2ST0+25.5\r\n",
                                          "\2ST0+0a025.500000\r\n",
                                          "\2XX\r\n",
                                          "\2OC\n"};
  for (const std::string& request : wrong) {
    for (const SimulatedReply& reply : controller.Receive(request)) {
      EXPECT_TRUE(reply.bytes.empty() || reply.bytes == "\x15" || reply.bytes == "\2NG\r\n");
    }
  }
  EXPECT_EQ(controller.unknown_requests(), wrong);
  EXPECT_EQ(controller.set_point(), 20.0);
}

}  // namespace
}  // namespace ulix::isotech
