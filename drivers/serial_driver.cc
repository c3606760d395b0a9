#include "drivers/serial_driver.h"

#include <utility>

#include "links/serial_errors.h"

namespace ulix {

namespace {

constexpr Milliseconds kOpenPause{1000};

}  // namespace

// While it lives, the words of a connection or of its end are exchanged: they are not held up to put the line in step,
// which an instrument that was switched off cannot always do before it is greeted, and they bring no link back.
class SerialDriver::Formalities {
 public:
  explicit Formalities(SerialDriver& driver) : driver_(driver) { driver_.formal_ = true; }
  ~Formalities() { driver_.formal_ = false; }
  Formalities(const Formalities&) = delete;
  Formalities& operator=(const Formalities&) = delete;

 private:
  SerialDriver& driver_;
};

SerialDriver::SerialDriver(const ModelCard& card, LineProfile profile, DriverServices services)
    : Driver(card),
      profile_(profile),
      services_(std::move(services)),
      link_({.resolve_port = services_.resolve_port, .trace = services_.trace}) {}

SerialDriver::~SerialDriver() { link_.Close(); }

HRESULT SerialDriver::OpenLink() {
  const std::lock_guard exchange(exchange_mutex_);
  if (link_.IsOpen()) return S_OK;
  if (lost_) return HaveLinkBack();
  HRESULT result = OpenPort();
  if (Succeeded(result)) result = ApplyTimeouts();
  if (Failed(result)) link_.Close();
  return result;
}

// The machine-wide mutex is free between the attempts.
HRESULT SerialDriver::OpenPort() {
  for (int attempt = 1;; ++attempt) {
    const HRESULT result = link_.Open();
    if (Succeeded(result) && attempt > 1) OpenedLate(attempt);
    if (Succeeded(result) || attempt == profile_.open_attempts || interruptions_ > 0) return result;
    clock().SleepFor(kOpenPause);
  }
}

// Of a port that was just opened.
HRESULT SerialDriver::ApplyTimeouts() {
  partial_.clear();
  cut_ = false;
  std::uint32_t read_ms = 0;
  std::uint32_t write_ms = 0;
  const HRESULT result = link_.GetTimeouts(&read_ms, &write_ms);
  if (Failed(result)) return result;
  if (profile_.read_ms != 0) read_ms = profile_.read_ms;
  if (profile_.write_ms != 0) write_ms = profile_.write_ms;
  if (services_.timeout_ms != 0) read_ms = write_ms = services_.timeout_ms;
  return link_.SetTimeouts(read_ms, write_ms);
}

HRESULT SerialDriver::Connect() {
  const std::lock_guard exchange(exchange_mutex_);
  lost_ = false;
  const HRESULT result = GreetOn(OpenLink());
  greeted_ = result == S_OK;
  return result;
}

// A failure closes the link, and so does kNotConnected.
HRESULT SerialDriver::GreetOn(HRESULT opened) {
  const Formalities greeting(*this);
  const HRESULT result = Failed(opened) ? opened : Greet();
  if (result != S_OK) link_.Close();
  return result;
}

void SerialDriver::InterruptWaits() {
  ++interruptions_;
  link_.InterruptReads();
}

void SerialDriver::ResumeWaits() {
  link_.ResumeReads();
  --interruptions_;
}

// The exchange of another thread is not waited for, but for its end.
void SerialDriver::Disconnect() {
  std::optional<WaitInterruption> interruption(*this);
  const std::lock_guard exchange(exchange_mutex_);
  interruption.reset();
  const Formalities leave(*this);
  TakeLeave();
  link_.Close();
  greeted_ = lost_ = false;
}

// An exchange that is under way finds out by itself.
HRESULT SerialDriver::Presence() {
  const std::unique_lock exchange(exchange_mutex_, std::try_to_lock);
  if (!exchange) return S_OK;
  if (link_.IsOpen() && !link_.DeviceIsThere()) lost_ = true;
  return lost_ ? serialCommErrCommClosed : S_OK;
}

// One attempt, whatever the profile says: the next exchange makes the next.
HRESULT SerialDriver::HaveLinkBack() {
  NoteLoss();
  if (!lost_ || formal_ || link_.IsOpen()) return S_OK;
  HRESULT result = link_.Reopen();
  if (Succeeded(result)) result = ApplyTimeouts();
  if (Failed(result)) {
    link_.Close();
    return serialCommErrCommClosed;
  }
  if (greeted_) result = GreetOn(S_OK);
  if (result == S_OK) lost_ = false;
  return result;
}

void SerialDriver::NoteLoss() {
  if (!link_.IsOpen() || !link_.IsLost()) return;
  lost_ = true;
  link_.Close();
}

std::string SerialDriver::CommInfo(Language language) const { return CommInfoText(link_.params(), language); }

void SerialDriver::ResetCommParams() { link_.SetParams(SerialParams()); }

void SerialDriver::SaveCommParams(VariantWriter& writer) const { SaveParams(writer, link_.params()); }

HRESULT SerialDriver::LoadCommParams(VariantReader& reader) {
  SerialParams params = link_.params();
  const HRESULT result = LoadParams(reader, params);
  link_.SetParams(params);
  return result;
}

HRESULT SerialDriver::SetSerialParams(const SerialParams& params) {
  link_.SetParams(params);
  return S_OK;
}

std::span<const ErrorRow> SerialDriver::LinkErrors() const { return SerialErrorTexts(); }

}  // namespace ulix
