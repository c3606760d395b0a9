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
                           .clock = services.clock,
                           .trace = std::move(services.trace)};
  if (services.timeout_ms != 0) options.timeout_ms = services.timeout_ms;
  return options;
}

ReplyKind KindOf(std::string_view query) { return query == kIdentifyQuery ? ReplyKind::kLandmark : ReplyKind::kPlain; }

ReplyKind KindOfReply(std::string_view reply) { return IsAdt760(reply) ? ReplyKind::kLandmark : ReplyKind::kPlain; }

}  // namespace

Adt760Driver::Adt760Driver(DriverServices services)
    : Driver(kCard), clock_(*services.clock), link_(LinkOptions(std::move(services))) {}

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
  return NoteLoss(link_.Write(text));
}

// A device that takes nothing more is gone: the next exchange looks for it.
HRESULT Adt760Driver::NoteLoss(HRESULT result) {
  lost_ = Failed(result) && link_.IsOpen();
  if (lost_) link_.Close();
  return result;
}

bool Adt760Driver::WantsToKnow() const { return CodeIn(*settings().Current(), kSettings[kIdentify]) != 0; }

HRESULT Adt760Driver::Greet() {
  if (const HRESULT result = Send(kClearErrors); Failed(result)) return result;
  if (!WantsToKnow()) return S_OK;
  formal_ = true;
  const auto identification = owed_.empty() ? Ask(kIdentifyQuery) : Probe(ReplyKind::kLandmark);
  formal_ = false;
  if (!identification) return identification.error();
  return IsAdt760(*identification) ? S_OK : adt760CtlErrNotAdt760;
}

void Adt760Driver::Disconnect() {
  const std::lock_guard exchange(exchange_mutex_);
  link_.Close();
  greeted_ = lost_ = false;
}

Expected<std::string> Adt760Driver::Identify() {
  const std::lock_guard exchange(exchange_mutex_);
  Expected<std::string> line;
  const HRESULT result = InStep([&] {
    line = Ask(kIdentifyQuery);
    return CodeOf(line);
  });
  if (Failed(result)) return Failure(result);
  return std::string(Trimmed(*line));
}

HRESULT Adt760Driver::InStep(const std::function<HRESULT()>& operation) {
  for (int attempt = 0; attempt < kMaxProbes; ++attempt) {
    if (const HRESULT result = BringInStep(); Failed(result)) return result;
    const HRESULT result = operation();
    if (!std::exchange(stray_, false)) return result;
  }
  return winUsbCommErrUnableToReadComm;
}

HRESULT Adt760Driver::BringInStep() {
  if (const HRESULT back = HaveLinkBack(); Failed(back)) return back;
  // Where the host does not want to know which instrument it is, any may be there, and has no landmark.
  if (!owed_.empty() && !WantsToKnow()) {
    owed_.Clear();
    return NoteLoss(link_.Discard());
  }
  const auto probe = [this](ReplyKind kind) -> HRESULT {
    // Of a reply that this cuts in two, the rest settles nothing here.
    const HRESULT result = kind == ReplyKind::kLandmark ? NoteLoss(link_.Discard()) : S_OK;
    return Failed(result) ? result : CodeOf(Probe(kind));
  };
  return owed_.Settle(probe, winUsbCommErrUnableToReadComm);
}

HRESULT Adt760Driver::Put(std::string_view query, ReplyKind kind) {
  if (link_.IsOpen()) owed_.Asked(kind);  // also where it fails: some of it may have gone out
  return Send(query);
}

Expected<std::string> Adt760Driver::Ask(std::string_view query) {
  if (!owed_.empty()) return Failure(winUsbCommErrUnableToReadComm);  // the step was lost in the middle of an operation
  const ReplyKind kind = KindOf(query);
  if (const HRESULT result = Put(query, kind); Failed(result)) return Failure(result);
  auto reply = link_.Read();
  if (!reply) return reply;
  stray_ = kind == ReplyKind::kPlain && KindOfReply(*reply) == ReplyKind::kLandmark;
  if (stray_) return Failure(winUsbCommErrUnableToReadComm);
  if (!link_.cut() || link_.ReadWhole(Patience())) owed_.Clear();
  return reply;
}

Expected<std::string> Adt760Driver::Probe(ReplyKind kind) {
  // What the error queue says by then was never anybody's: it is cleared at the start of each operation.
  const HRESULT result = Put(kind == ReplyKind::kLandmark ? kIdentifyQuery : kErrorQuery, kind);
  if (Failed(result)) return Failure(result);
  return Await(kind);
}

Expected<std::string> Adt760Driver::Await(ReplyKind kind) {
  const Deadline patience = Patience();
  auto reply = link_.ReadWhole(patience);
  auto foreign = reply;
  while (reply) {
    const ReplyKind came = KindOfReply(*reply);
    owed_.Came(came);
    // A landmark that stopped midway and the plain reply behind it come as one.
    const bool flushed = kind == ReplyKind::kPlain && owed_.front() == kind;
    if (came == kind || flushed) return reply;
    foreign = std::exchange(reply, link_.ReadWhole(patience));
  }
  // At a greeting another model may answer, and be told from a silent one.
  return formal_ ? foreign : reply;
}

Deadline Adt760Driver::Patience() const { return Deadline::In(clock_, link_.timeout() * kMaxSilences); }

Expected<std::string> Adt760Driver::AskAnew(std::string_view query) {
  if (const HRESULT result = Send(kClearErrors); Failed(result)) return Failure(result);
  return Ask(query);
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
  Expected<float> value = 0.0F;
  const HRESULT result = InStep([&] {
    value = Measure(id);
    return CodeOf(value);
  });
  return Succeeded(result) ? Reading{S_OK, *value} : Reading{result, 0.0F};
}

Expected<float> Adt760Driver::Measure(ChannelId id) {
  const char* query = kQueries[id];
  if (id == kElectricalChannel) {
    const auto function = AskFunction();
    if (!function) return Failure(function.error());
    query = (*function)->query;
  }
  const auto answer = AskAnew(query);
  if (!answer) return Failure(answer.error());
  const auto value = ParseReading(*answer, id);
  const HRESULT queue = ReadErrorQueue();
  if (value && Failed(queue)) return Failure(queue);
  return value;
}

Expected<const ElectricalFunction*> Adt760Driver::AskFunction() {
  const auto answer = AskAnew(kFunctionQuery);
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
  // Venting is never ended from here, deliberately: a zero clears the error queue and that is all.
  if (command->empty()) return Send(kClearErrors);
  return InStep([&] {
    HRESULT result = Send(kClearErrors);
    if (Succeeded(result)) result = Send(*command);
    return Failed(result) ? result : ReadErrorQueue();
  });
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
