// Any model's driver, with an instrument that sends any bytes. The first byte selects the model, the second one whether
// the line is lost or silent after the last byte. An instrument with text lines sends the other bytes. Any other
// instrument sends them as replies to its requests; a byte before each reply is its length.
#include <algorithm>
#include <cmath>
#include <memory>

#include "drivers/catalogue.h"
#include "fuzz/require.h"
#include "simulators/in_process_usb.h"
#include "tests/support/fake_serial_port.h"
#include "tests/support/manual_clock.h"

namespace ulix {
namespace {

// The silence of the line takes no time on the clock, so the number of reads is limited instead.
constexpr std::size_t kMaxReads = 200'000;

// Answers each request with the next part of the input, until the input ends.
class Mouth final : public Simulator {
 public:
  explicit Mouth(std::string_view words) : words_(words) {}
  std::vector<SimulatedReply> Receive(std::string_view) override {
    if (words_.empty()) return {};
    const auto size = std::min<std::size_t>(static_cast<unsigned char>(words_[0]), words_.size() - 1);
    SimulatedReply reply{words_.substr(1, size), true};
    words_.erase(0, size + 1);
    return {reply};
  }
  std::string Refusal() const override { return ""; }
  HRESULT Set(std::string_view, std::string_view) override { return E_INVALIDARG; }
  std::vector<std::pair<std::string, std::string>> Properties() const override { return {}; }

 private:
  std::string words_;
};

bool IsOneOf(HRESULT code, HRESULT first, HRESULT last) { return code >= first && code <= last; }

// A logger's status of 16 bits is added to the exception code of its block.
void CheckCode(const ModelCard& card, HRESULT code) {
  const bool link = IsOneOf(code, serialCommErrUnableToOpenComm, serialCommErrUnableToReadComm) ||
                    IsOneOf(code, winUsbCommErrUnableToOpenComm, winUsbCommErrGuidNotFound);
  const bool status =
      card.link == LinkKind::kModbus && IsOneOf(code, card.exception_code, card.exception_code + 0xFFFF);
  const bool model = status || IsOwnCode(card, code);
  const bool common = code == S_OK || code == E_INVALIDARG || code == E_NOTIMPL;
  Require(link || model || common, "an exchange ends with a published code");
}

void Exchange(Driver& driver) {
  const ModelCard& card = driver.card();
  CheckCode(card, CodeOf(driver.Connect()));
  CheckCode(card, driver.OpenLink());
  const auto record = driver.settings().Snapshot();
  const HRESULT read = driver.ReadCfg();
  CheckCode(card, read);
  Require(Succeeded(read) || driver.settings().Snapshot() == record, "a record is read whole or not at all");
  CheckCode(card, CodeOf(driver.Identify()));
  for (int round = 0; round < 3; ++round) {
    for (ChannelId id = 0; id <= std::min<std::size_t>(card.channels.size(), 40); ++id) {
      const Reading reading = driver.ReadChannel(id);
      CheckCode(card, reading.code);
      Require(std::isfinite(reading.value), "a reading is finite");
    }
    CheckCode(card, driver.WriteChannel(0, 20.5F));
    CheckCode(card, driver.WriteChannel(1, 20.5F));
  }
  if (RecordedMemory* memory = driver.memory()) {
    CheckCode(card, CodeOf(memory->Blocks()));
    const auto take = [](std::string_view) { return S_OK; };
    CheckCode(card, CodeOf(memory->Read(0, 0, take, [](const ProgressStep&) { return true; })));
    CheckCode(card, memory->Clear(0, 1));
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
  const std::string_view words = ulix::TextOfInput(data + 2, size - 2);
  ulix::FakeLine line{.input = std::string(words)};
  if (data[1] & 1) line.after_input = {ulix::platform::IoOutcome::kLinkLost, 0, 5};
  ulix::ManualClock clock(ulix::ManualClock::Mode::kAutomatic);
  ulix::DriverServices services;
  services.clock = &clock;
  services.resolve_port = ulix::ResolverOf(line);
  if (model.card->link != ulix::LinkKind::kSerial) {
    const auto bench = std::make_shared<ulix::SimulatedBench>(std::make_unique<ulix::Mouth>(words), clock);
    services.resolve_port = ulix::ResolverOf(bench);
    services.load_usb_library = ulix::UsbLoaderOf(bench, clock);
  }
  const auto driver = model.create(services);
  ulix::Exchange(*driver);
  ulix::Require(line.calls.size() < ulix::kMaxReads, "an exchange is bounded");
  return 0;
}
