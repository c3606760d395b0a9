// Says when a quantity has become stable.
#pragma once

#include <cstdint>
#include <deque>
#include <limits>
#include <optional>

#include "resources/texts.h"

namespace ulix::calibration {

enum class StabilityState {
  kWaiting,   // nothing to judge yet, or further than `near` from the target
  kNear,      // near the target; the window is not full yet
  kSettling,  // the window is full and a limit is not kept
  kStable,
  kLost,  // it was stable and is not any more
};

// "waiting", "near", "settling", "stable", "lost".
const char* NameOf(StabilityState state);
// The state in words for a person.
TextId TextOf(StabilityState state);

// Limits are in the quantity's unit, times in seconds.
struct StabilityLimits {
  double window = 600;
  double spread = 0.02;          // of the values in the window, max - min
  double drift = 0.02;           // |slope of the regression line| times the window
  int min_samples = 10;          // in the window
  double resolution = 0;         // step of the values; 0: none
  std::optional<double> target;  // none: every value is near
  double near = std::numeric_limits<double>::infinity();
  double give_up = std::numeric_limits<double>::infinity();  // after the first sample
};

struct StabilityReport {
  StabilityState state = StabilityState::kWaiting;
  double spread = 0;        // of the window as it is
  double drift = 0;         // |slope| times the window
  double spread_limit = 0;  // with their floors
  double drift_limit = 0;
  std::optional<double> seconds_left;  // until it may be stable at the earliest or, while it settles, is expected to be
  bool gave_up = false;
};

// The rule: over a window of time, not of samples, spread and drift keep their limits, there are enough samples, and no
// gap is longer than a tenth of the window. A failed reading or such a gap empties the window. A limit cannot ask for
// more than the readings can tell: the spread's floor is resolution / sqrt(12), which is also what a difference of one
// step counts; the slope's floor is its own standard error. A sample costs O(1), amortised; memory is one window.
// One thread.
class StabilityDetector {
 public:
  explicit StabilityDetector(const StabilityLimits& limits) : limits_(limits) {}

  // `seconds` on a clock that never goes back; a sample that is not later than the one before is left out. None, and a
  // value that is no finite number, is a failed reading.
  const StabilityReport& Add(double seconds, std::optional<double> value);
  const StabilityReport& report() const { return report_; }
  std::size_t samples() const { return samples_.size(); }
  // Forgets everything, the give-up time included.
  void Reset();

 private:
  struct Sample {
    double seconds, value;
  };
  // Sums over the window, of times and values less an origin near them.
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
  std::deque<Sample> lows_, highs_;  // candidates for the window's extremes, the present one in front
  Sums sums_;
  Sample origin_{};
  std::size_t since_rebase_ = 0;
  std::optional<double> first_;  // of all samples since Reset
  double began_ = 0;             // of the samples without a gap
  bool was_stable_ = false;
  double excess_at_ = 0, excess_ = 0;  // how far limits were exceeded, some time ago
  double halving_ = 0;                 // seconds in which that excess halves; 0: not known
};

}  // namespace ulix::calibration
