#include "drivers/others/jofrartcptc/driver.h"

#include <utility>

#include "base/text.h"
#include "drivers/catalogue.h"
#include "drivers/others/jofrartcptc/protocol.h"

namespace ulix::jofrartcptc {
namespace {

constexpr std::array<std::uint32_t, 3> kRates = {9600, 19200, 115200};

// Some units end an answer with CR LF. The line feed then precedes the next answer, or is purged.
constexpr LineProfile kLine = {.terminator = '\r', .reply_size = 2048, .open_attempts = 11, .baud_rates = kRates};

// The verdict on an answer. An answer that neither confirms nor refuses may belong to another command.
Verdict Confirmed(bool confirms, std::string_view answer) {
  return {confirms ? S_OK : jofrartcptcCtlErrNack, confirms || IsError(answer)};
}

// Sends a command and checks its answer. With a null `answer` none is read. Any other answer is jofrartcptcCtlErrNack.
HRESULT SendAndExpect(Conversation& talk, std::string_view command, const char* answer) {
  if (!answer) return talk.Send(command);
  return talk.Command(command, kLine.usual(), [&](std::string_view reply) {
    reply = Trimmed(reply);
    return Confirmed(reply == answer, reply);
  });
}

HRESULT Take(Conversation& talk, std::span<const Step> steps) {
  for (const Step& step : steps) {
    if (const HRESULT result = SendAndExpect(talk, step.command, step.answer); Failed(result)) return result;
  }
  return S_OK;
}

}  // namespace

JofraRtcPtcDriver::JofraRtcPtcDriver(const DriverServices& services)
    : IdentifiedDriver(kCard, LineWire(kLine, services)) {}

const Dialect& JofraRtcPtcDriver::CurrentDialect() const {
  return CodeIn(*settings().Current(), kSettings[0]) == kCtcModel ? kCtc : kRtc;
}

// An instrument that does not answer the first query is not of these series.
Expected<bool> JofraRtcPtcDriver::StartSession(Conversation& talk) {
  const Dialect& dialect = CurrentDialect();
  usual_fields_ = last_fields_ = 0;
  if (const HRESULT result = Take(talk, dialect.prelude); Failed(result)) return Failure(result);
  const auto ascii = talk.QueryText("ascii+", kLine.usual(), Trimmed);
  if (!ascii && ascii.error() != serialCommErrUnableToReadComm) return Failure(ascii.error());
  if (!ascii || !SpeaksAscii(*ascii)) return Failure(jofrartcptcCtlErrNotJofraRtcPtc);
  const HRESULT result = CodeOf(CheckIdentity(talk));
  return Started(Failed(result) ? result : Take(talk, dialect.log_on));
}

// All steps are sent, even after one has failed.
void JofraRtcPtcDriver::EndSession(Conversation& talk) {
  for (const Step& step : CurrentDialect().leave) SendAndExpect(talk, step.command, step.answer);
}

IdentityQuery JofraRtcPtcDriver::identity_query() const {
  const Dialect& dialect = CurrentDialect();
  return {.query = dialect.identify,
          .reply = kLine.usual(),
          .other_instrument = dialect.not_this,
          .start = dialect.identification_start,
          .text = Trimmed};
}

bool JofraRtcPtcDriver::IsModel(std::string_view answer) const { return IsOf(CurrentDialect(), answer); }

// Whether an answer has the usual number of fields. A lost blank would move other values to the places of the channels.
// The right number is not known beforehand, so it is learned: two consecutive answers with the same number are right,
// even if the first answer of the session had another one.
bool JofraRtcPtcDriver::IsUsual(std::size_t fields) {
  const bool usual = usual_fields_ == 0 || fields == usual_fields_ || fields == last_fields_;
  if (usual) usual_fields_ = fields;
  last_fields_ = fields;
  return usual;
}

Reading JofraRtcPtcDriver::ReadChannel(ChannelId id) {
  const Dialect& dialect = CurrentDialect();
  if (id >= dialect.channels.size()) return {.code = jofrartcptcCtlErrChNum};
  const auto parse = [&](const std::string& answer) {
    const auto value = ParseReading(dialect, Trimmed(answer), dialect.channels[id]);
    return value && !IsUsual(CountFields(dialect, answer)) ? Failure(serialCommErrUnableToReadComm) : value;
  };
  return ReadingOf(Exchange([&](Conversation& talk) { return talk.Query(dialect.readings, kLine.usual(), parse); }));
}

HRESULT JofraRtcPtcDriver::WriteChannel(ChannelId id, float value) {
  const Dialect& dialect = CurrentDialect();
  if (id >= dialect.channels.size()) return jofrartcptcCtlErrChNum;
  if (id != kTargetChannel) return E_INVALIDARG;
  const auto command = SetPointCommand(dialect, value);
  if (!command) return command.error();
  return Exchange([&](Conversation& talk) -> HRESULT {
    const HRESULT sent = SendAndExpect(talk, *command, dialect.set_point_answer);
    if (Failed(sent)) return sent;
    return talk.Command(dialect.set_point, kLine.usual(), [&](std::string_view reply) {
      Verdict verdict = Confirmed(ConfirmsSetPoint(dialect, Trimmed(reply), value), Trimmed(reply));
      // If the command has no answer of its own, this refusal may belong to the command, and the query's answer is
      // still to come.
      verdict.own_reply = verdict.own_reply && (Succeeded(verdict.code) || dialect.set_point_answer);
      return verdict;
    });
  });
}

std::string JofraRtcPtcDriver::ChannelName(ChannelId id) const {
  const auto channels = CurrentDialect().channels;
  return id < channels.size() ? channels[id].name : kUnknownChannel;
}

ChannelTraits JofraRtcPtcDriver::DescribeChannel(ChannelId id) const {
  ChannelTraits traits = Driver::DescribeChannel(id);
  traits.offered = id < CurrentDialect().channels.size();
  return traits;
}

const CatalogueEntry kEntry{&kCard, MakeDriver<JofraRtcPtcDriver>};

}  // namespace ulix::jofrartcptc
