// What the certificate of a reference says about its readings: the correction and its uncertainty between calibrated
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
  double indication = 0;  // of the reference under calibration
  double correction = 0;  // to be added to it
  double expanded = 0;    // uncertainty of the correction
  double coverage_factor = 2;
};

struct Correction {
  double value = 0;
  double expanded = 0;  // the larger one of both neighbours
  double coverage_factor = 2;
};

struct ReferenceCertificate {
  std::string identifier;
  std::string laboratory;
  std::string issue_date;  // YYYY-MM-DD; of an older certificate without it, the end of the calibration
  std::string due_date;    // empty: none is stated
  std::vector<std::string> serial_numbers;     // and other identifications of the reference
  std::vector<ReferencePoint> points;          // rising
  std::optional<double> min_valid, max_valid;  // of the quantity, where the certificate states a range
  std::string sha256;                          // of the file, in hexadecimal
  std::string file;

  // Linear between the two points around the indication. Refused outside of the points and of the stated range; a
  // hundredth of the points' span beyond is taken with the correction of the nearest point, since indications scatter.
  Result<Correction> At(double indication) const;
  bool IsFor(const std::string& serial_number) const;
  // Whether `date` (YYYY-MM-DD) is behind the date of recalibration.
  bool IsOverdue(const std::string& date) const { return !due_date.empty() && date > due_date; }
};

// From a digital certificate, in `unit` of a plan. Taken are the tables gp_table1 with reference values and measured
// values; the state after adjustment where there are two. Refused where there is none, or no uncertainty.
Result<ReferenceCertificate> ReferenceFrom(const Certificate& certificate, const std::string& unit);

// From a table of values separated by commas, semicolons or tabs (numbers with a point):
//   certificate;LAB-2026-17      lines "key;value" first: certificate, laboratory, serial (repeated), issued, due, k
//   serial;PT-4711
//   due;2027-05-01
//   reference;indication;U;k     then a heading, whose columns may stand in any order: "correction" may take the place
//   of 0.012;0.030;0.020;2          "reference", and k be left out. Values in the plan's unit.
// Empty lines and lines that begin with '#' do not count.
Result<ReferenceCertificate> ReferenceFromTable(std::string_view text);

}  // namespace ulix::calibration
