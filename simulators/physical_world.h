// Simulates a block, a bath or a pressure line, and the sensors in it.
#pragma once

#include <cstdint>
#include <optional>
#include <random>
#include <vector>

#include "calibration/bench_plan.h"
#include "platform/clock.h"

namespace ulix {

// The source approaches its set point at a limited rate, then like a damped oscillator that overshoots once. A small
// oscillation of its controller remains. Each sensor follows its place with its own lag. Its indication has an offset,
// a slope, hysteresis, drift, noise and a resolution. The world moves in steps of a fixed length from its beginning, so
// that its state does not depend on when it is read. Each reading draws its noise from the random generator of the
// sensor. Use it on one thread.
class PhysicalWorld {
 public:
  PhysicalWorld(const BenchPlan& plan, Clock& clock);

  void SetPoint(double value);
  double set_point() const { return set_point_; }
  // The value that the source's own sensor measures.
  double Actual();
  // One reading of a sensor. `number` is the index of the sensor in the plan.
  double Read(std::size_t number);
  // Simulates an adjustment of the units under test: from now on each has its offset after adjustment.
  void Adjust();
  // The true value at the place of a sensor, without noise and errors. For tests.
  double TrueValue(std::size_t sensor);

 private:
  struct SensorState {
    BenchSensor plan;
    double share = 1;   // the part of the difference to its place that the sensor makes up in one step
    double lagged = 0;  // the value of the sensor with its lag, without errors
    // State of the hysteresis: -1 after rising, 1 after falling, between them after a change of direction.
    double play = -1;
    std::mt19937 random;
  };
  void Advance();
  void Step();
  double ValueAt(double height) const;
  static double Noise(std::mt19937& random, double deviation);
  static double HysteresisOf(const SensorState& sensor);

  WorldPlan plan_;
  Clock& clock_;
  const MonotonicTime began_;
  double step_s_;
  std::int64_t steps_ = 0;
  double set_point_, ramp_, value_, speed_ = 0;
  double damping_ = 1;
  bool adjusted_ = false;
  std::mt19937 random_;
  std::vector<SensorState> sensors_;
};

}  // namespace ulix
