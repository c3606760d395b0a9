// A model's driver at its simulated instrument, over a line inside the process.
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

// What a reading gives under a fault, and the time it may take: for a model on its own, as new ones start.
// tests/drivers/line_faults_test.cc has every fault to the models on a serial line.
struct FaultCase {
  Fault fault;
  HRESULT error;
  Milliseconds at_most;
};

// Time passes by being waited for, unless it is stepped. Every byte that goes to the instrument is kept.
class LineBench : public testing::Test {
 protected:
  using Wrap = std::function<std::unique_ptr<Simulator>(std::unique_ptr<Simulator>)>;

  // `wrap` puts something between the model's simulator and the line.
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

  // Reads the channel under each fault, and again when the fault has passed: that reading must be right.
  void ExpectFaultsToPass(std::span<const FaultCase> cases, ChannelId channel, float right) {
    for (const FaultCase& c : cases) {
      SCOPED_TRACE(testing::Message() << "fault " << static_cast<int>(c.fault.kind) << '=' << c.fault.amount);
      bench->SetFaults({c.fault});
      const MonotonicTime before = clock.Now();
      EXPECT_EQ(driver->ReadChannel(channel).code, c.error);
      EXPECT_LE(clock.Now() - before, c.at_most);
      bench->SetFaults({});
      clock.SleepFor(Milliseconds(10'000));  // what was late has come by now
      const Reading next = driver->ReadChannel(channel);
      EXPECT_EQ(next.code, S_OK);
      EXPECT_EQ(next.value, right);
    }
  }

  ManualClock clock;
  std::shared_ptr<SimulatedBench> bench;
  std::string sent;
  std::unique_ptr<Instrument> device;
  Driver* driver = nullptr;  // the device's own
};

}  // namespace ulix
