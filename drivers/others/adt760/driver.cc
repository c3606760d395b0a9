#include "drivers/others/adt760/driver.h"

#include <cstdio>
#include <utility>

#include "base/text.h"
#include "drivers/others/adt760/protocol.h"
#include "links/usb_errors.h"

namespace ulix::adt760 {
namespace {

constexpr std::string_view kClearErrors = "*CLS\n";
constexpr std::string_view kIdentifyQuery = "*IDN?\n";
constexpr std::string_view kFunctionQuery = "SENS:ELEC:FUNC?\n";
constexpr std::string_view kErrorQuery = "SYST:ERR?\n";
constexpr int kUnknownResolution = 6;

UsbLink::Options LinkOptions(DriverServices services) {
  UsbLink::Options options{.not_loaded = adt761CtlErrWinUsbNotLoaded,
                           .load = std::move(services.load_usb_library),
                           .trace = std::move(services.trace)};
  if (services.timeout_ms != 0) options.timeout_ms = services.timeout_ms;
  return options;
}

}  // namespace

Adt760Driver::Adt760Driver(DriverServices services) : Driver(kCard), link_(LinkOptions(std::move(services))) {}

UsbIdentity Adt760Driver::Wanted() const {
  const auto record = settings().Current();
  return {.guid = ParseGuid(TextIn(*record, kSettings[kGuid])).value_or(UsbGuid()),
          .vendor = static_cast<std::uint16_t>(CodeIn(*record, kSettings[kVendor])),
          .product = static_cast<std::uint16_t>(CodeIn(*record, kSettings[kProduct]))};
}

// A text that is no GUID names no device; without one the device is looked for.
HRESULT Adt760Driver::OpenLink() {
  const std::lock_guard exchange(exchange_mutex_);
  if (lost_) return HaveLinkBack();
  const UsbIdentity wanted = Wanted();
  const bool named = !TextIn(*settings().Current(), kSettings[kGuid]).empty();
  if (named && wanted.guid == UsbGuid()) return winUsbCommErrGuidNotFound;
  return link_.Open(wanted);
}

bool Adt760Driver::LinkIsOpen() const {
  const std::lock_guard exchange(exchange_mutex_);
  return link_.IsOpen();
}

HRESULT Adt760Driver::CheckLink() {
  const std::lock_guard exchange(exchange_mutex_);
  return link_.Load();
}

HRESULT Adt760Driver::Connect() {
  const std::lock_guard exchange(exchange_mutex_);
  greeted_ = lost_ = false;
  HRESULT result = OpenLink();
  if (Succeeded(result)) result = Greet();
  if (Failed(result)) link_.Close();
  greeted_ = Succeeded(result);
  lost_ = false;
  return result;
}

HRESULT Adt760Driver::HaveLinkBack() {
  if (!std::exchange(lost_, false)) return S_OK;
  HRESULT result = OpenLink();
  if (Failed(result)) result = winUsbCommErrCommClosed;
  if (Succeeded(result) && greeted_) result = Greet();
  if (Failed(result)) link_.Close();
  lost_ = Failed(result);
  return result;
}

HRESULT Adt760Driver::Send(std::string_view text) {
  if (const HRESULT back = HaveLinkBack(); Failed(back)) return back;
  const HRESULT result = link_.Write(text);
  lost_ = Failed(result) && link_.IsOpen();
  if (lost_) link_.Close();
  return result;
}

HRESULT Adt760Driver::Greet() {
  if (const HRESULT result = Send(kClearErrors); Failed(result)) return result;
  if (CodeIn(*settings().Current(), kSettings[kIdentify]) == 0) return S_OK;
  const auto identification = Identify();
  if (!identification) return identification.error();
  return IsAdt760(*identification) ? S_OK : adt760CtlErrNotAdt760;
}

void Adt760Driver::Disconnect() {
  const std::lock_guard exchange(exchange_mutex_);
  link_.Close();
  greeted_ = lost_ = false;
}

Expected<std::string> Adt760Driver::Identify() {
  return Ask(kIdentifyQuery).map([](const std::string& line) { return std::string(Trimmed(line)); });
}

Expected<std::string> Adt760Driver::Ask(std::string_view query) {
  const std::lock_guard exchange(exchange_mutex_);
  if (const HRESULT result = Send(query); Failed(result)) return Failure(result);
  return link_.Read();
}

HRESULT Adt760Driver::Order(std::string_view command) {
  if (const HRESULT result = Send(kClearErrors); Failed(result)) return result;
  return Send(command);
}

HRESULT Adt760Driver::ReadErrorQueue() {
  const auto answer = Ask(kErrorQuery);
  if (!answer) return answer.error();
  last_error_ = *answer;
  return CheckErrorQueue(*answer);
}

// The queue is read after every answer, good or bad; the first failure counts.
Reading Adt760Driver::ReadChannel(ChannelId id) {
  if (id >= kChannels.size()) return {.code = adt760CtlErrChNum};
  const std::lock_guard exchange(exchange_mutex_);
  const auto value = Measure(id);
  return value ? Reading{S_OK, *value} : Reading{value.error(), 0.0F};
}

Expected<float> Adt760Driver::Measure(ChannelId id) {
  const char* query = kQueries[id];
  if (id == kElectricalChannel) {
    const auto function = AskFunction();
    if (!function) return Failure(function.error());
    query = (*function)->query;
  }
  if (const HRESULT result = Order(query); Failed(result)) return Failure(result);
  const auto answer = link_.Read();
  if (!answer) return Failure(answer.error());
  const auto value = ParseReading(*answer, id);
  const HRESULT queue = ReadErrorQueue();
  if (value && Failed(queue)) return Failure(queue);
  return value;
}

Expected<const ElectricalFunction*> Adt760Driver::AskFunction() {
  if (const HRESULT result = Order(kFunctionQuery); Failed(result)) return Failure(result);
  const auto answer = link_.Read();
  if (!answer) return Failure(answer.error());
  const HRESULT queue = ReadErrorQueue();
  const ElectricalFunction* function = FindFunction(*answer);
  if (!function) return Failure(winUsbCommErrUnableToReadComm);
  if (Failed(queue)) return Failure(queue);
  function_ = function;
  return function;
}

HRESULT Adt760Driver::WriteChannel(ChannelId id, float value) {
  const auto command = WriteCommand(id, value);
  if (!command) return command.error();
  const std::lock_guard exchange(exchange_mutex_);
  // Venting is never ended from here, deliberately: a nought clears the error queue and that is all.
  if (command->empty()) return Send(kClearErrors);
  if (const HRESULT result = Order(*command); Failed(result)) return result;
  return ReadErrorQueue();
}

std::string Adt760Driver::ChannelUnit(ChannelId id) const {
  if (id < kElectricalChannel || id == kSetPointChannel) return kPressureUnit;
  if (id == kElectricalChannel) return function_.load()->unit;
  return id == kCurrentChannel ? kCurrentUnit : "";
}

int Adt760Driver::ChannelResolution(ChannelId id) const {
  if (id >= kChannels.size()) return kUnknownResolution;
  return id == kVentChannel ? 0 : kResolution;
}

std::string Adt760Driver::CommInfo(Language) const {
  const std::lock_guard exchange(exchange_mutex_);
  const UsbIdentity identity = link_.IsOpen() ? link_.identity() : Wanted();
  std::array<char, 48> ids{};
  std::snprintf(ids.data(), ids.size(), " VENDOR_ID:%04X PRODUCT_ID:%04X", identity.vendor, identity.product);
  return "GUID:" + GuidText(identity.guid) + ids.data();
}

std::span<const ErrorRow> Adt760Driver::LinkErrors() const { return UsbErrorTexts(); }

std::string Adt760Driver::LastError() const {
  const std::lock_guard exchange(exchange_mutex_);
  return last_error_;
}

}  // namespace ulix::adt760
