#include "drivers/others/adt761/driver.h"

#include <utility>

#include "base/trace.h"
#include "drivers/catalogue.h"
#include "drivers/others/adt761/protocol.h"

namespace ulix::adt761 {
namespace {

constexpr int kLongestAnswer = 256;
constexpr int kLongestSetPoint = 50;
constexpr int kLongestAcknowledgement = 50;

constexpr std::array<std::uint32_t, 7> kRates = {2400, 4800, 9600, 19200, 38400, 57600, 115200};
constexpr LineProfile kLine = {
    .terminator = '\0', .reply_size = kLongestAnswer + 1, .open_attempts = 11, .baud_rates = kRates};
constexpr int kLateAttempt = 5;  // from this attempt on the user is warned

constexpr std::string_view kTypeQuery = ":R:OTYPE";
constexpr std::string_view kReleaseKeypad = ":W:OKEYLOCK:0";

// Whether a frame has no end. It may be cut anywhere, so it counts as no answer.
bool IsCut(std::string_view answer, int longest) { return answer.size() >= static_cast<std::size_t>(longest); }

// Makes one query. The answer has at most `longest` bytes including its NUL, and is returned without it.
Expected<std::string> Ask(Conversation& talk, std::string_view text, int longest) {
  return talk.Query(text, {longest + 1}, [longest](std::string&& answer) -> Expected<std::string> {
    if (IsCut(answer, longest)) return Failure(serialCommErrUnableToReadComm);
    return std::move(answer);
  });
}

// Makes one query and returns what `parse` makes of the answer. An answer that `parse` refuses may belong to another
// query, unless it says that there is no value.
template <typename Parse>
auto Ask(Conversation& talk, std::string_view text, int longest, Parse parse) -> decltype(parse(std::string_view())) {
  const auto answer = Ask(talk, text, longest);
  if (!answer) return Failure(answer.error());
  auto value = parse(*answer);
  if (!value && !SaysNothing(*answer)) talk.MarkOutOfSync();
  return value;
}

HRESULT SendAndExpect(Conversation& talk, std::string_view command, std::string_view acknowledgement) {
  return talk.Command(command, {kLongestAcknowledgement + 1}, [&](std::string_view answer) {
    if (IsCut(answer, kLongestAcknowledgement)) return Verdict{serialCommErrUnableToReadComm, false};
    const bool taken = answer.starts_with(acknowledgement);
    return Verdict{taken ? S_OK : adt761CtlErrNack, taken || SaysNothing(answer)};
  });
}

}  // namespace

Adt761Driver::Adt761Driver(const DriverServices& services)
    : Driver(kCard, [&] {
        Wire wire = LineWire(kLine, services, [this](std::string_view text) { return FrameOf(text); });
        wire.options.on_open_retried = [this](int attempt) {
          if (attempt >= kLateAttempt) Warn(TextId::kOpenedLate);
        };
        return wire;
      }()) {}

bool Adt761Driver::IdentifiesOnConnect() const {
  return CodeIn(*settings().Current(), kSettings[kLinkMode]) == kInstrument;
}

Expected<bool> Adt761Driver::StartSession(Conversation& talk) {
  if (!IdentifiesOnConnect()) return true;
  const auto answer = Ask(talk, kTypeQuery, kLongestAnswer);
  if (!answer) return Failure(answer.error());
  switch (ParseIntroduction(*answer)) {
    case Introduction::kAdt761:
      return Started(talk.Admit(*answer, adt761CtlErrNotAdt761));
    case Introduction::kRefused:  // deliberate: no failure, because hosts look at IsConnected
      return false;
    case Introduction::kOther:
      break;
  }
  return Failure(adt761CtlErrNotAdt761);
}

// The acknowledgement is not read, because the link is closed next.
void Adt761Driver::EndSession(Conversation& talk) {
  talk.DiscardInput();
  talk.Send(kReleaseKeypad);
}

Expected<std::string> Adt761Driver::Identify() {
  return Exchange([](Conversation& talk) { return Ask(talk, kTypeQuery, kLongestAnswer); });
}

// Without identification there is no sync query, because any instrument may be connected.
SyncQuery Adt761Driver::sync_query() const {
  return IdentifiesOnConnect() ? SyncQuery{.query = kTypeQuery} : SyncQuery{};
}

bool Adt761Driver::IsSyncReply(std::string_view reply) const {
  const std::size_t start = reply.rfind(":F:OTYPE");
  return start != reply.npos && ParseIntroduction(reply.substr(start)) == Introduction::kAdt761;
}

std::string Adt761Driver::FrameOf(std::string_view text) const {
  const auto prefix = static_cast<char>(CodeIn(*settings().Current(), kSettings[kFramePrefix]));
  return prefix + std::string(text) + '\0';
}

Reading Adt761Driver::ReadChannel(ChannelId id) {
  if (id >= kReadings.size()) return {.code = adt761CtlErrChNum};
  return ReadingOf(Exchange([&](Conversation& talk) { return Measure(talk, id); }));
}

Expected<float> Adt761Driver::Measure(Conversation& talk, ChannelId id) {
  const auto query = ChooseQuery(talk, id);
  if (!query) return Failure(query.error());
  const int longest = id == kSetPointChannel ? kLongestSetPoint : kLongestAnswer;
  const auto parse = [&](std::string_view answer) { return ParseReading(answer, *query, kReadings[id]); };
  const auto measured = Ask(talk, *query, longest, parse);
  if (!measured) return Failure(measured.error());
  units_[id] = measured->unit;
  return measured->value;
}

Expected<const char*> Adt761Driver::ChooseQuery(Conversation& talk, ChannelId id) {
  const Channel& channel = kReadings[id];
  if (channel.first == FirstAsk::kNothing) return channel.query;
  // The channels of the sources exist whatever is sourced.
  if (channel.first == FirstAsk::kSourcedItem) {
    return Ask(talk, kSourcedItemQuery, kLongestAnswer, [&](std::string_view answer) {
      return Accepted(answer, kSourcedItemQuery).map([&](const auto&) { return channel.query; });
    });
  }
  const auto item = Ask(talk, kMeasuredItemQuery, kLongestAnswer, ParseItem);
  if (!item) return Failure(item.error());
  if (!Provides(*item, id)) {
    TraceLine(std::string("CUlixInstrAdt761Ctl: measuring ") + item->display + "\n");
    return Failure(adt761CtlErrNoMeasAvailable);
  }
  return channel.query ? channel.query : item->pressure_query;
}

HRESULT Adt761Driver::WriteChannel(ChannelId id, float value) {
  const Write* write = FindWrite(id);
  if (!write) return adt761CtlErrChNum;
  const auto command = WriteCommand(*write, value);
  if (!command) return command.error();
  return Exchange([&](Conversation& talk) {
    const HRESULT prepared = write->before ? SendAndExpect(talk, write->before, write->before_answer) : S_OK;
    return Failed(prepared) ? prepared : SendAndExpect(talk, *command, write->answer);
  });
}

ChannelTraits Adt761Driver::DescribeChannel(ChannelId id) const {
  const Unit* unit = units_[id];
  return {.unit = unit ? unit->display : kReadings[id].unit, .resolution = kReadings[id].resolution, .limits = {}};
}

const CatalogueEntry kEntry{&kCard, MakeDriver<Adt761Driver>};

}  // namespace ulix::adt761
