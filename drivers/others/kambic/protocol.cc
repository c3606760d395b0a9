#include "drivers/others/kambic/protocol.h"

#include <algorithm>
#include <cmath>
#include <optional>

#include "base/numbers.h"
#include "base/reply_field.h"
#include "base/text.h"
#include "drivers/others/kambic/tables.h"

namespace ulix::kambic {
namespace {

constexpr std::string_view kSetPointWord = "SETTEMP=";
constexpr std::string_view kCommandError = "COMMAND ERROR";
constexpr std::string_view kOutOfRange = "OUT OF RANGE";

bool IsLetter(char c) { return (c >= 'A' && c <= 'Z') || (c >= 'a' && c <= 'z'); }

// The text after a key; empty if the key is missing. After a letter the key is a part of another one: "TSET=" ends in
// "T=".
std::string_view TextBehind(std::string_view answer, std::string_view key) {
  for (std::size_t at = answer.find(key); at != std::string_view::npos; at = answer.find(key, at + 1)) {
    if (at == 0 || !IsLetter(answer[at - 1])) return answer.substr(at + key.size());
  }
  return {};
}

// The number after a key. It must end at a blank, CR, LF or the end of the answer, and must not go on after blanks.
// Otherwise it is damaged.
std::optional<double> NumberAt(std::string_view text) {
  text.remove_prefix(std::min(text.find_first_not_of(" \t"), text.size()));
  const std::size_t end = std::min(text.find_first_of(kBlanks), text.size());
  const std::size_t behind = text.find_first_not_of(" \t", end);
  const bool goes_on = behind != text.npos && Contains("0123456789.,", text.substr(behind, 1));
  return goes_on ? std::nullopt : ParseDoubleField(text.substr(0, end));
}

}  // namespace

bool IsKambic(std::string_view identification) {
  return std::any_of(kModelNames.begin(), kModelNames.end(),
                     [&](const char* word) { return Contains(identification, word); });
}

Expected<float> ParseReading(std::string_view answer, ChannelId channel) {
  if (Contains(answer, kCommandError)) return Failure(kambicCtlErrBadCmde);
  const auto number = IsPlainText(answer) ? NumberAt(TextBehind(answer, kKeys[channel])) : std::nullopt;
  return OrFailure(number, kambicCtlErrBadResp).map([](double value) { return static_cast<float>(value); });
}

Expected<std::string> SetPointCommand(float degrees) {
  if (!std::isfinite(degrees)) return Failure(kambicCtlErrOutOfRange);
  return std::string(kSetPointWord) + FormatFixed(degrees, kResolution);
}

// Compares with the number that was sent, because the float may differ from it. An answer with the bath's temperature
// belongs to "TXD".
HRESULT CheckSetPointAnswer(std::string_view answer, std::string_view command) {
  if (Contains(answer, kCommandError)) return kambicCtlErrBadCmde;
  if (Contains(answer, kOutOfRange)) return kambicCtlErrOutOfRange;
  const std::size_t equals = answer.find('=');
  const bool of_reading = !TextBehind(answer, kKeys[kTemperatureChannel]).empty();
  if (equals == std::string_view::npos || of_reading || !IsPlainText(answer)) return kambicCtlErrBadResp;
  const auto said = NumberAt(answer.substr(equals + 1));
  return said && said == ParseDecimal(command.substr(kSetPointWord.size())) ? S_OK : kambicCtlErrBadResp;
}

}  // namespace ulix::kambic
