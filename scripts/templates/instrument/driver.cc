#include "drivers/new_family/new_word/driver.h"

#include <utility>

#include "drivers/new_family/new_word/protocol.h"
#include "drivers/new_family/new_word/tables.h"

namespace ulix::new_word {
namespace {

constexpr LineProfile kLines = {.terminator = '\n', .reply_size = 80};
constexpr std::string_view kIdentify = "*IDN?";

}  // namespace

NewClassDriver::NewClassDriver(DriverServices services) : SerialDriver(kCard, kLines, std::move(services)) {}

HRESULT NewClassDriver::Greet() {
  const auto identification = Identify();
  if (!identification) return identification.error();
  return IsNewClass(*identification) ? S_OK : new_wordCtlErrNotNewClass;
}

Landmark NewClassDriver::landmark() const { return {.query = kIdentify}; }

bool NewClassDriver::IsLandmark(std::string_view reply) const { return IsNewClass(reply); }

Expected<std::string> NewClassDriver::Identify() { return Query(kIdentify); }

HRESULT NewClassDriver::SendCfg() {
  const auto command = RateCommand(CodeIn(settings().Snapshot(), kSettings[kRate]));
  return command ? Send(*command) : command.error();
}

HRESULT NewClassDriver::ReadCfg() {
  const std::lock_guard exchange(exchange_mutex_);
  const auto rate = Query("RATE?", usual_plan(), ParseRate);
  if (!rate) return rate.error();
  auto record = settings().Snapshot();
  PutCode(record, kSettings[kRate], *rate);
  settings().Replace(std::move(record));
  return S_OK;
}

Reading NewClassDriver::ReadChannel(ChannelId id) {
  if (id != kInChannel) return {.code = E_INVALIDARG};
  const auto value = Query("MEAS?", usual_plan(), ParseMeasure);
  return ReadingOf(value);
}

}  // namespace ulix::new_word
