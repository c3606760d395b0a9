// A serial port that behaves as a test sets it and records its calls.
#pragma once

#include <memory>
#include <string>
#include <utility>
#include <vector>

#include "platform/port_binding.h"

namespace ulix {

// The line behind the port. It outlives the port.
struct FakeLine {
  std::vector<std::string> calls;  // such as "open 1", "timeouts 1000 1000", "write MEAS?", "read 1", "clear"
  platform::LineSettings settings;
  std::string input;  // Bytes that the device has sent and that were not read yet.
  platform::IoResult after_input{platform::IoOutcome::kNoFirstByte, 0, 0};

  bool of_machine = true;  // Whether other programs can use the port.
  bool refuses_open = false;
  bool refuses_queues = false;
  bool refuses_configure = false;
  int timeouts_taken = -1;             // How often timeouts can still be set; negative: always.
  std::size_t bytes_taken = SIZE_MAX;  // How many bytes of each write are accepted.
};

class FakeSerialPort final : public platform::SerialPort {
 public:
  explicit FakeSerialPort(FakeLine& line) : line_(line) {}
  ~FakeSerialPort() override { line_.calls.push_back("close"); }

  bool SetQueueSizes(std::uint32_t receive, std::uint32_t transmit) override {
    line_.calls.push_back("queues " + std::to_string(receive) + " " + std::to_string(transmit));
    return !line_.refuses_queues;
  }
  bool SetTimeouts(const platform::SerialTimeouts& timeouts) override {
    line_.calls.push_back("timeouts " + std::to_string(timeouts.read_ms) + " " + std::to_string(timeouts.write_ms));
    if (line_.timeouts_taken == 0) return false;
    if (line_.timeouts_taken > 0) --line_.timeouts_taken;
    return true;
  }
  bool Configure(const platform::LineSettings& settings) override {
    line_.calls.push_back("configure");
    line_.settings = settings;
    return !line_.refuses_configure;
  }
  platform::IoResult Read(std::span<char> bytes) override {
    line_.calls.push_back("read " + std::to_string(bytes.size()));
    const std::size_t count = line_.input.copy(bytes.data(), bytes.size());
    line_.input.erase(0, count);
    if (count == bytes.size()) return {platform::IoOutcome::kComplete, count, 0};
    platform::IoResult ended = line_.after_input;
    ended.count = count;
    return ended;
  }
  platform::IoResult Write(std::string_view bytes) override {
    line_.calls.push_back("write " + std::string(bytes));
    const std::size_t count = std::min(bytes.size(), line_.bytes_taken);
    return {count == bytes.size() ? platform::IoOutcome::kComplete : platform::IoOutcome::kStoppedMidway, count, 0};
  }
  void Purge(bool input, bool output) override {
    line_.calls.push_back(std::string("purge") + (input ? " in" : "") + (output ? " out" : ""));
  }
  void ClearError() override { line_.calls.push_back("clear"); }
  bool IsPresent() override { return true; }
  void Interrupt(bool) override {}

 private:
  FakeLine& line_;
};

// A port that is bound to the line. Open records the number of the port.
class FakeBoundPort final : public platform::BoundPort {
 public:
  FakeBoundPort(FakeLine& line, platform::PortAddress address) : line_(line), address_(std::move(address)) {}
  platform::OpenResult Open() override {
    line_.calls.push_back("open " + std::to_string(address_.number));
    if (line_.refuses_open) return {nullptr, {.cause = platform::OpenFailureCause::kNoSuchDevice}};
    return {std::make_unique<FakeSerialPort>(line_), {}};
  }
  const std::string& location() const override { return address_.location; }
  bool IsOfMachine() const override { return line_.of_machine; }

 private:
  FakeLine& line_;
  const platform::PortAddress address_;
};

// Resolves every port to the line. The line must outlive every port.
inline platform::PortResolver ResolverOf(FakeLine& line) {
  return [&line](const platform::PortAddress& address) {
    return platform::PortResolution{std::make_shared<FakeBoundPort>(line, address), {}};
  };
}

}  // namespace ulix
