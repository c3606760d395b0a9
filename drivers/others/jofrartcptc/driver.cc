#include "drivers/others/jofrartcptc/driver.h"

#include <utility>

#include "base/text.h"
#include "drivers/others/jofrartcptc/protocol.h"

namespace ulix::jofrartcptc {
namespace {

constexpr std::array<std::uint32_t, 3> kRates = {9600, 19200, 115200};

// Some units end an answer by CR LF: the line feed then stands before the next answer, or is purged.
constexpr LineProfile kLine = {.terminator = '\r', .reply_size = 2048, .open_attempts = 11, .baud_rates = kRates};

}  // namespace

JofraRtcPtcDriver::JofraRtcPtcDriver(DriverServices services) : SerialDriver(kCard, kLine, std::move(services)) {}

const Dialect& JofraRtcPtcDriver::Spoken() const {
  return CodeIn(*settings().Current(), kSettings[0]) == kCtcModel ? kCtc : kRtc;
}

HRESULT JofraRtcPtcDriver::Greet() {
  const Dialect& dialect = Spoken();
  if (const HRESULT result = Take(dialect.prelude); Failed(result)) return result;
  const auto ascii = Ask("ascii+");
  if (!ascii) return ascii.error();
  if (!SpeaksAscii(*ascii)) return jofrartcptcCtlErrNotJofraRtcPtc;
  const auto identification = Ask(dialect.identify);
  if (!identification) return identification.error();
  return IsOf(dialect, *identification) ? Take(dialect.log_on) : dialect.not_this;
}

// A step that fails does not spare the instrument the next.
void JofraRtcPtcDriver::TakeLeave() {
  for (const Step& step : Spoken().leave) Order(step.command, step.answer);
}

bool JofraRtcPtcDriver::IsLandmark(std::string_view reply) const {
  const std::size_t start = reply.rfind(Spoken().identification_start);
  return start != reply.npos && IsOf(Spoken(), Trimmed(reply.substr(start)));
}

Expected<std::string> JofraRtcPtcDriver::Identify() { return Ask(Spoken().identify); }

Reading JofraRtcPtcDriver::ReadChannel(ChannelId id) {
  const Dialect& dialect = Spoken();
  if (id >= dialect.channels.size()) return {.code = jofrartcptcCtlErrChNum};
  const auto value = Query(dialect.readings, usual_plan(), [&](const std::string& answer) {
    return ParseReading(dialect, Trimmed(answer), dialect.channels[id]);
  });
  return ReadingOf(value);
}

HRESULT JofraRtcPtcDriver::WriteChannel(ChannelId id, float value) {
  const Dialect& dialect = Spoken();
  if (id >= dialect.channels.size()) return jofrartcptcCtlErrChNum;
  if (id != kTargetChannel) return E_INVALIDARG;
  const auto command = SetPointCommand(dialect, value);
  if (!command) return command.error();
  const std::lock_guard exchange(exchange_mutex_);
  if (const HRESULT result = Order(*command, dialect.set_point_answer); Failed(result)) return result;
  const auto told = Ask(dialect.set_point);
  if (!told) return told.error();
  return ConfirmsSetPoint(dialect, *told, value) ? S_OK : NotAgreed(*told);
}

Expected<std::string> JofraRtcPtcDriver::Ask(std::string_view query) {
  return Query(query, usual_plan(), [](const std::string& line) -> Expected<std::string> {
    const std::string_view answer = Trimmed(line);
    if (answer.empty()) return Failure(serialCommErrUnableToReadComm);
    return std::string(answer);
  });
}

HRESULT JofraRtcPtcDriver::Order(std::string_view command, const char* answer) {
  if (!answer) return Send(command);
  const std::lock_guard exchange(exchange_mutex_);
  const auto told = Ask(command);
  if (!told) return told.error();
  return *told == answer ? S_OK : NotAgreed(*told);
}

// Unless the instrument says that it refuses, the answer may be another command's.
HRESULT JofraRtcPtcDriver::NotAgreed(std::string_view answer) {
  if (!IsError(answer)) Distrust();
  return jofrartcptcCtlErrNack;
}

HRESULT JofraRtcPtcDriver::Take(std::span<const Step> steps) {
  for (const Step& step : steps) {
    if (const HRESULT result = Order(step.command, step.answer); Failed(result)) return result;
  }
  return S_OK;
}

std::string JofraRtcPtcDriver::ChannelName(ChannelId id) const {
  const auto channels = Spoken().channels;
  return id < channels.size() ? channels[id].name : kUnknownChannel;
}

}  // namespace ulix::jofrartcptc
