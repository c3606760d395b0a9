#include "drivers/new_family/new_word/driver.h"

#include <utility>

#include "drivers/catalogue.h"
#include "drivers/new_family/new_word/protocol.h"
#include "drivers/new_family/new_word/tables.h"

namespace ulix::new_word {
namespace {

constexpr LineProfile kLines = {.terminator = '\n', .reply_size = 80};
constexpr std::string_view kIdentify = "*IDN?";

}  // namespace

NewClassDriver::NewClassDriver(const DriverServices& services) : Driver(kCard, LineWire(kLines, services)) {}

Expected<bool> NewClassDriver::StartSession(Conversation& talk) {
  const auto identification = talk.QueryText(kIdentify, kLines.usual());
  if (!identification) return Failure(identification.error());
  if (!IsNewClass(*identification)) return Failure(new_wordCtlErrNotNewClass);
  return Started(talk.Admit(*identification, new_wordCtlErrNotNewClass));
}

SyncQuery NewClassDriver::sync_query() const { return {.query = kIdentify}; }

bool NewClassDriver::IsSyncReply(std::string_view reply) const { return IsNewClass(reply); }

Expected<std::string> NewClassDriver::Identify() { return AskText(kIdentify, kLines.usual()); }

HRESULT NewClassDriver::SendCfg() {
  const auto command = RateCommand(CodeIn(settings().Snapshot(), kSettings[kRate]));
  if (!command) return command.error();
  return Exchange([&](Conversation& talk) { return talk.Send(*command); });
}

HRESULT NewClassDriver::ReadCfg() {
  return Exchange([this](Conversation& talk) -> HRESULT {
    const auto rate = talk.Query("RATE?", kLines.usual(), ParseRate);
    if (!rate) return rate.error();
    auto record = settings().Snapshot();
    PutCode(record, kSettings[kRate], *rate);
    settings().Replace(std::move(record));
    return S_OK;
  });
}

Reading NewClassDriver::ReadChannel(ChannelId id) {
  if (id != kInChannel) return {.code = E_INVALIDARG};
  return ReadingOf(Exchange([](Conversation& talk) { return talk.Query("MEAS?", kLines.usual(), ParseMeasure); }));
}

const CatalogueEntry kEntry{&kCard, MakeDriver<NewClassDriver>};

}  // namespace ulix::new_word
