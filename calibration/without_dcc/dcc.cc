#include "calibration/dcc/dcc.h"

namespace ulix::calibration {
namespace {

constexpr LocalizedText kNotBuilt{
    "this build has no digital certificates: it was made without the XML library",
    "cette version n'a pas de certificats numériques : elle est faite sans la bibliothèque XML"};

}  // namespace

bool HasDcc() { return false; }
Result<Certificate> ReadDcc(std::string_view /*xml*/) { return Refused(kNotBuilt); }
Result<std::string> WriteDcc(const Certificate& /*certificate*/) { return Refused(kNotBuilt); }
Result<void> CheckSignatureCoversAll(std::string_view /*xml*/) { return Refused(kNotBuilt); }
Result<std::string> WithSignatureTemplate(std::string_view /*xml*/) { return Refused(kNotBuilt); }
Result<std::vector<RuleFinding>> ReadRuleFindings(std::string_view /*report*/) { return Refused(kNotBuilt); }
Result<std::vector<std::string>> CheckDccSchema(std::string_view /*xml*/, const std::string& /*folder*/) {
  return Refused(kNotBuilt);
}

}  // namespace ulix::calibration
