#include "drivers/others/kambic/driver.h"

#include <utility>

#include "drivers/others/kambic/protocol.h"
#include "drivers/others/kambic/tables.h"

namespace ulix::kambic {
namespace {

// Longest lines read, the line feed's place included.
constexpr int kIdentificationSize = 100;
constexpr int kReadingSize = 150;
constexpr int kSetPointSize = 50;

constexpr LineProfile kLine = {
    .terminator = '\n', .reply_size = kIdentificationSize, .read_ms = 3000, .write_ms = 3000};

}  // namespace

KambicDriver::KambicDriver(DriverServices services) : SerialDriver(kCard, kLine, std::move(services)) {}

HRESULT KambicDriver::Greet() {
  const auto identification = Identify();
  if (!identification) return identification.error();
  return IsKambic(*identification) ? S_OK : kambicCtlErrNotKambic;
}

Expected<std::string> KambicDriver::Identify() {
  return Query("IDENT").map([](const std::string& line) { return std::string(Trimmed(line)); });
}

Expected<std::string> KambicDriver::Ask(std::string_view command, int size) {
  return Query(command, {size}).map([size](std::string&& line) {
    const bool full = line.size() + 1 == static_cast<std::size_t>(size);
    if (full) line.erase(line.find_last_of(" \t\r") + 1);
    return std::move(line);
  });
}

Reading KambicDriver::ReadChannel(ChannelId id) {
  if (id >= kChannels.size()) return {.code = kambicCtlErrChNum};
  const auto value =
      Ask("TXD", kReadingSize).and_then([id](const std::string& answer) { return ParseReading(answer, id); });
  return ReadingOf(value);
}

HRESULT KambicDriver::WriteChannel(ChannelId id, float value) {
  if (id >= kChannels.size()) return kambicCtlErrChNum;
  if (id != kSetPointChannel) return E_INVALIDARG;
  const auto command = SetPointCommand(value);
  if (!command) return command.error();
  const auto answer = Ask(*command, kSetPointSize);
  return answer ? CheckSetPointAnswer(*answer, *command) : answer.error();
}

}  // namespace ulix::kambic
