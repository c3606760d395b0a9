#include "drivers/new_family/new_model/protocol.h"

#include "base/reply_field.h"
#include "base/text.h"
#include "drivers/new_family/new_model/tables.h"

namespace ulix::new_model {

bool IsNewClass(std::string_view identification) { return identification.find("NEW_MODEL") != std::string_view::npos; }

Expected<float> ParseMeasure(std::string_view reply) {
  // The text that the protocol allows after the number. Any other text makes the reply invalid.
  const auto value = ParseFloatField(reply, {.behind = FieldForm::Behind::kUnit});
  return value ? Expected<float>(*value) : Failure(serialCommErrUnableToReadComm);
}

Expected<std::string> RateCommand(std::uint32_t rate) {
  const std::string_view label = LabelOf(kRateLabels, rate);
  if (label.empty()) return Failure(E_INVALIDARG);
  return "RATE " + std::string(label);
}

Expected<std::uint32_t> ParseRate(std::string_view reply) {
  const auto rate = CodeOfLabel(kRateLabels, Trimmed(reply));
  if (!rate) return Failure(serialCommErrUnableToReadComm);
  return *rate;
}

}  // namespace ulix::new_model
