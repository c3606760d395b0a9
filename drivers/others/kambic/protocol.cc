#include "drivers/others/kambic/protocol.h"

#include <algorithm>
#include <cmath>
#include <optional>

#include "base/numbers.h"
#include "drivers/others/kambic/tables.h"

namespace ulix::kambic {
namespace {

constexpr std::string_view kSetPointWord = "SETTEMP=";
constexpr std::string_view kCommandError = "COMMAND ERROR";
constexpr std::string_view kOutOfRange = "OUT OF RANGE";

bool Contains(std::string_view text, std::string_view part) { return text.find(part) != std::string_view::npos; }

bool IsLetter(char c) { return (c >= 'A' && c <= 'Z') || (c >= 'a' && c <= 'z'); }

// The text behind a key; empty where it is missing. A letter before it makes it part of another one: "TSET=" ends in
// "T=".
std::string_view TextBehind(std::string_view answer, std::string_view key) {
  for (std::size_t at = answer.find(key); at != std::string_view::npos; at = answer.find(key, at + 1)) {
    if (at == 0 || !IsLetter(answer[at - 1])) return answer.substr(at + key.size());
  }
  return {};
}

// The number that the rest of a line begins with. One that runs into other characters is damaged, and is none.
std::optional<double> NumberAt(std::string_view text) {
  text = text.substr(0, text.find_first_of("\r\n"));
  const auto number = ParseDecimalPrefix(text);
  if (!number) return std::nullopt;
  const bool ends = number->length == text.size() || Contains(" \t,;", text.substr(number->length, 1));
  return ends ? std::optional(number->value) : std::nullopt;
}

}  // namespace

bool IsKambic(std::string_view identification) {
  return std::any_of(kModelWords.begin(), kModelWords.end(),
                     [&](const char* word) { return Contains(identification, word); });
}

Expected<float> ParseReading(std::string_view answer, ChannelId channel) {
  if (Contains(answer, kCommandError)) return Failure(kambicCtlErrBadCmde);
  const auto number = NumberAt(TextBehind(answer, kKeys[channel]));
  if (!number || !std::isfinite(static_cast<float>(*number))) return Failure(kambicCtlErrBadResp);
  return static_cast<float>(*number);
}

Expected<std::string> SetPointCommand(float degrees) {
  if (!std::isfinite(degrees)) return Failure(kambicCtlErrOutOfRange);
  return std::string(kSetPointWord) + FormatFixed(degrees, kResolution);
}

// Against the number as it was sent: the float itself may lie beside it.
HRESULT CheckSetPointAnswer(std::string_view answer, std::string_view command) {
  if (Contains(answer, kCommandError)) return kambicCtlErrBadCmde;
  if (Contains(answer, kOutOfRange)) return kambicCtlErrOutOfRange;
  const std::size_t equals = answer.find('=');
  if (equals == std::string_view::npos) return kambicCtlErrBadResp;
  const auto said = NumberAt(answer.substr(equals + 1));
  return said && said == ParseDecimal(command.substr(kSetPointWord.size())) ? S_OK : kambicCtlErrBadResp;
}

}  // namespace ulix::kambic
