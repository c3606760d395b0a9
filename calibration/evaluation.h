// What a run means: corrected reference, deviation, uncertainty budget and decision of each point of each unit.
// Computed from the run's own result and the reference's certificate alone; pure, safe on any thread. Values are in the
// plan's unit and not rounded, but for the texts.
#pragma once

#include <optional>
#include <string>
#include <vector>

#include "calibration/decision.h"
#include "calibration/reference_certificate.h"
#include "calibration/results.h"
#include "calibration/uncertainty.h"

namespace ulix::calibration {

// A point's numbers as they are printed: the uncertainty rounded up to two significant digits, the others to its
// decimal.
struct PrintedPoint {
  std::string reference;
  std::string indication;
  std::string deviation;
  std::string expanded;
  std::string coverage_factor;  // two decimals
};

struct EvaluatedPoint {
  std::size_t point = 0;             // in PhaseResult::points
  double correction = 0;             // of the certificate, added to the reference's mean
  double head = 0;                   // pressure of the column between reference and unit, added likewise
  double reference = 0;              // corrected mean
  double indication = 0;             // mean of the unit
  double deviation = 0;              // indication - reference
  std::optional<double> hysteresis;  // |rising - falling| of the deviations, where the point was taken both ways
  Budget budget;
  double expanded = 0;
  double coverage_factor = 2;
  PrintedPoint printed;
  std::optional<Conformity> conformity;  // none where no rule or no tolerance was agreed
};

struct EvaluatedPhase {
  Phase phase = Phase::kAsFound;
  std::vector<EvaluatedPoint> points;
  std::optional<Conformity> conformity;  // the worst of its points
};

struct EvaluatedUnit {
  std::size_t unit = 0;  // in Plan::units
  std::vector<EvaluatedPhase> phases;
};

struct Evaluation {
  std::vector<EvaluatedUnit> units;
  std::optional<ReferenceCertificate> reference;
};

// Terms of each budget, besides those of the plan:
//   repeatability    s/sqrt(n) of the differences unit - reference, n - 1 degrees of freedom (of both series apart
//   where
//                    they are not paired)
//   stability        of the reference while reading: spread / 2, rectangular
//   resolution       of the unit and of the reference: a step / sqrt(12)
//   certificate      of the reference: U/k
//   hysteresis       |rising - falling| / 2, rectangular, where the point was taken both ways
// Refused: a reference outside of its certificate at a point, a distribution that is not known, a deviation or an
// uncertainty that is not finite.
Result<Evaluation> Evaluate(const RunResult& run, const std::optional<ReferenceCertificate>& reference);

// In the other unit, `factor` times as large: deviation, U and the rest, printed anew. Decisions stay.
EvaluatedPoint Scaled(EvaluatedPoint point, double factor);

}  // namespace ulix::calibration
