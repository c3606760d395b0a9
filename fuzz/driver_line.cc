// A Kelvo10 driver whose instrument sends any bytes. Bit 0 of the first byte: the line is lost after the last byte,
// else it is silent. Bit 1: the line accepts no bytes after the connection. The other bytes are those that the
// instrument sends.
#include <cmath>
#include <memory>

#include "drivers/catalogue.h"
#include "fuzz/require.h"
#include "tests/support/fake_serial_port.h"
#include "tests/support/manual_clock.h"

namespace ulix {
namespace {

constexpr int kMaxReadings = 20;
constexpr unsigned kLostAtEnd = 1;
constexpr unsigned kTakesNothing = 2;

void CheckCode(HRESULT code) {
  const bool known = code == S_OK || code == serialCommErrCommClosed || code == serialCommErrUnableToReadComm ||
                     code == serialCommErrUnableToWriteComm || code == kelvo10CtlErrNotKelvo10 ||
                     code == kelvo10CtlErrRgeNotSupported;
  Require(known, "an exchange ends with a code of the link or of the model");
}

// Runs an exchange that reads no reply.
template <typename Exchange>
void CheckSilent(FakeLine& line, Exchange&& exchange) {
  const std::size_t before = line.input.size();
  CheckCode(exchange());
  Require(line.input.size() == before, "an exchange without a reply reads none");
}

void CheckReading(const Reading& reading) {
  CheckCode(reading.code);
  Require(std::isfinite(reading.value), "a reading is finite");
}

void Exchange(Driver& driver, FakeLine& line, bool takes_nothing) {
  CheckCode(CodeOf(driver.Connect()));
  if (takes_nothing) line.bytes_taken = 0;
  CheckSilent(line, [&] { return driver.OpenLink(); });
  const auto record = driver.settings().Snapshot();
  const HRESULT read = driver.ReadCfg();
  CheckCode(read);
  Require(Succeeded(read) || driver.settings().Snapshot() == record, "a record is read whole or not at all");
  CheckSilent(line, [&] { return driver.SendCfg(); });
  CheckCode(CodeOf(driver.Identify()));
  for (int readings = 0; readings < kMaxReadings && !line.input.empty(); ++readings) {
    CheckReading(driver.ReadChannel(0));
  }
  CheckSilent(line, [&] { return driver.WriteChannel(1, 100.1F); });
  driver.Disconnect();
  Require(!driver.LinkIsOpen(), "a link that was closed is closed");
}

}  // namespace
}  // namespace ulix

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  if (size == 0) return 0;
  ulix::FakeLine line{.input = std::string(ulix::TextOfInput(data + 1, size - 1))};
  if (data[0] & ulix::kLostAtEnd) line.after_input = {ulix::platform::IoOutcome::kLinkLost, 0, 5};
  ulix::ManualClock clock(ulix::ManualClock::Mode::kAutomatic);
  ulix::DriverServices services;
  services.clock = &clock;
  services.resolve_port = ulix::ResolverOf(line);
  const auto driver = ulix::kelvo10::kEntry.create(services);
  ulix::Exchange(*driver, line, (data[0] & ulix::kTakesNothing) != 0);
  return 0;
}
