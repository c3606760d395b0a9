// A model's driver connected to its simulated instrument by a line inside the process.
#pragma once

#include <gtest/gtest.h>

#include <functional>
#include <memory>
#include <span>
#include <string>
#include <utility>

#include "core/instrument.h"
#include "drivers/catalogue.h"
#include "simulators/in_process_port.h"
#include "simulators/in_process_usb.h"
#include "simulators/simulator.h"
#include "tests/support/manual_clock.h"

namespace ulix {

// A fault, the code of a reading under it, and the time that it may take. The test of a new model uses it.
// tests/drivers/line_faults_test.cc has the faults of all models.
struct FaultCase {
  Fault fault;
  HRESULT error;
  Milliseconds at_most;
};

// A wait advances the clock at once, unless the clock is stepped. The bytes sent to the instrument are recorded, those
// received are counted.
class LineBench : public testing::Test {
 protected:
  using Wrap = std::function<std::unique_ptr<Simulator>(std::unique_ptr<Simulator>)>;

  // `wrap` puts another simulator between the model's and the line.
  explicit LineBench(
      const char* model, ManualClock::Mode mode = ManualClock::Mode::kAutomatic,
      const Wrap& wrap = [](auto simulator) { return simulator; })
      : clock(mode), bench(std::make_shared<SimulatedBench>(wrap(FindSimulator(model)(clock)), clock)) {
    DriverServices services;
    services.clock = &clock;
    services.resolve_port = ResolverOf(bench);
    services.make_socket = SocketMakerOf(bench);
    services.load_usb_library = UsbLoaderOf(bench, clock);
    services.trace = [this](TraceDirection direction, std::string_view bytes) {
      if (direction == TraceDirection::kSent) sent += bytes;
      if (direction == TraceDirection::kReceived) received += bytes.size();
    };
    auto made = FindModel(model)->create(services);
    driver = made.get();
    device = std::make_unique<Instrument>(std::move(made), Instrument::Options{.clock = &clock});
  }

  void Set(const char* key, const char* value) {
    const SettingRow* row = device->settings().Find(key);
    ASSERT_NE(row, nullptr) << key;
    ASSERT_EQ(device->settings().SetText(*row, value), S_OK) << key;
  }
  void SetBench(const char* key, std::string_view value) {
    ASSERT_EQ(bench->WithSimulator([&](Simulator& s) { return s.Set(key, value); }), S_OK) << key;
  }
  std::string TakeSent() { return std::exchange(sent, {}); }
  std::vector<std::string> UnknownRequests() {
    return bench->WithSimulator([](Simulator& s) { return s.unknown_requests(); });
  }
  bool IsConnected() {
    std::int32_t connected = 0;
    EXPECT_EQ(device->IsConnected(&connected), S_OK);
    return connected != 0;
  }

  // Reads the channel under each fault, and again after it. The second reading must give `right`.
  void ExpectFaultsToPass(std::span<const FaultCase> cases, ChannelId channel, float right) {
    for (const FaultCase& c : cases) {
      SCOPED_TRACE(testing::Message() << "fault " << static_cast<int>(c.fault.kind) << '=' << c.fault.amount);
      bench->SetFaults({c.fault});
      const MonotonicTime before = clock.Now();
      EXPECT_EQ(driver->ReadChannel(channel).code, c.error);
      EXPECT_LE(clock.Now() - before, c.at_most);
      bench->SetFaults({});
      clock.SleepFor(Milliseconds(10'000));  // All late replies have come by then.
      const Reading next = driver->ReadChannel(channel);
      EXPECT_EQ(next.code, S_OK);
      EXPECT_EQ(next.value, right);
    }
  }

  ManualClock clock;
  std::shared_ptr<SimulatedBench> bench;
  std::string sent;
  std::size_t received = 0;
  std::unique_ptr<Instrument> device;
  Driver* driver = nullptr;  // Owned by `device`.
};

}  // namespace ulix
