#include "drivers/others/isotech/protocol.h"

#include <algorithm>

#include "base/numbers.h"
#include "drivers/others/isotech/tables.h"

namespace ulix::isotech {
namespace {

constexpr char kStx = '\x02';
constexpr char kEtx = '\x03';
constexpr char kEot = '\x04';
constexpr std::string_view kAck = "\x06";
constexpr std::string_view kNak = "\x15";
constexpr std::string_view kLineEnd = "\r\n";
constexpr std::string_view kLongStopStart =
    "\x02"
    "GT";

// A value with a blank instead of a plus sign, at least five characters long: printf's "% 5.1f".
std::string BlankSigned(float value, int decimals) {
  constexpr std::size_t kWidth = 5;
  std::string text = FormatFixed(value, decimals);
  if (!text.starts_with('-')) text.insert(0, 1, ' ');
  return std::string(kWidth - std::min(kWidth, text.size()), ' ') + text;
}

// A value with its sign and zeros before its digits, 13 characters: printf's "%+013.6f".
std::string ZeroFilled(float value) {
  constexpr std::size_t kDigits = 12;
  std::string digits = FormatFixed(value);
  const bool negative = digits.starts_with('-');
  if (negative) digits.erase(0, 1);
  return (negative ? '-' : '+') + std::string(kDigits - std::min(kDigits, digits.size()), '0') + digits;
}

char BlockCheck(std::string_view block) {
  unsigned check = 0;
  for (const char byte : block) check ^= static_cast<unsigned char>(byte);
  return static_cast<char>(check);
}

}  // namespace

// The comparison is written so that NaN fails.
HRESULT CheckSetPoint(std::uint32_t model, float degrees) {
  const bool possible = degrees >= -275.0F && degrees <= 10000.0F;
  const bool taken = model != kLine || (degrees >= -100.0F && degrees <= 40.0F);
  return possible && taken ? S_OK : isotechCtlErrOutOfRange;
}

// Deliberate: 999.95 is below 1000, but is sent as " 1000.0", as hosts know it.
std::string AddressedFrame(std::uint32_t address, float degrees) {
  const char tens = static_cast<char>('0' + address / 10);
  const char units = static_cast<char>('0' + address % 10);
  const std::string block = "SL" + BlankSigned(degrees, degrees < 1000.0F ? 1 : 0) + kEtx;
  return std::string{kEot, tens, tens, units, units, kStx} + block + BlockCheck(block);
}

std::string LineFrame(std::string_view command) { return std::string(1, kStx).append(command).append(kLineEnd); }

std::string LineSetPointFrame(float degrees) { return LineFrame("ST0" + ZeroFilled(degrees)); }

HRESULT CheckAddressedAnswer(std::string_view answer) { return answer == kAck ? S_OK : isotechCtlErrNack; }

bool IsRefusal(std::string_view answer) { return answer == kNak; }

HRESULT CheckLineAnswer(std::string_view answer, std::string_view command) {
  return answer == LineFrame(command) ? S_OK : isotechCtlErrNack;
}

bool IsLongStopAnswer(std::string_view answer) { return answer.starts_with(kLongStopStart); }

bool HasEnded(std::string_view answer) { return answer.find('\n') != std::string_view::npos; }

}  // namespace ulix::isotech
