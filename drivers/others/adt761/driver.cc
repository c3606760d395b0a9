#include "drivers/others/adt761/driver.h"

#include <utility>

#include "base/trace.h"
#include "drivers/others/adt761/protocol.h"

namespace ulix::adt761 {
namespace {

constexpr int kLongestAnswer = 256;
constexpr int kLongestSetPoint = 50;
constexpr int kLongestAcknowledgement = 50;
constexpr int kUnknownResolution = 6;

constexpr std::array<std::uint32_t, 7> kRates = {2400, 4800, 9600, 19200, 38400, 57600, 115200};
constexpr LineProfile kLine = {
    .terminator = '\0', .reply_size = kLongestAnswer + 1, .open_attempts = 11, .baud_rates = kRates};
constexpr int kLateAttempt = 5;  // from which on the user is told

constexpr std::string_view kTypeQuery = ":R:OTYPE";
constexpr std::string_view kReleaseKeypad = ":W:OKEYLOCK:0";

}  // namespace

Adt761Driver::Adt761Driver(DriverServices services) : SerialDriver(kCard, kLine, std::move(services)) {}

void Adt761Driver::OpenedLate(int attempt) { opened_late_ = attempt >= kLateAttempt; }

std::optional<TextId> Adt761Driver::TakeWarning() {
  return opened_late_.exchange(false) ? std::optional(TextId::kOpenedLate) : std::nullopt;
}

HRESULT Adt761Driver::Greet() {
  if (CodeIn(*settings().Current(), kSettings[kLinkMode]) != kInstrument) return S_OK;
  const auto answer = Identify();
  if (!answer) return answer.error();
  switch (ParseIntroduction(*answer)) {
    case Introduction::kAdt761:
      return S_OK;
    case Introduction::kRefused:  // lenient on purpose: hosts look at IsConnected
      return kNotConnected;
    case Introduction::kOther:
      break;
  }
  return adt761CtlErrNotAdt761;
}

// What the instrument says to it comes too late for anybody.
void Adt761Driver::TakeLeave() {
  DiscardInput();
  Send(kReleaseKeypad);
}

Expected<std::string> Adt761Driver::Identify() { return Ask(kTypeQuery, kLongestAnswer); }

// Where the host does not want to know which instrument it is, any may be there.
Landmark Adt761Driver::landmark() const {
  const bool known = CodeIn(*settings().Current(), kSettings[kLinkMode]) == kInstrument;
  return known ? Landmark{.query = kTypeQuery} : Landmark{};
}

bool Adt761Driver::IsLandmark(std::string_view reply) const {
  const std::size_t start = reply.rfind(":F:OTYPE");
  return start != reply.npos && ParseIntroduction(reply.substr(start)) == Introduction::kAdt761;
}

HRESULT Adt761Driver::Transmit(std::string_view text) {
  const auto prefix = static_cast<char>(CodeIn(*settings().Current(), kSettings[kFramePrefix]));
  return link().WriteBytes(prefix + std::string(text) + '\0', 0);
}

Expected<std::string> Adt761Driver::Ask(std::string_view text, int longest) {
  // A frame without its end may be cut anywhere, and counts for none.
  return Query(text, {longest + 1}, [longest](std::string&& answer) -> Expected<std::string> {
    if (answer.size() >= static_cast<std::size_t>(longest)) return Failure(serialCommErrUnableToReadComm);
    return std::move(answer);
  });
}

template <typename Parse>
auto Adt761Driver::Ask(std::string_view text, int longest, Parse parse) -> decltype(parse(std::string_view())) {
  const auto answer = Ask(text, longest);
  if (!answer) return Failure(answer.error());
  auto value = parse(*answer);
  if (!value && !SaysNothing(*answer)) Distrust();
  return value;
}

Reading Adt761Driver::ReadChannel(ChannelId id) {
  if (id >= kReadings.size()) return {.code = adt761CtlErrChNum};
  const std::lock_guard exchange(exchange_mutex_);
  const auto value = Measure(id);
  return value ? Reading{S_OK, *value} : Reading{value.error(), 0.0F};
}

Expected<float> Adt761Driver::Measure(ChannelId id) {
  const auto query = ChooseQuery(id);
  if (!query) return Failure(query.error());
  const int longest = id == kSetPointChannel ? kLongestSetPoint : kLongestAnswer;
  const auto measured =
      Ask(*query, longest, [&](std::string_view answer) { return ParseReading(answer, *query, kReadings[id]); });
  if (!measured) return Failure(measured.error());
  units_[id] = measured->unit;
  return measured->value;
}

Expected<const char*> Adt761Driver::ChooseQuery(ChannelId id) {
  const Channel& channel = kReadings[id];
  if (channel.first == FirstAsk::kNothing) return channel.query;
  // Whatever is sourced, the sources' channels are there.
  if (channel.first == FirstAsk::kSourcedItem) {
    return Ask(kSourcedItemQuery, kLongestAnswer, [&](std::string_view answer) {
      return Accepted(answer, kSourcedItemQuery).map([&](const auto&) { return channel.query; });
    });
  }
  const auto item = Ask(kMeasuredItemQuery, kLongestAnswer, ParseItem);
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
  const std::lock_guard exchange(exchange_mutex_);
  if (write->before) {
    if (const HRESULT result = Order(write->before, write->before_answer); Failed(result)) return result;
  }
  return Order(*command, write->answer);
}

HRESULT Adt761Driver::Order(std::string_view command, std::string_view acknowledgement) {
  return CodeOf(Ask(command, kLongestAcknowledgement, [&](std::string_view answer) -> Expected<std::string_view> {
    if (!answer.starts_with(acknowledgement)) return Failure(adt761CtlErrNack);
    return acknowledgement;
  }));
}

std::string Adt761Driver::ChannelUnit(ChannelId id) const {
  if (id >= kReadings.size()) return "";
  const Unit* told = units_[id];
  return told ? told->display : kReadings[id].unit;
}

int Adt761Driver::ChannelResolution(ChannelId id) const {
  return id < kReadings.size() ? kReadings[id].resolution : kUnknownResolution;
}

}  // namespace ulix::adt761
