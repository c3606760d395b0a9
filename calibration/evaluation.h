// The evaluation of a run: corrected reference, deviation, uncertainty budget and decision for each point of each unit.
// It uses only the result of the run and the certificate of the reference. Pure functions, safe on any thread. Values
// are in the plan's unit and not rounded; only the texts are.
#pragma once

#include <optional>
#include <string>
#include <vector>

#include "calibration/decision.h"
#include "calibration/reference_certificate.h"
#include "calibration/results.h"
#include "calibration/uncertainty.h"

namespace ulix::calibration {

// The numbers of a point as they are printed. The uncertainty is rounded up to two significant digits, the other
// numbers to the same decimal.
struct PrintedPoint {
  std::string reference;
  std::string indication;
  std::string deviation;
  std::string expanded;
  std::string coverage_factor;  // two decimals
};

struct EvaluatedPoint {
  std::size_t point = 0;             // in PhaseResult::points
  double correction = 0;             // from the certificate, added to the mean of the reference
  double head = 0;                   // pressure of the column between reference and unit, also added
  double reference = 0;              // corrected mean
  double indication = 0;             // mean of the unit
  double deviation = 0;              // indication - reference
  std::optional<double> hysteresis;  // |rising - falling| of the deviations, if the point was taken in both directions
  Budget budget;
  double expanded = 0;
  double coverage_factor = 2;
  PrintedPoint printed;
  std::optional<Conformity> conformity;  // none without an agreed rule and tolerance
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

// Evaluates a run. Terms of each budget, besides those of the plan:
//   repeatability    s/sqrt(n) of the differences unit - reference, n - 1 degrees of freedom;
//                    of both series separately if their readings are not paired
//   stability        of the reference during the readings: spread / 2, rectangular
//   resolution       of the unit and of the reference: a step / sqrt(12)
//   certificate      of the reference: U/k
//   hysteresis       |rising - falling| / 2, rectangular, if the point was taken in both directions
// Fails if the reference is outside of its certificate at a point, for an unknown distribution, and if a deviation or
// an uncertainty is not finite.
Result<Evaluation> Evaluate(const RunResult& run, const std::optional<ReferenceCertificate>& reference);

// Converts a point to another unit: all numbers are multiplied by `factor` and printed again. Decisions stay the same.
EvaluatedPoint Scaled(EvaluatedPoint point, double factor);

}  // namespace ulix::calibration
