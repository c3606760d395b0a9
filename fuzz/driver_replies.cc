// Any model's driver whose instrument says any bytes. The first byte of the input chooses the model, the second how the
// line is behind the last byte: lost or silent. The rest is what comes.
#include <cmath>
#include <memory>

#include "drivers/catalogue.h"
#include "fuzz/require.h"
#include "tests/support/fake_serial_port.h"
#include "tests/support/manual_clock.h"

namespace ulix {
namespace {

// A line whose silence takes no time of the clock: what it bounds are the reads.
constexpr std::size_t kMostReads = 200'000;

void CheckCode(const ModelCard& card, HRESULT code) {
  const bool link = code >= serialCommErrUnableToOpenComm && code <= serialCommErrUnableToReadComm;
  const bool model = code >= card.exception_code && code < card.exception_code + 0x200;
  const bool common = code == S_OK || code == 1 || code == E_INVALIDARG || code == E_NOTIMPL;
  Require(link || model || common, "an exchange ends with a published code");
}

void Exchange(Driver& driver) {
  const ModelCard& card = driver.card();
  CheckCode(card, driver.Connect());
  CheckCode(card, driver.OpenLink());
  const auto record = driver.settings().Snapshot();
  const HRESULT read = driver.ReadCfg();
  CheckCode(card, read);
  Require(Succeeded(read) || driver.settings().Snapshot() == record, "a record is read whole or not at all");
  CheckCode(card, CodeOf(driver.Identify()));
  for (int round = 0; round < 3; ++round) {
    for (ChannelId id = 0; id <= card.channels.size(); ++id) {
      const Reading reading = driver.ReadChannel(id);
      CheckCode(card, reading.code);
      Require(std::isfinite(reading.value), "a reading is finite");
    }
    CheckCode(card, driver.WriteChannel(0, 20.5F));
    CheckCode(card, driver.WriteChannel(1, 20.5F));
  }
  CheckCode(card, driver.Run());
  CheckCode(card, driver.Stop());
  driver.Disconnect();
  Require(!driver.LinkIsOpen(), "a link that was closed is closed");
}

}  // namespace
}  // namespace ulix

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  if (size < 2) return 0;
  const auto models = ulix::Catalogue();
  const auto& model = models[data[0] % models.size()];
  ulix::FakeLine line{.input = std::string(ulix::TextOfInput(data + 2, size - 2))};
  if (data[1] & 1) line.after_input = {ulix::platform::IoOutcome::kLinkLost, 0, 5};
  ulix::ManualClock clock(ulix::ManualClock::Mode::kAutomatic);
  ulix::DriverServices services;
  services.clock = &clock;
  services.open_serial_port = ulix::OpenerOf(line);
  if (model.card->link != ulix::LinkKind::kSerial) return 0;
  const auto driver = model.create(services);
  ulix::Exchange(*driver);
  ulix::Require(line.calls.size() < ulix::kMostReads, "an exchange is bounded");
  return 0;
}
