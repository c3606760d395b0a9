// A Kelvo10 driver whose instrument says any bytes. The first byte of the input is how the line ends: silent or lost
// behind the last byte, and after how many writes it takes no more. The rest is what the instrument says.
#include <cmath>
#include <memory>

#include "drivers/calibrators/kelvo10/driver.h"
#include "fuzz/require.h"
#include "tests/support/manual_clock.h"

namespace ulix {
namespace {

using platform::IoOutcome;
using platform::IoResult;

constexpr std::size_t kLongestLine = 50;

struct Line {
  std::string_view to_come;
  bool lost_at_end = false;
  int writes_left = 0;
  std::size_t taken = 0;
};

// What the instrument is going to say is not there yet when the line is purged.
class ScriptedPort final : public platform::SerialPort {
 public:
  explicit ScriptedPort(Line& line) : line_(line) {}
  bool SetQueueSizes(std::uint32_t, std::uint32_t) override { return true; }
  bool SetTimeouts(const platform::SerialTimeouts&) override { return true; }
  bool Configure(const platform::LineSettings&) override { return true; }
  IoResult Read(std::span<char> bytes) override {
    const std::size_t count = line_.to_come.copy(bytes.data(), bytes.size());
    line_.to_come.remove_prefix(count);
    line_.taken += count;
    if (count == bytes.size()) return {IoOutcome::kComplete, count, 0};
    if (line_.lost_at_end) return {IoOutcome::kLinkLost, count, 5};
    return {count == 0 ? IoOutcome::kNoFirstByte : IoOutcome::kStoppedMidway, count, 0};
  }
  IoResult Write(std::string_view bytes) override {
    if (line_.writes_left-- > 0) return {IoOutcome::kComplete, bytes.size(), 0};
    return {IoOutcome::kLinkLost, 0, 5};
  }
  void Purge(bool, bool) override {}
  void ClearError() override {}

 private:
  Line& line_;
};

void CheckCode(HRESULT code) {
  const bool known = code == S_OK || code == serialCommErrCommClosed || code == serialCommErrUnableToReadComm ||
                     code == serialCommErrUnableToWriteComm || code == kelvo10CtlErrNotKelvo10 ||
                     code == kelvo10CtlErrRgeNotSupported;
  Require(known, "an exchange ends with a code of the link or of the model");
}

// Runs `exchange` and sees that it took no more than so many lines.
template <typename Exchange>
void CheckTaken(Line& line, std::size_t lines, Exchange&& exchange) {
  const std::size_t before = line.taken;
  CheckCode(exchange());
  Require(line.taken - before <= lines * kLongestLine, "an exchange takes its lines and no more");
}

void CheckReading(const Reading& reading) {
  CheckCode(reading.code);
  Require(std::isfinite(reading.value), "a reading is finite");
}

void Exchange(Driver& driver, Line& line) {
  CheckTaken(line, 1, [&] { return driver.Connect(); });
  CheckTaken(line, 0, [&] { return driver.OpenLink(); });
  const auto record = driver.settings().Snapshot();
  CheckTaken(line, 2, [&] {
    const HRESULT read = driver.ReadCfg();
    Require(Succeeded(read) || driver.settings().Snapshot() == record, "a record is read whole or not at all");
    return read;
  });
  CheckTaken(line, 0, [&] { return driver.SendCfg(); });
  CheckTaken(line, 1, [&] { return CodeOf(driver.Identify()); });
  while (!line.to_come.empty() && line.writes_left > 0) {
    CheckTaken(line, 1, [&] {
      const Reading reading = driver.ReadChannel(0);
      CheckReading(reading);
      return reading.code;
    });
  }
  CheckTaken(line, 0, [&] { return driver.WriteChannel(1, 100.1F); });
  driver.Disconnect();
  Require(!driver.LinkIsOpen(), "a link that was closed is closed");
}

}  // namespace
}  // namespace ulix

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  if (size == 0) return 0;
  ulix::Line line{.to_come = ulix::TextOfInput(data + 1, size - 1),
                  .lost_at_end = data[0] % 2 != 0,
                  .writes_left = data[0] < 128 ? 10'000 : data[0] - 128};
  ulix::ManualClock clock(ulix::ManualClock::Mode::kAutomatic);
  ulix::DriverServices services;
  services.clock = &clock;
  services.open_serial_port = [&](int) {
    return ulix::platform::OpenResult{std::make_unique<ulix::ScriptedPort>(line), 0};
  };
  const auto driver = ulix::kelvo10::Kelvo10Driver::Create(services);
  ulix::Exchange(*driver, line);
  return 0;
}
