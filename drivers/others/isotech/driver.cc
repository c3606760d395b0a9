#include "drivers/others/isotech/driver.h"

#include <utility>

#include "drivers/others/isotech/protocol.h"
#include "drivers/others/isotech/tables.h"

namespace ulix::isotech {
namespace {

// Frames are read by their length; the terminator and the size serve nothing here.
constexpr LineProfile kProfile = {.terminator = '\n', .reply_size = 64};

constexpr std::uint32_t kAddressedTimeoutMs = 100;
constexpr std::uint32_t kLineTimeoutMs = 1000;

// The controller hears nothing for a while before and after a stop.
constexpr Milliseconds kStopPause{1000};

// A stop answer that goes on beyond this has no end.
constexpr int kLongestStopAnswer = 256;

constexpr std::string_view kSetPointCommand = "ST";
constexpr std::string_view kOutputOnCommand = "OC";
constexpr std::string_view kStopCommand = "CP";

}  // namespace

IsotechDriver::IsotechDriver(DriverServices services) : SerialDriver(kCard, kProfile, std::move(services)) {}

void IsotechDriver::SetObject(SetPointObject object) {
  const std::lock_guard lock(object_mutex_);
  object_ = std::move(object);
}

Expected<std::string> IsotechDriver::Identify() { return Failure(E_NOTIMPL); }

Reading IsotechDriver::ReadChannel(ChannelId) { return {.code = E_INVALIDARG}; }

HRESULT IsotechDriver::WriteChannel(ChannelId id, float value) {
  return id == kSetPointChannel ? SendSetPoint(value) : E_INVALIDARG;
}

HRESULT IsotechDriver::SendSetPoint(float degrees) {
  const auto record = settings().Current();
  const std::uint32_t model = CodeIn(*record, kSettings[kModel]);
  const std::uint32_t address = CodeIn(*record, kSettings[kAddress]);
  if (const HRESULT result = CheckSetPoint(model, degrees); Failed(result)) return result;
  switch (model) {
    case kAddressed:
      return SendAddressed(address, degrees);
    case kObject:
      return SendToObject(address, degrees);
    case kLine:
      return SendLine(LineSetPointFrame(degrees), kSetPointCommand);
    default:
      return E_INVALIDARG;  // a stored code that names no protocol
  }
}

HRESULT IsotechDriver::SendToObject(std::uint32_t address, float degrees) {
  std::unique_lock lock(object_mutex_);
  const SetPointObject object = object_;
  lock.unlock();
  return object ? object(address, degrees) : E_NOTIMPL;
}

// An address beyond the highest is sent as that one, and is that one from then on.
HRESULT IsotechDriver::SendAddressed(std::uint32_t address, float degrees) {
  if (address > kHighestAddress) {
    address = kHighestAddress;
    settings().SetText(kSettings[kAddress], std::to_string(address));
  }
  const std::lock_guard exchange(exchange_mutex_);
  const auto answer = Ask(AddressedFrame(address, degrees), kAddressedAnswerSize, kAddressedTimeoutMs);
  return answer ? Judged(*answer, CheckAddressedAnswer(*answer)) : answer.error();
}

HRESULT IsotechDriver::Run() {
  const auto record = settings().Current();
  const std::uint32_t mode = CodeIn(*record, kSettings[kStartMode]);
  if (mode == kSendSetPoint) return SendSetPoint(static_cast<float>(SignedIn(*record, kSettings[kStartSetPoint])));
  const bool switches_on = mode == kSwitchOutputOn && CodeIn(*record, kSettings[kModel]) == kLine;
  return switches_on ? SendLine(LineFrame(kOutputOnCommand), kOutputOnCommand) : S_OK;
}

HRESULT IsotechDriver::Stop() {
  if (CodeIn(*settings().Current(), kSettings[kModel]) != kLine) return S_OK;
  const std::lock_guard exchange(exchange_mutex_);
  clock().SleepFor(kStopPause);
  const HRESULT result = SendStop();
  clock().SleepFor(kStopPause);
  return result;
}

HRESULT IsotechDriver::SendStop() {
  const std::lock_guard exchange(exchange_mutex_);
  const auto answer = Ask(LineFrame(kStopCommand), kLineAnswerSize, kLineTimeoutMs);
  if (!answer) return answer.error();
  if (!IsLongStopAnswer(*answer)) return Judged(*answer, CheckLineAnswer(*answer, kStopCommand));
  return HasEnded(*answer) ? S_OK : ReadToLineEnd();
}

HRESULT IsotechDriver::Judged(std::string_view answer, HRESULT judgement) {
  if (Failed(judgement) && !IsRefusal(answer)) Distrust();
  return judgement;
}

HRESULT IsotechDriver::ReadToLineEnd() {
  for (int i = 0; i < kLongestStopAnswer; ++i) {
    const auto byte = ReadAnswer(1, kLineTimeoutMs);
    if (!byte) return byte.error();
    if (HasEnded(*byte)) return S_OK;
  }
  return isotechCtlErrNack;
}

HRESULT IsotechDriver::SendLine(std::string_view frame, std::string_view command) {
  const std::lock_guard exchange(exchange_mutex_);
  const auto answer = Ask(frame, kLineAnswerSize, kLineTimeoutMs);
  return answer ? Judged(*answer, CheckLineAnswer(*answer, command)) : answer.error();
}

Expected<std::string> IsotechDriver::Ask(std::string_view frame, std::size_t answer_size, std::uint32_t timeout_ms) {
  const std::lock_guard exchange(exchange_mutex_);
  HRESULT result = PrepareLine();
  if (Failed(result)) return Failure(result);
  result = link().WriteBytes(frame, 0);
  if (Succeeded(result)) return ReadAnswer(answer_size, timeout_ms);
  NoteLoss();
  return Failure(result);
}

Expected<std::string> IsotechDriver::ReadAnswer(std::size_t size, std::uint32_t timeout_ms) {
  std::string answer(size, '\0');
  const HRESULT result = link().ReadBytes(answer, TimeoutOr(timeout_ms));
  if (Failed(result) || answer.back() == '\0') Distrust();
  if (Succeeded(result)) return answer;
  NoteLoss();
  return Failure(result);
}

}  // namespace ulix::isotech
