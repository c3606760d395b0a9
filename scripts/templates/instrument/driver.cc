#include "drivers/new_family/new_model/driver.h"

#include <utility>

#include "drivers/catalogue.h"
#include "drivers/new_family/new_model/protocol.h"
#include "drivers/new_family/new_model/tables.h"

namespace ulix::new_model {
namespace {

constexpr LineProfile kLines = {.terminator = '\n', .reply_size = 80};

}  // namespace

NewClassDriver::NewClassDriver(const DriverServices& services) : IdentifiedDriver(kCard, LineWire(kLines, services)) {}

IdentityQuery NewClassDriver::identity_query() const {
  return {.query = "*IDN?", .reply = kLines.usual(), .other_instrument = new_modelCtlErrNotNewClass};
}

bool NewClassDriver::IsModel(std::string_view identification) const { return IsNewClass(identification); }

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

}  // namespace ulix::new_model
