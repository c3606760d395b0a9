// The certificate of a reference: the correction of its readings and its uncertainty, also between the calibrated
// points.
#pragma once

#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "calibration/certificate.h"
#include "calibration/problem.h"

namespace ulix::calibration {

// One calibrated point, in the plan's unit.
struct ReferencePoint {
  double indication = 0;  // indication of the reference at its calibration
  double correction = 0;  // to be added to the indication
  double expanded = 0;    // expanded uncertainty of the correction
  double coverage_factor = 2;
};

struct Correction {
  double value = 0;
  double expanded = 0;  // the larger one of the two neighbouring points
  double coverage_factor = 2;
};

struct ReferenceCertificate {
  std::string identifier;
  std::string laboratory;
  std::string issue_date;  // YYYY-MM-DD; the end of the calibration if an older certificate has no issue date
  std::string due_date;    // empty: not stated
  std::vector<std::string> serial_numbers;     // serial numbers and other identifications of the reference
  std::vector<ReferencePoint> points;          // in rising order
  std::optional<double> min_valid, max_valid;  // range of the quantity, if the certificate states one
  std::string sha256;                          // digest of the file, in hexadecimal
  std::string file;

  // The correction at an indication: linear between the two points around it. Fails outside of the points or of the
  // stated range. Because indications scatter, up to a hundredth of the points' span beyond the last point is accepted,
  // with the correction of that point.
  Result<Correction> At(double indication) const;
  bool IsFor(const std::string& serial_number) const;
  // Whether `date` (YYYY-MM-DD) is after the date of recalibration.
  bool IsOverdue(const std::string& date) const { return !due_date.empty() && date > due_date; }
};

// Makes the data from a digital certificate, in `unit` of a plan. Uses the tables gp_table1 with reference values and
// measured values, after adjustment if there are two. Fails if there is no such table, or no uncertainty.
Result<ReferenceCertificate> ReferenceFrom(const Certificate& certificate, const std::string& unit);

// Makes the data from a text with a table of values, in the plan's unit. Fields are separated by commas, semicolons or
// tabs; numbers have a point:
//   certificate;LAB-2026-17
//   serial;PT-4711
//   due;2027-05-01
//   reference;indication;U;k
//   0.012;0.030;0.020;2
// First come lines "key;value" with the keys certificate, laboratory, serial (may be repeated), issued, due and k. Then
// comes a heading with columns in any order. "correction" may replace "reference", and the column k may be missing.
// Empty lines and lines that begin with '#' are ignored.
Result<ReferenceCertificate> ReferenceFromTable(std::string_view text);

}  // namespace ulix::calibration
