#include "calibration/decision.h"

#include <array>
#include <cmath>

namespace ulix::calibration {
namespace {

struct ConformityRow {
  std::string_view name;
  TextId text;
};

constexpr std::array kConformities = {
    ConformityRow{"pass", TextId::kConformityPass},
    ConformityRow{"fail", TextId::kConformityFail},
    ConformityRow{"conditionalPass", TextId::kConformityConditionalPass},
    ConformityRow{"conditionalFail", TextId::kConformityConditionalFail},
};

constexpr std::array kRules = {TextId::kRuleNone, TextId::kRuleSimple, TextId::kRuleGuardBand,
                               TextId::kRuleFourOutcomes};

// Compares with a small tolerance, because sums of printed decimals differ by rounding errors of binary arithmetic.
bool Within(double value, double limit) { return value <= limit + 1e-12 * (std::abs(limit) + std::abs(value)); }

}  // namespace

Conformity Decide(DecisionRule rule, double deviation, double tolerance, double expanded, double guard) {
  const double size = std::abs(deviation);
  const double band = rule == DecisionRule::kSimple ? 0 : guard * expanded;
  const bool accepted = Within(size + band, tolerance);
  if (accepted) return Conformity::kPass;
  if (rule != DecisionRule::kFourOutcomes) return Conformity::kFail;
  if (Within(size, tolerance)) return Conformity::kConditionalPass;
  return Within(size, tolerance + band) ? Conformity::kConditionalFail : Conformity::kFail;
}

std::string_view ConformityName(Conformity conformity) {
  return kConformities[static_cast<std::size_t>(conformity)].name;
}
TextId ConformityText(Conformity conformity) { return kConformities[static_cast<std::size_t>(conformity)].text; }
TextId DecisionRuleText(DecisionRule rule) { return kRules[static_cast<std::size_t>(rule)]; }

}  // namespace ulix::calibration
