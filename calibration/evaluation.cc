#include "calibration/evaluation.h"

#include <algorithm>
#include <cmath>
#include <iterator>

#include "base/numbers.h"
#include "calibration/certificate_units.h"
#include "resources/texts.h"

namespace ulix::calibration {
namespace {

BudgetTerm Term(TextId name, double value, Distribution distribution) {
  const BilingualText text = Bilingual(name);
  return {.name_en = text.en, .name_fr = text.fr, .value = value, .distribution = distribution};
}

void AddTypeA(std::vector<BudgetTerm>& terms, TextId name, const ReadingSeries& series) {
  if (series.readings.size() < 2) return;
  BudgetTerm term = Term(name, series.TypeA(), Distribution::kTypeA);
  term.freedom = static_cast<double>(series.readings.size() - 1);
  terms.push_back(term);
}

// The differences: reading k of the unit minus reading k of the reference.
ReadingSeries Differences(const ReadingSeries& unit, const ReadingSeries& reference) {
  std::vector<SampledValue> readings = unit.readings;
  for (std::size_t k = 0; k < readings.size(); ++k) readings[k].value -= reference.readings[k].value;
  return SeriesOf(std::move(readings));
}

void AddRepeatability(std::vector<BudgetTerm>& terms, const ReadingSeries& unit, const ReadingSeries& reference) {
  if (unit.readings.size() == reference.readings.size()) {
    return AddTypeA(terms, TextId::kBudgetRepeatability, Differences(unit, reference));
  }
  AddTypeA(terms, TextId::kBudgetReferenceRepeatability, reference);
  AddTypeA(terms, TextId::kBudgetUnitRepeatability, unit);
}

// The pressure of the medium's column between unit and reference, in the plan's unit.
double HeadOf(const Plan& plan, const UnitPlan& unit) {
  constexpr double kGravity = 9.80665;  // m/s2, standard acceleration
  const double pascals = plan.density * kGravity * (plan.reference.height - unit.height);
  return FromCertificateUnit(pascals, "\\pascal", plan.unit).value_or(0);
}

class UnitEvaluation {
 public:
  UnitEvaluation(const RunResult& run, const std::optional<ReferenceCertificate>& reference, std::size_t unit)
      : run_(run), certificate_(reference), unit_(unit), plan_(run.plan.units[unit]) {}

  Result<EvaluatedUnit> Run() const;

 private:
  Result<EvaluatedPhase> Evaluate(const PhaseResult& phase) const;
  Result<EvaluatedPoint> Measured(const PhaseResult& phase, std::size_t index) const;
  static std::optional<double> HysteresisOf(const PhaseResult& phase, const EvaluatedPhase& evaluated,
                                            std::size_t index);
  std::optional<Problem> AddBudget(const PointResult& point, const std::optional<Correction>& correction,
                                   EvaluatedPoint& to) const;
  static Result<BudgetTerm> PlannedTerm(const UncertaintyTerm& term);
  // False if a number of the point is not finite.
  bool Finish(EvaluatedPoint& point) const;
  std::optional<Conformity> Decision(const EvaluatedPoint& point) const;

