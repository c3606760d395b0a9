#include "drivers/field/hart/protocol.h"

#include <cmath>

#include "base/numbers.h"
#include "base/text.h"

namespace ulix::hart {
namespace {

constexpr int kDecimals = 2;

// Not as the end of another number, such as 3.00 in 23.00 or -3.00.
bool Contains(std::string_view reply, std::string_view number) {
  for (auto at = reply.find(number); at != reply.npos; at = reply.find(number, at + 1)) {
    if (at == 0 || std::string_view("0123456789.-").find(reply[at - 1]) == reply.npos) return true;
  }
  return false;
}

}  // namespace

std::string SetPointText(float value) { return FormatFixed(value, kDecimals); }

Expected<float> ParseValue(std::string_view reply) {
  const std::size_t colon = reply.find(':');
  if (colon == reply.npos) return Failure(serialCommErrUnableToReadComm);
  const auto number = ParseDecimalPrefix(reply.substr(colon + 1));
  const float value = number ? static_cast<float>(number->value) : NAN;
  if (!std::isfinite(value)) return Failure(serialCommErrUnableToReadComm);
  return value;
}

bool IsSetPoint(std::string_view reply) {
  const std::string word = AsciiUpper(reply.substr(0, reply.rfind(':')));
  const std::string_view letters =
      std::string_view(word).substr(word.find_last_not_of("ABCDEFGHIJKLMNOPQRSTUVWXYZ") + 1);
  return letters.starts_with('S') || letters.ends_with('S');
}

// The unit ends its reply with a character of its own, which is no part of the number.
bool Confirms(std::string_view reply, std::string_view sent) {
  if (Contains(reply.substr(0, reply.empty() ? 0 : reply.size() - 1), sent)) return true;
  const auto value = ParseValue(reply);
  // As numbers, since a set point sent as -0.00 may come back as 0.00.
  return value && ParseDecimal(SetPointText(*value)) == ParseDecimal(sent);
}

}  // namespace ulix::hart
