#include "drivers/others/isotech/driver.h"

#include <utility>

#include "drivers/catalogue.h"
#include "drivers/others/isotech/protocol.h"
#include "drivers/others/isotech/tables.h"

namespace ulix::isotech {
namespace {

// Frames are read by their length, so terminator and reply size are not used.
constexpr LineProfile kProfile = {.terminator = '\n', .reply_size = 64};

constexpr ReplyPlan kAddressedAnswer = {.size = kAddressedAnswerSize, .read_ms = 100};
constexpr ReplyPlan kLineAnswer = {.size = kLineAnswerSize, .read_ms = 1000};
constexpr ReplyPlan kNextByte = {.size = 1, .read_ms = 1000};

// The controller ignores its line for this time before and after a stop.
constexpr Milliseconds kStopPause{1000};

// The longest answer to a stop, in bytes.
constexpr int kLongestStopAnswer = 256;

constexpr std::string_view kSetPointCommand = "ST";
constexpr std::string_view kOutputOnCommand = "OC";
constexpr std::string_view kStopCommand = "CP";

// The verdict on an answer. An answer that is neither a confirmation nor a refusal may belong to another frame; an
// example is an answer that stopped midway and is filled with zeros.
Verdict Judged(std::string_view answer, HRESULT judgement) {
  return {judgement, answer.back() != '\0' && (Succeeded(judgement) || IsRefusal(answer))};
}

HRESULT ReadToLineEnd(Conversation& talk) {
  for (int i = 0; i < kLongestStopAnswer; ++i) {
    const auto byte = talk.ReadReply(kNextByte);
    if (!byte) return byte.error();
    if (HasEnded(*byte)) return S_OK;
  }
  return isotechCtlErrNack;
}

}  // namespace

IsotechDriver::IsotechDriver(const DriverServices& services)
    : Driver(kCard, FixedWire(kProfile, services), {.set_point_forwarding = this}) {}

void IsotechDriver::SetObject(SetPointObject object) {
  const std::lock_guard lock(object_mutex_);
  object_ = std::move(object);
}

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
      return E_INVALIDARG;  // an unknown stored code
  }
}

HRESULT IsotechDriver::SendToObject(std::uint32_t address, float degrees) {
  std::unique_lock lock(object_mutex_);
  const SetPointObject object = object_;
  lock.unlock();
  return object ? object(address, degrees) : E_NOTIMPL;
}

// An address above the highest one is replaced by the highest one, also in the settings.
HRESULT IsotechDriver::SendAddressed(std::uint32_t address, float degrees) {
  if (address > kHighestAddress) {
    address = kHighestAddress;
    settings().SetText(kSettings[kAddress], std::to_string(address));
  }
  const auto judge = [](std::string_view answer) { return Judged(answer, CheckAddressedAnswer(answer)); };
  return Exchange(
      [&](Conversation& talk) { return talk.Command(AddressedFrame(address, degrees), kAddressedAnswer, judge); });
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
  return Exchange([](Conversation& talk) {
    talk.Pause(kStopPause);
    const HRESULT result = SendStop(talk);
    talk.Pause(kStopPause);
    return result;
  });
}

HRESULT IsotechDriver::SendStop(Conversation& talk) {
  bool goes_on = false;
  const HRESULT result = talk.Command(LineFrame(kStopCommand), kLineAnswer, [&](std::string_view answer) {
    if (!IsLongStopAnswer(answer)) return Judged(answer, CheckLineAnswer(answer, kStopCommand));
    goes_on = !HasEnded(answer);
    return Verdict{S_OK, true};
  });
  return goes_on ? ReadToLineEnd(talk) : result;
}

HRESULT IsotechDriver::SendLine(std::string_view frame, std::string_view command) {
  const auto judge = [&](std::string_view answer) { return Judged(answer, CheckLineAnswer(answer, command)); };
  return Exchange([&](Conversation& talk) { return talk.Command(frame, kLineAnswer, judge); });
}

const CatalogueEntry kEntry{&kCard, MakeDriver<IsotechDriver>};

}  // namespace ulix::isotech
