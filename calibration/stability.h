// Detects when a quantity has become stable.
#pragma once

#include <cstdint>
#include <deque>
#include <limits>
#include <optional>

#include "resources/texts.h"

namespace ulix::calibration {

enum class StabilityState {
  kWaiting,   // no value yet, or further than `near` from the target
  kNear,      // near the target; the window is not full yet
  kSettling,  // the window is full, but a limit is not kept
  kStable,
  kLost,  // it was stable and is no longer
};

// "waiting", "near", "settling", "stable", "lost".
const char* NameOf(StabilityState state);
// The state in words for a person.
TextId TextOf(StabilityState state);

// Limits are in the quantity's unit, times in seconds.
struct StabilityLimits {
  double window = 600;
  double spread = 0.02;          // largest minus smallest value in the window
  double drift = 0.02;           // |slope of the regression line| times the length of the window
  int min_samples = 10;          // samples in the window
  double resolution = 0;         // step of the values; 0: none
  std::optional<double> target;  // none: every value counts as near
  double near = std::numeric_limits<double>::infinity();
  double give_up = std::numeric_limits<double>::infinity();  // seconds after the first sample
};

struct StabilityReport {
  StabilityState state = StabilityState::kWaiting;
  double spread = 0;        // of the present window
  double drift = 0;         // |slope| times the length of the window
  double spread_limit = 0;  // the limits, not below what the resolution and noise allow
  double drift_limit = 0;
  std::optional<double> seconds_left;  // earliest or, while it settles, expected time until stable
  bool gave_up = false;
};

// The rule: in a window of time, spread and drift keep their limits, there are enough samples, and no gap is longer
// than a tenth of the window. A failed reading or a longer gap empties the window.
//
// A limit is never lower than what the readings can show. For the spread this is resolution / sqrt(12), and a
// difference of one step counts as that much; for the slope it is its standard error.
//
// A sample costs O(1) on average; the memory used is one window. Use a detector on one thread.
class StabilityDetector {
 public:
  explicit StabilityDetector(const StabilityLimits& limits) : limits_(limits) {}

  // Adds a sample. `seconds` is a time on a monotonic clock; a sample that is not later than the one before is ignored.
  // No value, or one that is not finite, is a failed reading.
  const StabilityReport& Add(double seconds, std::optional<double> value);
  const StabilityReport& report() const { return report_; }
  std::size_t samples() const { return samples_.size(); }
  // Forgets all samples; the give-up time starts again.
  void Reset();

 private:
  struct Sample {
    double seconds, value;
  };
  // Sums over the window. An origin near the times and values is subtracted first, to keep digits.
  struct Sums {
    double t = 0, v = 0, tt = 0, tv = 0, vv = 0;
    void Add(double dt, double dv, double sign);
  };

  void Empty();
  void Put(const Sample& sample);
  void DropBefore(double seconds);
  void Rebase();
  void Judge(double seconds);
  void JudgeSpread();
  void JudgeDrift();
  std::optional<double> TimeLeft(double seconds);
  bool IsNear(double value) const;

  StabilityLimits limits_;
  StabilityReport report_;
  std::deque<Sample> samples_;
  std::deque<Sample> lows_, highs_;  // candidates for the window's extremes; the present extreme is in front
  Sums sums_;
  Sample origin_{};
  std::size_t since_rebase_ = 0;
  std::optional<double> first_;  // time of the first sample since Reset
  double began_ = 0;             // time of the first sample since the last gap
  bool was_stable_ = false;
  double excess_at_ = 0, excess_ = 0;  // an earlier time, and by how much the limits were exceeded then
  double halving_ = 0;                 // seconds in which the excess halves; 0: not known
};

}  // namespace ulix::calibration
