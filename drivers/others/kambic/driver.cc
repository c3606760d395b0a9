#include "drivers/others/kambic/driver.h"

#include <utility>

#include "drivers/catalogue.h"
#include "drivers/others/kambic/protocol.h"
#include "drivers/others/kambic/tables.h"

namespace ulix::kambic {
namespace {

constexpr std::string_view kIdentify = "IDENT";

// Longest lines read, the line feed's place included.
constexpr int kIdentificationSize = 100;
constexpr int kReadingSize = 150;
constexpr int kSetPointSize = 50;

constexpr LineProfile kLine = {
    .terminator = '\n', .reply_size = kIdentificationSize, .read_ms = 3000, .write_ms = 3000};

// Of a line that is longer than `size`, no word that may be cut.
std::string WholeWords(std::string line, int size) {
  const bool full = line.size() + 1 == static_cast<std::size_t>(size);
  if (full) line.erase(line.find_last_of(" \t\r") + 1);
  return line;
}

}  // namespace

KambicDriver::KambicDriver(const DriverServices& services) : Driver(kCard, LineWire(kLine, services)) {}

Expected<bool> KambicDriver::StartSession(Conversation& talk) {
  const auto identification = talk.QueryText(kIdentify, kLine.usual());
  if (!identification) return Failure(identification.error());
  if (!IsKambic(*identification)) return Failure(kambicCtlErrNotKambic);
  return Started(talk.Admit(std::string(Trimmed(*identification)), kambicCtlErrNotKambic));
}

SyncQuery KambicDriver::sync_query() const { return {.query = kIdentify}; }

bool KambicDriver::IsSyncReply(std::string_view reply) const { return IsKambic(reply); }

Expected<std::string> KambicDriver::Identify() {
  return AskText(kIdentify, kLine.usual()).map([](const std::string& line) { return std::string(Trimmed(line)); });
}

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
  return Exchange([&](Conversation& talk) {
    const auto answer = talk.Query(*command, {kSetPointSize});
    if (!answer) return answer.error();
    const HRESULT result = CheckSetPointAnswer(WholeWords(*answer, kSetPointSize), *command);
    if (result == kambicCtlErrBadResp) talk.MarkOutOfSync();
    return result;
  });
}

const CatalogueEntry kEntry{&kCard, MakeDriver<KambicDriver>};

}  // namespace ulix::kambic