  const RunResult& run_;
  const std::optional<ReferenceCertificate>& certificate_;
  std::size_t unit_;
  const UnitPlan& plan_;
};

Result<BudgetTerm> UnitEvaluation::PlannedTerm(const UncertaintyTerm& term) {
  const auto distribution = DistributionOf(term.distribution);
  if (!distribution) return Refused(TextId::kBudgetUnknownDistribution, {term.name, term.distribution});
  return BudgetTerm{.name_en = term.name,
                    .name_fr = term.name,
                    .value = term.value,
                    .distribution = *distribution,
                    .coverage_factor = term.k,
                    .sensitivity = term.sensitivity,
                    .freedom = term.degrees_of_freedom.value_or(kInfiniteFreedom)};
}

std::optional<Problem> UnitEvaluation::AddBudget(const PointResult& point, const std::optional<Correction>& correction,
                                                 EvaluatedPoint& to) const {
  std::vector<BudgetTerm>& terms = to.budget.terms;
  const ReadingSeries& unit = point.units[unit_];
  AddRepeatability(terms, unit, point.reference);
  terms.push_back(Term(TextId::kBudgetStability, point.reference.spread / 2, Distribution::kRectangular));
  terms.push_back(Term(TextId::kBudgetUnitResolution, unit.resolution, Distribution::kResolution));
  terms.push_back(Term(TextId::kBudgetReferenceResolution, point.reference.resolution, Distribution::kResolution));
  if (correction) {
    terms.push_back(Term(TextId::kCertificateOfReference, correction->expanded, Distribution::kNormal));
    terms.back().coverage_factor = correction->coverage_factor;
  }
  for (const UncertaintyTerm& planned : run_.plan.uncertainty) {
    if (!planned.unit_under_test.empty() && planned.unit_under_test != plan_.name) continue;
    const auto term = PlannedTerm(planned);
    if (!term) return term.error();
    terms.push_back(*term);
  }
  to.budget.best_capability = run_.plan.laboratory.best_uncertainty;
  return std::nullopt;
}

Result<EvaluatedPoint> UnitEvaluation::Measured(const PhaseResult& phase, std::size_t index) const {
  const PointResult& point = phase.points[index];
  EvaluatedPoint evaluated{.point = index, .head = HeadOf(run_.plan, plan_), .indication = point.units[unit_].mean};
  std::optional<Correction> correction;
  if (certificate_) {
    const auto found = certificate_->At(point.reference.mean);
    if (!found) {
      const std::string nominal = Shortened(point.nominal);
      return Refused(TextId::kBudgetAtPoint, {nominal, found.error()});
    }
    correction = *found;
    evaluated.correction = found->value;
  }
  evaluated.reference = point.reference.mean + evaluated.correction + evaluated.head;
  evaluated.deviation = evaluated.indication - evaluated.reference;
  if (const auto fault = AddBudget(point, correction, evaluated)) return tl::unexpected(*fault);
  return evaluated;
}

std::optional<double> UnitEvaluation::HysteresisOf(const PhaseResult& phase, const EvaluatedPhase& evaluated,
                                                   std::size_t index) {
  const PointResult& point = phase.points[index];
  for (std::size_t k = 0; k < phase.points.size(); ++k) {
    const PointResult& other = phase.points[k];
    const bool opposite =
        other.direction != point.direction && other.nominal == point.nominal && other.cycle == point.cycle;
    if (opposite) return std::abs(evaluated.points[index].deviation - evaluated.points[k].deviation);
  }
  return std::nullopt;
}

PrintedPoint Printed(const EvaluatedPoint& point) {
  const ReportedValue deviation = Report(point.deviation, point.expanded);
  return {.reference = Report(point.reference, point.expanded).value,
          .indication = Report(point.indication, point.expanded).value,
          .deviation = deviation.value,
          .expanded = deviation.uncertainty,
          .coverage_factor = FormatFixed(point.coverage_factor, 2)};
}

// Uses the printed numbers, so that a reader of the certificate comes to the same decision.
std::optional<Conformity> UnitEvaluation::Decision(const EvaluatedPoint& point) const {
  const DecisionPlan& decision = run_.plan.decision;
  if (decision.rule == DecisionRule::kNone || !(plan_.tolerance > 0)) return std::nullopt;
  const auto deviation = ParseDecimal(point.printed.deviation), expanded = ParseDecimal(point.printed.expanded);
  if (!deviation || !expanded) return std::nullopt;
  return Decide(decision.rule, *deviation, plan_.tolerance, *expanded, decision.guard);
}

// A point with a number that is not finite is neither decided nor printed.
bool IsFinite(const EvaluatedPoint& point) {
  const double numbers[] = {point.reference, point.indication, point.deviation, point.expanded, point.coverage_factor};
  return std::all_of(std::begin(numbers), std::end(numbers), [](double number) { return std::isfinite(number); });
}

bool UnitEvaluation::Finish(EvaluatedPoint& point) const {
  if (point.hysteresis)
    point.budget.terms.push_back(Term(TextId::kHysteresis, *point.hysteresis / 2, Distribution::kRectangular));
  point.expanded = point.budget.ExpandedUncertainty();
  point.coverage_factor = point.budget.CoverageFactor();
  if (!IsFinite(point)) return false;
  point.printed = Printed(point);
  point.conformity = Decision(point);
  return true;
}

// The rank of a decision, from the best to the worst.
int RankOf(Conformity conformity) {
  switch (conformity) {
    case Conformity::kPass:
      return 0;
    case Conformity::kConditionalPass:
      return 1;
    case Conformity::kConditionalFail:
      return 2;
    case Conformity::kFail:
      break;
  }
  return 3;
}

std::optional<Conformity> WorstOf(const std::vector<EvaluatedPoint>& points) {
  std::optional<Conformity> worst;
  for (const EvaluatedPoint& point : points) {
    if (!point.conformity) return std::nullopt;
    if (!worst || RankOf(*point.conformity) > RankOf(*worst)) worst = point.conformity;
  }
  return worst;
}

Result<EvaluatedPhase> UnitEvaluation::Evaluate(const PhaseResult& phase) const {
  EvaluatedPhase evaluated{.phase = phase.phase};
  for (std::size_t k = 0; k < phase.points.size(); ++k) {
    auto point = Measured(phase, k);
    if (!point) return tl::unexpected(point.error());
    evaluated.points.push_back(std::move(*point));
  }
  for (std::size_t k = 0; k < phase.points.size(); ++k) {
    evaluated.points[k].hysteresis = HysteresisOf(phase, evaluated, k);
    if (!Finish(evaluated.points[k])) {
      return Refused(TextId::kBudgetAtPoint, {Shortened(phase.points[k].nominal), Bilingual(TextId::kBudgetNotFinite)});
    }
  }
  evaluated.conformity = WorstOf(evaluated.points);
  return evaluated;
}

Result<EvaluatedUnit> UnitEvaluation::Run() const {
  EvaluatedUnit evaluated{.unit = unit_};
  for (const PhaseResult& phase : run_.phases) {
    auto one = Evaluate(phase);
    if (!one) return tl::unexpected(one.error());
    evaluated.phases.push_back(std::move(*one));
  }
  return evaluated;
}

}  // namespace

Result<Evaluation> Evaluate(const RunResult& run, const std::optional<ReferenceCertificate>& reference) {
  Evaluation evaluation{.reference = reference};
  for (std::size_t unit = 0; unit < run.plan.units.size(); ++unit) {
    auto evaluated = UnitEvaluation(run, reference, unit).Run();
    if (!evaluated) return tl::unexpected(evaluated.error());
    evaluation.units.push_back(std::move(*evaluated));
  }
  return evaluation;
}

EvaluatedPoint Scaled(EvaluatedPoint point, double factor) {
  if (factor == 1) return point;
  for (double* const value :
       {&point.correction, &point.head, &point.reference, &point.indication, &point.deviation, &point.expanded}) {
    *value *= factor;
  }
  if (point.hysteresis) *point.hysteresis *= factor;
  for (BudgetTerm& term : point.budget.terms) term.value *= factor;
  point.budget.best_capability *= factor;
  point.printed = Printed(point);
  return point;
}

}  // namespace ulix::calibration
