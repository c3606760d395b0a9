#include "drivers/others/flukehydra/driver.h"

#include <utility>

#include "base/text.h"
#include "base/trace.h"
#include "drivers/others/flukehydra/tables.h"

namespace ulix::flukehydra {
namespace {

constexpr std::string_view kIdentify = "*IDN?\r";
constexpr int kAttempts = 5;
constexpr LineProfile kLine = {
    .terminator = '\n', .reply_size = 256, .open_attempts = 11, .read_ms = 10000, .write_ms = 1000};
constexpr ReplyPlan kIdentification = {.size = 256, .attempts = kAttempts};
constexpr ReplyPlan kResult = {.size = 512, .attempts = kAttempts};
constexpr ReplyPlan kResultPrompt = {.size = 4, .attempts = kAttempts, .start_does = true};
constexpr ReplyPlan kOrderPrompt = {.size = 50, .attempts = kAttempts};

// From here on a late opening is worth a trace.
constexpr int kLateAttempt = 5;

// A value came with the prompt of a failure: the channel keeps the value it had.
constexpr HRESULT kNotStored = 1;

constexpr Refusals kReadingRefusals = {flukehydraCtlErrCmdExecError, flukehydraCtlErrNoMeasAvailable};
constexpr Refusals kConfigRefusals = {flukehydraCtlErrCmdSyntaxError, flukehydraCtlErrCmdExecError};

}  // namespace

FlukeHydraDriver::FlukeHydraDriver(DriverServices services) : SerialDriver(kCard, kLine, std::move(services)) {}

HRESULT FlukeHydraDriver::Greet() {
  const auto identification = Identify();
  if (!identification) return identification.error();
  return IsHydra(*identification) ? S_OK : flukehydraCtlErrNotFlukeHydra;
}

void FlukeHydraDriver::OpenedLate(int attempt) {
  if (attempt < kLateAttempt) return;
  TraceLine(AnsiFromUtf8("FLUKE HYDRA Open() : ok, mais plus de 4 essais nécessaires !!!???"));
}

Landmark FlukeHydraDriver::landmark() const { return {.query = kIdentify, .lines_behind = 1}; }

bool FlukeHydraDriver::IsLandmark(std::string_view reply) const {
  const std::size_t start = reply.rfind("FLUKE");
  return start != reply.npos && IsHydra(reply.substr(start));
}

Expected<std::string> FlukeHydraDriver::Identify() {
  return Query(kIdentify, kIdentification).map([](const std::string& line) {
    return std::string(WithoutReturn(line));
  });
}

Expected<FlukeHydraDriver::Answer> FlukeHydraDriver::Ask(const std::string& query, const Refusals& refusals) {
  const std::lock_guard exchange(exchange_mutex_);
  auto result = Query(query + '\r', kResult);
  // The identification's prompt may still have been on its way when the line was purged, which may have cut it.
  if (result && IsEndOfReady(*result)) result = ReadReply(kResult);
  if (!result) return Failure(result.error());
  if (const HRESULT refusal = RefusalIn(*result, refusals); Failed(refusal)) return Failure(refusal);
  auto prompt = ReadReply(kResultPrompt);
  if (!prompt) return Failure(prompt.error());
  if (!IsPrompt(*prompt)) {
    Distrust();
    return Failure(serialCommErrUnableToReadComm);
  }
  return Answer{std::move(*result), std::move(*prompt)};
}

Reading FlukeHydraDriver::ReadChannel(ChannelId id) {
  if (id >= kChannelCount) return {.code = flukehydraCtlErrChNum};
  const auto scale = ScaleOf(ChannelIn(*settings().Current(), id));
  if (!scale) return {.code = scale.error()};
  const std::lock_guard exchange(exchange_mutex_);
  const auto answer = Ask("LAST? " + std::to_string(id), kReadingRefusals);
  if (!answer) return {.code = answer.error()};
  if (IsImpossible(answer->prompt)) return {.code = kNotStored};
  const auto value = ParseLast(answer->result, *scale);
  if (CodeOf(value) == serialCommErrUnableToReadComm) Distrust();
  return ReadingOf(value);
}

HRESULT FlukeHydraDriver::Run() {
  const std::lock_guard exchange(exchange_mutex_);
  const HRESULT result = Order("PRINT 0\r");
  return Failed(result) ? result : Order("SCAN 1\r");
}

HRESULT FlukeHydraDriver::Stop() { return Order("SCAN 0\r"); }

// A refused order has the link's code on purpose: hosts know it as the failure of a start or stop.
HRESULT FlukeHydraDriver::Order(std::string_view command) {
  const std::lock_guard exchange(exchange_mutex_);
  const auto prompt = Query(command, kOrderPrompt);
  if (!prompt) return prompt.error();
  if (!IsPrompt(*prompt)) Distrust();
  return IsRefusal(*prompt) ? serialCommErrUnableToReadComm : S_OK;
}

HRESULT FlukeHydraDriver::ReadCfg() {
  const std::lock_guard exchange(exchange_mutex_);
  auto record = settings().Snapshot();
  HRESULT result = ReadChannels(record);
  if (Succeeded(result)) result = ReadShared(record);
  if (Succeeded(result)) settings().Replace(std::move(record));
  if (result == flukehydraCtlErrNack) Distrust();
  return result;
}

HRESULT FlukeHydraDriver::ReadChannels(std::vector<StoredValue>& record) {
  for (ChannelId id = 0; id < kChannelCount; ++id) {
    const auto config = AskConfig("FUNC? " + std::to_string(id)).and_then(ParseFunction);
    if (!config) return config.error();
    PutChannel(record, id, *config);
  }
  return S_OK;
}

HRESULT FlukeHydraDriver::ReadShared(std::vector<StoredValue>& record) {
  const auto number = [](std::uint32_t greatest) {
    return [greatest](const std::string& result) { return ParseNumber(result, greatest); };
  };
  const auto temperature = AskConfig("TEMP_CONFIG?").and_then(number(3));
  if (!temperature) return temperature.error();
  const auto rate = AskConfig("RATE?").and_then(number(1));
  if (!rate) return rate.error();
  const auto interval = AskConfig("INTVL?").and_then(ParseInterval);
  if (!interval) return interval.error();
  PutCode(record, kSettings[kTemperatureUnit], *temperature & 1U);
  PutCode(record, kSettings[kOpenThermocoupleCheck], *temperature >> 1U);
  PutCode(record, kSettings[kRate], *rate);
  PutCode(record, kSettings[kInterval], *interval);
  return S_OK;
}

Expected<std::string> FlukeHydraDriver::AskConfig(const std::string& query) {
  return Ask(query, kConfigRefusals).and_then([](Answer&& answer) -> Expected<std::string> {
    if (IsRefusal(answer.prompt)) return Failure(flukehydraCtlErrCmdExecError);
    return std::move(answer.result);
  });
}

std::string FlukeHydraDriver::ChannelUnit(ChannelId id) const {
  if (id >= kChannelCount) return {};
  const auto record = settings().Current();
  return UnitOf(ChannelIn(*record, id), CodeIn(*record, kSettings[kTemperatureUnit]));
}

int FlukeHydraDriver::ChannelResolution(ChannelId id) const {
  return ResolutionOf(id < kChannelCount ? ChannelIn(*settings().Current(), id) : ChannelConfig{});
}

}  // namespace ulix::flukehydra
