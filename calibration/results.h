// What a run found, read back from its journal. Values are in the plan's unit; nothing is rounded.
#pragma once

#include <optional>
#include <string>
#include <vector>

#include "base/date.h"
#include "calibration/plan.h"
#include "calibration/problem.h"

namespace ulix::calibration {

// One reading of a channel while a point was read.
struct SampledValue {
  double seconds = 0;  // since the run began, on the clock that does not jump
  Date time = 0;       // local
  double value = 0;    // converted by the channel's sensor and scale
  double raw = 0;      // as the instrument's channel told it
};

// The readings of one channel at one point.
struct ReadingSeries {
  std::vector<SampledValue> readings;
  std::vector<SampledValue> approach;  // looks at it before, thinned; only where they were asked for
  double mean = 0;
  double deviation = 0;      // experimental standard deviation of one reading; 0 for fewer than two
  double spread = 0;         // of the readings, max - min
  double window_spread = 0;  // of the stability window that ended when reading began
  double window_drift = 0;   // |slope| times the window, likewise
  double resolution = 0;     // step of what was read: the plan's, else the channel's

  double TypeA() const;  // standard uncertainty of the mean, deviation / sqrt(n); 0 for fewer than two
};

// A series with its statistics.
ReadingSeries SeriesOf(std::vector<SampledValue> readings);

struct PointResult {
  Phase phase = Phase::kAsFound;
  std::size_t index = 0;  // in Plan::points
  double nominal = 0;
  Direction direction = Direction::kRising;
  int cycle = 1;
  ReadingSeries reference;  // as read: its certificate's correction is not applied here
  // In the order of Plan::units. Reading k of a unit belongs to reading k of the reference; with
  // kReferenceFirstAndLast two of them make a round, within which a steady drift cancels in the means.
  std::vector<ReadingSeries> units;
  Date began = 0, ended = 0;  // local: the source was set; the last reading was taken
  int attempts = 1;           // times that it was read; the last one counts
};

// An instrument as it answered.
struct InstrumentFact {
  std::string name, model, port;
  std::string identification;  // the whole answer, UTF-8
  std::string serial_number;   // of the plan, found in the identification; empty where the plan has none
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
  std::string run_id;            // of the journal
  std::string version;           // of this library when the run began
  std::string journal_digest;    // of the last line: names the whole journal
  std::string reference_digest;  // SHA-256 of the reference's certificate when the run began; empty: there was none
  std::vector<InstrumentFact> instruments;
  std::vector<PhaseResult> phases;
  bool complete = false;  // every point of every phase was taken
  bool simulated = false;
  BilingualText end_reason;  // of the last end, for people
};

}  // namespace ulix::calibration
