// A block, a bath or a pressure line, and the sensors in it.
#pragma once

#include <cstdint>
#include <optional>
#include <random>
#include <vector>

#include "calibration/bench_plan.h"
#include "platform/clock.h"

namespace ulix {

// The source goes after its set point no faster than its rate, then like a damped oscillator that overshoots once; its
// controller swings a little for ever. Each sensor follows the place where it is with a lag of its own, and indicates
// with an offset, a slope, hysteresis, a drift, noise and a resolution. Everything moves in steps of a fixed length
// from the world's beginning, so that it does not depend on who looks when; noise is drawn a reading, from one seed a
// sensor. One thread.
class PhysicalWorld {
 public:
  PhysicalWorld(const BenchPlan& plan, Clock& clock);

  void SetPoint(double value);
  double set_point() const { return set_point_; }
  // As the source's own sensor tells it.
  double Actual();
  // One reading of a sensor, by its number in the plan.
  double Read(std::size_t sensor);
  // Somebody adjusted the units: each has its other offset from now on.
  void Adjust();
  // Without noise and errors, where a sensor is: what tests compare with.
  double TrueValue(std::size_t sensor);

 private:
  struct SensorState {
    BenchSensor plan;
    double share = 1;   // of the way to its surroundings that it goes in one step
    double lagged = 0;  // what it would indicate were it without errors
    double play = -1;   // -1 after rising, 1 after falling, between while it turns
    std::mt19937 random;
  };
  void Advance();
  void Step();
  double ValueAt(double height) const;
  double Noise(std::mt19937& random, double deviation) const;
  double HysteresisOf(const SensorState& sensor) const;

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
