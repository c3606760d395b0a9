#include "drivers/others/kambic/driver.h"

#include <utility>

#include "drivers/catalogue.h"
#include "drivers/others/kambic/protocol.h"
#include "drivers/others/kambic/tables.h"

namespace ulix::kambic {
namespace {

// Longest lines in bytes, including the line feed.
constexpr int kIdentificationSize = 100;
constexpr int kReadingSize = 150;
constexpr int kSetPointSize = 50;

constexpr LineProfile kLine = {
    .terminator = '\n', .reply_size = kIdentificationSize, .read_ms = 3000, .write_ms = 3000};

// A line without its last word, if it filled `size` and that word may be cut.
std::string WholeWords(std::string line, int size) {
  const bool full = line.size() + 1 == static_cast<std::size_t>(size);
  if (full) line.erase(line.find_last_of(" \t\r") + 1);
  return line;
}

}  // namespace

KambicDriver::KambicDriver(const DriverServices& services) : IdentifiedDriver(kCard, LineWire(kLine, services)) {}

IdentityQuery KambicDriver::identity_query() const {
  return {.query = "IDENT", .reply = kLine.usual(), .other_instrument = kambicCtlErrNotKambic, .text = Trimmed};
}

bool KambicDriver::IsModel(std::string_view identification) const { return IsKambic(identification); }

Reading KambicDriver::ReadChannel(ChannelId id) {
  if (id >= kChannels.size()) return {.code = kambicCtlErrChNum};
  const auto parse = [id](std::string&& answer) {
    return ParseReading(WholeWords(std::move(answer), kReadingSize), id);
  };
  return ReadingOf(
      Exchange([&](Conversation& talk) { return talk.Query("TXD", {kReadingSize}, parse, kambicCtlErrBadResp); }));
}

HRESULT KambicDriver::WriteChannel(ChannelId id, float value) {
  if (id >= kChannels.size()) return kambicCtlErrChNum;
  if (id != kSetPointChannel) return E_INVALIDARG;
  const auto command = SetPointCommand(value);
  if (!command) return command.error();
  const auto judge = [&](std::string_view answer) {
    const HRESULT result = CheckSetPointAnswer(WholeWords(std::string(answer), kSetPointSize), *command);
    return Verdict{result, result != kambicCtlErrBadResp};
  };
  return Exchange([&](Conversation& talk) { return talk.Command(*command, {kSetPointSize}, judge); });
}

const CatalogueEntry kEntry{&kCard, MakeDriver<KambicDriver>};

}  // namespace ulix::kambic
