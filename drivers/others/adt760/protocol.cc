#include "drivers/others/adt760/protocol.h"

#include <algorithm>
#include <cmath>

#include "base/numbers.h"
#include "base/reply_field.h"
#include "base/text.h"
#include "links/usb_link.h"

namespace ulix::adt760 {
namespace {

constexpr std::string_view kDigits = "0123456789";

}  // namespace

bool IsAdt760(std::string_view identification) { return Contains(identification, kModelWord); }

const ElectricalFunction* FindFunction(std::string_view answer) {
  const std::string upper = AsciiUpper(answer);
  const auto found = std::find_if(kFunctions.begin(), kFunctions.end(),
                                  [&](const ElectricalFunction& function) { return Contains(upper, function.word); });
  return found == kFunctions.end() ? nullptr : &*found;
}

Expected<float> ParseReading(std::string_view answer, ChannelId channel) {
  if (channel == kVentChannel) {
    const bool is_mode = IsPlainText(answer) && !ParseDecimalPrefix(answer);
    if (!is_mode) return Failure(adt760CtlErrNoMeasAvailable);
    return Contains(AsciiUpper(answer), "VENT") ? 1.0F : 0.0F;
  }
  static constexpr FieldForm kForm = {.behind = FieldForm::Behind::kUnit, .separators = " \t,"};
  const bool whole = answer.size() < UsbLink::kReplySize || answer.ends_with('\n');
  const auto value = whole ? ParseFloatField(answer, kForm) : std::nullopt;
  if (!value || IsOverload(*value)) return Failure(adt760CtlErrNoMeasAvailable);
  return *value;
}

Expected<std::string> WriteCommand(ChannelId channel, float value) {
  const bool is_output = channel < kChannels.size() && kChannels[channel].direction != ChanIn;
  if (!is_output) return Failure(adt760CtlErrChNum);
  if (!std::isfinite(value)) return Failure(adt760CtlErrOutOfRange);
  if (channel == kVentChannel) return value != 0.0F ? std::string("OUTP:MODE VENT\n") : std::string();
  const std::string word = channel == kSetPointChannel ? "SOUR:PRES " : "CURR:SOUR ";
  return word + FormatFixed(value, kResolution) + '\n';
}

bool IsErrorQueue(std::string_view answer) {
  if (!IsPlainText(answer)) return false;
  const auto number = ParseDecimalPrefix(answer);
  if (!number) return false;
  const bool whole = answer.substr(0, number->length).find_first_of(".eE") == answer.npos;
  const std::string_view behind = Trimmed(answer.substr(number->length));
  return whole && (behind.empty() || behind.starts_with(','));
}

// Only the whole number at the start of the answer counts.
HRESULT CheckErrorQueue(std::string_view answer) {
  answer.remove_prefix(std::min(answer.find_first_not_of(kBlanks), answer.size()));
  if (answer.starts_with('+') || answer.starts_with('-')) answer.remove_prefix(1);
  const std::string_view digits = answer.substr(0, answer.find_first_not_of(kDigits));
  return digits.find_first_not_of('0') == std::string_view::npos ? S_OK : adt760CtlErrScpiCmde;
}

}  // namespace ulix::adt760
