// Another program holds the port for a while. Some models try to open it again each second, and warn of it.
#include <gtest/gtest.h>

#include <map>
#include <string>

#include "base/text.h"
#include "base/trace.h"
#include "core/instrument.h"
#include "drivers/catalogue.h"
#include "simulators/in_process_port.h"
#include "tests/support/manual_clock.h"

namespace ulix {
namespace {

std::string traced;

class LateOpening : public testing::TestWithParam<const char*>, public UserInterface {
 protected:
  ~LateOpening() override { SetTraceSink(nullptr); }
  HRESULT ConnectWhenRefused(int refusals) {
    const auto bench = std::make_shared<SimulatedBench>(FindSimulator(GetParam())(clock), clock);
    DriverServices services;
    services.clock = &clock;
    services.resolve_port = platform::InProcessPorts([this, refusals, bench](const platform::PortAddress&) {
      EXPECT_TRUE(waiting);
      return ++attempts > refusals ? OpenBench(bench) : platform::OpenResult{};
    });
    attempts = 0;
    warning.clear();
    traced.clear();
    SetTraceSink([](std::string_view line) { traced += line; });
    Instrument device(FindModel(GetParam())->create(services), {.clock = &clock, .user_interface = this});
    const MonotonicTime start = clock.Now();
    const HRESULT result = device.Connect();
    EXPECT_EQ(clock.Now() - start, Milliseconds(1000 * (attempts - 1)));
    EXPECT_FALSE(waiting);
    warning += Utf8FromAnsi(traced);
    return result;
  }
  void Warn(Instrument&, const std::string& text) override {
    EXPECT_FALSE(waiting);
    warning += text;
  }
  std::shared_ptr<void> ShowWait() override {
    waiting = true;
    return {this, [this](void*) { waiting = false; }};
  }

  ManualClock clock{ManualClock::Mode::kAutomatic};
  int attempts = 0;
  bool waiting = false;
  std::string warning;
};

TEST_P(LateOpening, PortBusy_IsTriedElevenTimesASecondApartAndWarnedFromTheFifth) {
  const std::map<std::string, std::string> texts = {
      {"adt761", "The serial port could be opened after several attempts only"},
      {"flukehydra", "FLUKE HYDRA Open() : ok, mais plus de 4 essais nécessaires !!!???"}};
  for (const auto& [refusals, is_warned] : {std::pair{3, false}, {4, true}, {10, true}}) {
    EXPECT_EQ(ConnectWhenRefused(refusals), S_OK);
    EXPECT_EQ(warning, is_warned && texts.contains(GetParam()) ? texts.at(GetParam()) : "");
  }
  EXPECT_EQ(ConnectWhenRefused(11), serialCommErrUnableToOpenComm);
  EXPECT_EQ(attempts, 11);
  EXPECT_EQ(warning, "");
}

INSTANTIATE_TEST_SUITE_P(, LateOpening, testing::Values("adt761", "flukehydra", "jofrartcptc"),
                         [](const auto& instance) { return std::string(instance.param); });

}  // namespace
}  // namespace ulix
