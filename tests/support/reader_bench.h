// A driver that reads its simulated instrument. The value is the number of the query, so that a test sees when a value
// belongs to another query.
#pragma once

#include <algorithm>
#include <random>
#include <string>
#include <vector>

#include "base/numbers.h"
#include "tests/support/devices.h"
#include "tests/support/line_bench.h"

namespace ulix {

class DeviceBench : public LineBench {
 protected:
  explicit DeviceBench(const Device& made, ManualClock::Mode mode = ManualClock::Mode::kAutomatic)
      : LineBench(made.model, mode), model(made) {
    if (model.on_network) {
      bench->WithSimulator([](Simulator& s) { s.OnNetwork(); });
      EXPECT_EQ(device->SetNetworkAddress(NetworkAddress{"127.0.0.1", 502}), S_OK);
    }
    for (const auto& [key, value] : model.settings) Set(key, value);
    for (const auto& [key, value] : model.bench) SetBench(key, value);
  }

  // Sets the simulated quantity. Use multiples of 0.25 below 1000: all instruments show them without rounding.
  void SetQuantity(double value, std::size_t channel = 0) {
    if (model.has_quantities()) SetBench(model.quantities[channel], FormatFixed(value, 2));
  }

  const Device& model;
};

inline std::string NameOf(const testing::TestParamInfo<Device>& instance) { return instance.param.name; }

class ReaderBench : public DeviceBench, public testing::WithParamInterface<Device> {
 protected:
  explicit ReaderBench(ManualClock::Mode mode = ManualClock::Mode::kAutomatic) : DeviceBench(GetParam(), mode) {
    EXPECT_EQ(device->Connect(), S_OK);
  }

  int Within(int low, int high) { return std::uniform_int_distribution(low, high)(random); }

  // Sets the simulated quantity to a new value and reads it. Counts any other value as `wrong`. Returns the reading's
  // code.
  HRESULT AskOnce() {
    const auto which = static_cast<std::size_t>(Within(0, static_cast<int>(model.channels.size()) - 1));
    number = number % kNumbers + 1;
    const double quantity = number / 4.0;
    SetQuantity(quantity, which);
    const MonotonicTime before = clock.Now();
    const Reading reading = driver->ReadChannel(model.channels[which]);
    longest = std::max(longest, std::chrono::duration_cast<Milliseconds>(clock.Now() - before));
    if (reading.code == S_OK) ++values;
    if (reading.code == S_OK && reading.value != static_cast<float>(quantity)) ++wrong;
    return reading.code;
  }

  static constexpr int kNumbers = 3990;
  std::mt19937 random{20260131};
  int number = 0;
  int values = 0;
  int wrong = 0;
  Milliseconds longest{0};
};

}  // namespace ulix
