#include "drivers/new_family/new_word/driver.h"

#include <utility>

#include "drivers/new_family/new_word/protocol.h"
#include "drivers/new_family/new_word/tables.h"

namespace ulix::new_word {
namespace {

constexpr LineProfile kLines = {.terminator = '\n', .reply_size = 80};
constexpr int kUnknownResolution = 6;

}  // namespace

NewClassDriver::NewClassDriver(DriverServices services) : SerialDriver(kCard, kLines, std::move(services)) {}

std::unique_ptr<Driver> NewClassDriver::Create(DriverServices services) {
  return std::make_unique<NewClassDriver>(std::move(services));
}

HRESULT NewClassDriver::Greet() {
  const auto identification = Identify();
  if (!identification) return identification.error();
  return IsNewClass(*identification) ? S_OK : new_wordCtlErrNotNewClass;
}

Expected<std::string> NewClassDriver::Identify() { return Query("*IDN?"); }

HRESULT NewClassDriver::SendCfg() {
  const auto command = RateCommand(CodeIn(settings().Snapshot(), kSettings[kRate]));
  return command ? Send(*command) : command.error();
}

HRESULT NewClassDriver::ReadCfg() {
  const std::lock_guard exchange(exchange_mutex_);
  const auto rate = Query("RATE?").and_then([](const std::string& reply) { return ParseRate(reply); });
  if (!rate) return rate.error();
  auto record = settings().Snapshot();
  PutCode(record, kSettings[kRate], *rate);
  settings().Replace(std::move(record));
  return S_OK;
}

Reading NewClassDriver::ReadChannel(ChannelId id) {
  if (id != kInChannel) return {.code = E_INVALIDARG};
  const auto value = Query("MEAS?").and_then([](const std::string& reply) { return ParseMeasure(reply); });
  return value ? Reading{S_OK, *value} : Reading{.code = value.error()};
}

// It has no channel that can be written.
HRESULT NewClassDriver::WriteChannel(ChannelId, float) { return E_INVALIDARG; }

std::string NewClassDriver::ChannelUnit(ChannelId id) const { return id == kInChannel ? kInUnit : ""; }

int NewClassDriver::ChannelResolution(ChannelId id) const {
  return id == kInChannel ? kInResolution : kUnknownResolution;
}

}  // namespace ulix::new_word
