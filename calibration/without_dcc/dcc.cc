#include "calibration/dcc/dcc.h"

#include "resources/texts.h"

namespace ulix::calibration {
namespace {}  // namespace

bool HasDcc() { return false; }
Result<Certificate> ReadDcc(std::string_view /*xml*/) { return Refused(TextId::kDccNotBuilt); }
Result<std::string> WriteDcc(const Certificate& /*certificate*/) { return Refused(TextId::kDccNotBuilt); }
Result<void> CheckSignatureCoversAll(std::string_view /*xml*/) { return Refused(TextId::kDccNotBuilt); }
Result<std::string> WithSignatureTemplate(std::string_view /*xml*/) { return Refused(TextId::kDccNotBuilt); }
Result<std::vector<RuleFinding>> ReadRuleFindings(std::string_view /*report*/) { return Refused(TextId::kDccNotBuilt); }
Result<std::vector<BilingualText>> CheckDccSchema(std::string_view /*xml*/, const std::string& /*folder*/) {
  return Refused(TextId::kDccNotBuilt);
}

}  // namespace ulix::calibration
