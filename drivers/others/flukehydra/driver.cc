#include "drivers/others/flukehydra/driver.h"

#include <utility>

#include "base/text.h"
#include "base/trace.h"
#include "drivers/catalogue.h"
#include "drivers/others/flukehydra/tables.h"

namespace ulix::flukehydra {
namespace {

constexpr int kAttempts = 5;
constexpr LineProfile kLine = {
    .terminator = '\n', .reply_size = 256, .open_attempts = 11, .read_ms = 10000, .write_ms = 1000};
constexpr ReplyPlan kResult = {.size = 512, .attempts = kAttempts};
constexpr ReplyPlan kResultPrompt = {.size = 4, .attempts = kAttempts, .prefix_suffices = true};
constexpr ReplyPlan kOrderPrompt = {.size = 50, .attempts = kAttempts};

constexpr int kLateAttempt = 5;  // from this attempt to open on, a line is traced

constexpr Refusals kReadingRefusals = {flukehydraCtlErrCmdExecError, flukehydraCtlErrNoMeasAvailable};
constexpr Refusals kConfigRefusals = {flukehydraCtlErrCmdSyntaxError, flukehydraCtlErrCmdExecError};

void TraceOpening(int attempt) {
  if (attempt < kLateAttempt) return;
  TraceLine(AnsiFromUtf8("FLUKE HYDRA Open() : ok, mais plus de 4 essais nécessaires !!!???"));
}

Wire HydraWire(const DriverServices& services) {
  Wire wire = LineWire(kLine, services);
  wire.options.on_open_retried = TraceOpening;
  return wire;
}

}  // namespace

FlukeHydraDriver::FlukeHydraDriver(const DriverServices& services) : IdentifiedDriver(kCard, HydraWire(services)) {}

IdentityQuery FlukeHydraDriver::identity_query() const {
  return {.query = "*IDN?\r",
          .reply = {.size = 256, .attempts = kAttempts},
          .other_instrument = flukehydraCtlErrNotFlukeHydra,
          .start = "FLUKE",
          .text = WithoutReturn,
          .trailing_lines = 1};
}

bool FlukeHydraDriver::IsModel(std::string_view identification) const { return IsHydra(identification); }

Expected<FlukeHydraDriver::Answer> FlukeHydraDriver::Ask(Conversation& talk, const std::string& query,
                                                         const Refusals& refusals) {
  auto result = talk.Query(query + '\r', kResult);
  // When the line was purged, the prompt of the identification may still have been coming. Then its end is here, before
  // the result.
  if (result && IsEndOfReady(*result)) result = talk.ReadReply(kResult);
  if (!result) return Failure(result.error());
  if (const HRESULT refusal = RefusalIn(*result, refusals); Failed(refusal)) return Failure(refusal);
  auto prompt = talk.ReadReply(kResultPrompt);
  if (!prompt) return Failure(prompt.error());
  if (IsPrompt(*prompt)) return Answer{std::move(*result), std::move(*prompt)};
  // An empty line also ends the answer.
  if (!WithoutReturn(*prompt).empty()) talk.MarkOutOfSync();
  return Failure(serialCommErrUnableToReadComm);
}

Reading FlukeHydraDriver::ReadChannel(ChannelId id) {
  if (id >= kChannelCount) return {.code = flukehydraCtlErrChNum};
  const auto scale = ScaleOf(ChannelIn(*settings().Current(), id));
  if (!scale) return {.code = scale.error()};
  return Exchange([&](Conversation& talk) -> Reading {
    const auto answer = Ask(talk, "LAST? " + std::to_string(id), kReadingRefusals);
    if (!answer) return {.code = answer.error()};
    // If a value comes with the prompt of a failure, the channel keeps its earlier value.
    if (IsImpossible(answer->prompt)) return {.doubt = Doubt::kNoValue};
    const auto value = ParseLast(answer->result, *scale);
    if (CodeOf(value) == serialCommErrUnableToReadComm) talk.MarkOutOfSync();
    return ReadingOf(value);
  });
}

HRESULT FlukeHydraDriver::Run() {
  return Exchange([](Conversation& talk) {
    const HRESULT result = SendAndExpectPrompt(talk, "PRINT 0\r");
    return Failed(result) ? result : SendAndExpectPrompt(talk, "SCAN 1\r");
  });
}

HRESULT FlukeHydraDriver::Stop() {
  return Exchange([](Conversation& talk) { return SendAndExpectPrompt(talk, "SCAN 0\r"); });
}

// Deliberate: a refused command gives the link's code. Hosts know it as the failure of a start or stop.
HRESULT FlukeHydraDriver::SendAndExpectPrompt(Conversation& talk, std::string_view command) {
  return talk.Command(command, kOrderPrompt, [](std::string_view prompt) {
    const bool empty = WithoutReturn(prompt).empty();
    return Verdict{empty || IsRefusal(prompt) ? serialCommErrUnableToReadComm : S_OK, empty || IsPrompt(prompt)};
  });
}

HRESULT FlukeHydraDriver::ReadCfg() {
  return Exchange([this](Conversation& talk) {
    auto record = settings().Snapshot();
    HRESULT result = ReadChannels(talk, record);
    if (Succeeded(result)) result = ReadShared(talk, record);
    if (Succeeded(result)) settings().Replace(std::move(record));
    if (result == flukehydraCtlErrNack) talk.MarkOutOfSync();
    return result;
  });
}

HRESULT FlukeHydraDriver::ReadChannels(Conversation& talk, std::vector<StoredValue>& record) {
  for (ChannelId id = 0; id < kChannelCount; ++id) {
    const auto config = AskConfig(talk, "FUNC? " + std::to_string(id)).and_then(ParseFunction);
    if (!config) return config.error();
    PutChannel(record, id, *config);
  }
  return S_OK;
}

HRESULT FlukeHydraDriver::ReadShared(Conversation& talk, std::vector<StoredValue>& record) {
  const auto number = [](std::uint32_t greatest) {
    return [greatest](const std::string& result) { return ParseNumber(result, greatest); };
  };
  const auto temperature = AskConfig(talk, "TEMP_CONFIG?").and_then(number(3));
  if (!temperature) return temperature.error();
  const auto rate = AskConfig(talk, "RATE?").and_then(number(1));
  if (!rate) return rate.error();
  const auto interval = AskConfig(talk, "INTVL?").and_then(ParseInterval);
  if (!interval) return interval.error();
  PutCode(record, kSettings[kTemperatureUnit], *temperature & 1U);
  PutCode(record, kSettings[kOpenThermocoupleCheck], *temperature >> 1U);
  PutCode(record, kSettings[kRate], *rate);
  PutCode(record, kSettings[kInterval], *interval);
  return S_OK;
}

Expected<std::string> FlukeHydraDriver::AskConfig(Conversation& talk, const std::string& query) {
  return Ask(talk, query, kConfigRefusals).and_then([](Answer&& answer) -> Expected<std::string> {
    if (IsRefusal(answer.prompt)) return Failure(flukehydraCtlErrCmdExecError);
    return std::move(answer.result);
  });
}

ChannelTraits FlukeHydraDriver::DescribeChannel(ChannelId id) const {
  const auto record = settings().Current();
  const ChannelConfig config = ChannelIn(*record, id);
  return {.on = config.function != 0,
          .unit = UnitOf(config, CodeIn(*record, kSettings[kTemperatureUnit])),
          .resolution = ResolutionOf(config),
          .limits = {}};
}

const CatalogueEntry kEntry{&kCard, MakeDriver<FlukeHydraDriver>};

}  // namespace ulix::flukehydra
