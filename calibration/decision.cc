#include "calibration/decision.h"

#include <array>
#include <cmath>

namespace ulix::calibration {
namespace {

struct ConformityRow {
  std::string_view name;
  LocalizedText text;
};

constexpr std::array kConformities = {
    ConformityRow{"pass", {"pass", "conforme"}},
    ConformityRow{"fail", {"fail", "non conforme"}},
    ConformityRow{"conditionalPass", {"conditional pass", "conforme sous condition"}},
    ConformityRow{"conditionalFail", {"conditional fail", "non conforme sous condition"}},
};

constexpr std::array kRules = {
    LocalizedText{"No decision rule was agreed.", "Aucune règle de décision n'a été convenue."},
    LocalizedText{
        "Simple acceptance (ILAC-G8:09/2019, 4.2.1): pass when the deviation is within the tolerance. The "
        "probability of a "
        "wrong decision near the limit is up to 50 %.",
        "Acceptation simple (ILAC-G8:09/2019, 4.2.1) : conforme quand l'écart est dans la tolérance. La probabilité "
        "d'une "
        "décision erronée près de la limite atteint 50 %."},
    LocalizedText{
        "Guard band (ILAC-G8:09/2019, 4.2.2): pass when the deviation is within the tolerance reduced by the guard "
        "band. "
        "With a guard band of U, a wrong pass is less than 2.5 % likely.",
        "Bande de garde (ILAC-G8:09/2019, 4.2.2) : conforme quand l'écart est dans la tolérance réduite de la bande "
        "de garde. "
        "Avec une bande de garde égale à U, la probabilité d'une conformité erronée est inférieure à 2,5 %."},
    LocalizedText{
        "Four outcomes with guard band (ILAC-G8:09/2019, 4.2.3): pass within the tolerance reduced by the guard band, "
        "conditional pass up to the tolerance, conditional fail up to the tolerance enlarged by it, fail beyond.",
        "Quatre résultats avec bande de garde (ILAC-G8:09/2019, 4.2.3) : conforme dans la tolérance réduite de la "
        "bande de "
        "garde, conforme sous condition jusqu'à la tolérance, non conforme sous condition jusqu'à la tolérance "
        "augmentée "
        "d'autant, non conforme au-delà."},
};

// Sums of printed decimals may miss each other by a rounding of binary arithmetic.
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
LocalizedText ConformityText(Conformity conformity) { return kConformities[static_cast<std::size_t>(conformity)].text; }
LocalizedText DecisionRuleText(DecisionRule rule) { return kRules[static_cast<std::size_t>(rule)]; }

}  // namespace ulix::calibration
