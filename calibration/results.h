// The results of a run, read from its journal. Values are in the plan's unit and not rounded.
#pragma once

#include <optional>
#include <string>
#include <vector>

#include "base/date.h"
#include "calibration/plan.h"
#include "calibration/problem.h"

namespace ulix::calibration {

// One reading of a channel at a point.
struct SampledValue {
  double seconds = 0;  // since the start of the run, on a monotonic clock
  Date time = 0;       // local time
  double value = 0;    // converted by the channel's sensor and scale
  double raw = 0;      // as the instrument sent it
};

// The readings of one channel at one point.
struct ReadingSeries {
  std::vector<SampledValue> readings;
  std::vector<SampledValue> approach;  // readings before that, thinned out; only if requested
  double mean = 0;
  double deviation = 0;      // experimental standard deviation of one reading; 0 for fewer than two
  double spread = 0;         // largest minus smallest reading
  double window_spread = 0;  // spread of the stability window before the readings
  double window_drift = 0;   // |slope| times the length of that window
  double resolution = 0;     // step of the readings: from the plan, or else of the channel

  double TypeA() const;  // standard uncertainty of the mean, deviation / sqrt(n); 0 for fewer than two
};

// Makes a series from readings and computes its statistics.
ReadingSeries SeriesOf(std::vector<SampledValue> readings);

struct PointResult {
  Phase phase = Phase::kAsFound;
  std::size_t index = 0;  // in Plan::points
  double nominal = 0;
  Direction direction = Direction::kRising;
  int cycle = 1;
  ReadingSeries reference;  // as read; the certificate's correction is not applied
  // In the order of Plan::units. Reading k of a unit belongs to reading k of the reference. With kReferenceFirstAndLast
  // two readings form a round, so that a steady drift cancels in the means.
  std::vector<ReadingSeries> units;
  Date began = 0, ended = 0;  // local time of the set point and of the last reading
  int attempts = 1;           // how often the point was read; the last attempt counts
};

// An instrument as it identified itself.
struct InstrumentFact {
  std::string name, model, port;
  std::string identification;  // the whole answer, UTF-8
  std::string serial_number;   // from the plan, found in the identification; empty if the plan has none
  std::vector<std::pair<std::string, std::string>> settings;
};

struct AmbientReading {
  Phase phase = Phase::kAsFound;
  Date time = 0;
  std::optional<double> temperature, humidity, pressure;
};

struct PhaseResult {
  Phase phase = Phase::kAsFound;
  Date began = 0, ended = 0;
  std::vector<PointResult> points;
  std::vector<AmbientReading> ambient;
  bool complete = false;
};

struct RunResult {
  Plan plan;
  std::string run_id;            // in the journal
  std::string version;           // version of this library at the start of the run
  std::string journal_digest;    // digest of the last line, which identifies the whole journal
  std::string reference_digest;  // SHA-256 of the reference's certificate at the start of the run; empty: none
  std::vector<InstrumentFact> instruments;
  std::vector<PhaseResult> phases;
  bool complete = false;  // whether every point of every phase was read
  bool simulated = false;
  BilingualText end_reason;  // why the run ended last, for people
};

}  // namespace ulix::calibration
