#include "simulators/physical_world.h"

#include <algorithm>
#include <chrono>
#include <cmath>
#include <numbers>

namespace ulix {
namespace {

constexpr double kLongestStep = 0.5;  // seconds
constexpr double kShortestStep = 0.02;
constexpr double kStepsOfTimeConstant = 10;
constexpr double kSecondsPerDay = 86400;
// The part of its span that a sensor must go back until its hysteresis has reversed completely.
constexpr double kTurningShare = 0.1;

// The damping ratio of a second-order system with this overshoot, as a fraction of the step.
double DampingFor(double overshoot) {
  if (overshoot <= 0) return 1;
  const double logarithm = std::log(overshoot);
  return -logarithm / std::hypot(std::numbers::pi, logarithm);
}

}  // namespace

PhysicalWorld::PhysicalWorld(const BenchPlan& plan, Clock& clock)
    : plan_(plan.world),
      clock_(clock),
      began_(clock.Now()),
      step_s_(kLongestStep),
      set_point_(plan_.start),
      ramp_(plan_.start),
      value_(plan_.start),
      damping_(DampingFor(plan_.overshoot)),
      random_(plan.seed) {
  step_s_ = std::clamp(plan_.time_constant / kStepsOfTimeConstant, kShortestStep, kLongestStep);
  std::uint32_t seed = plan.seed * 2654435761U;
  for (const BenchSensor& sensor : plan.sensors) {
    SensorState& state = sensors_.emplace_back();
    state.plan = sensor;
    state.share = sensor.lag > 0 ? 1 - std::exp(-step_s_ / sensor.lag) : 1;
    state.lagged = ValueAt(sensor.height);
    state.random.seed(++seed);
  }
}

// Each call draws a random number, whatever the deviation is, so that the sequence does not depend on the deviation.
double PhysicalWorld::Noise(std::mt19937& random, double deviation) {
  std::normal_distribution<double> normal;
  return deviation * normal(random);
}

double PhysicalWorld::ValueAt(double height) const {
  constexpr double kPerCent = 100;
  const double seconds = static_cast<double>(steps_) * step_s_;
  const double swing =
      plan_.control_amplitude * std::sin(2 * std::numbers::pi * seconds / std::max(plan_.control_period, step_s_));
  const double value = value_ + swing;
  return value - plan_.gradient * height * (value - plan_.ambient) / kPerCent;
}

void PhysicalWorld::Step() {
  const double max_step = plan_.rate / 60 * step_s_;
  ramp_ += std::clamp(set_point_ - ramp_, -max_step, max_step);
  const double frequency = 1 / std::max(plan_.time_constant, 2 * step_s_);
  const double pull = frequency * frequency * (ramp_ - value_) - 2 * damping_ * frequency * speed_;
  speed_ += pull * step_s_;
  value_ += speed_ * step_s_;
  ++steps_;
  for (SensorState& sensor : sensors_) {
    const double before = sensor.lagged;
    sensor.lagged += (ValueAt(sensor.plan.height) - before) * sensor.share;
    const double span = sensor.plan.span_high - sensor.plan.span_low;
    sensor.play = std::clamp(sensor.play - (sensor.lagged - before) / (kTurningShare * span / 2), -1.0, 1.0);
  }
}

void PhysicalWorld::Advance() {
  const double seconds = std::chrono::duration<double>(clock_.Now() - began_).count();
  while (static_cast<double>(steps_ + 1) * step_s_ <= seconds) Step();
}

void PhysicalWorld::SetPoint(double value) {
  Advance();
  set_point_ = value;
  ramp_ = value_;
}

double PhysicalWorld::Actual() {
  Advance();
  return ValueAt(0) + Noise(random_, plan_.noise);
}

// The hysteresis is zero at the ends of the span and largest in the middle.
double PhysicalWorld::HysteresisOf(const SensorState& sensor) {
  const double span = sensor.plan.span_high - sensor.plan.span_low;
  const double place = std::clamp((sensor.lagged - sensor.plan.span_low) / span, 0.0, 1.0);
  return sensor.play * sensor.plan.hysteresis / 2 * 4 * place * (1 - place);
}

double PhysicalWorld::Read(std::size_t number) {
  Advance();
  SensorState& sensor = sensors_.at(number);
  const BenchSensor& plan = sensor.plan;
  const double days = static_cast<double>(steps_) * step_s_ / kSecondsPerDay;
  double value = sensor.lagged * (1 + plan.slope) + (adjusted_ ? plan.offset_after_adjustment : plan.offset) +
                 plan.drift * days + HysteresisOf(sensor) + Noise(sensor.random, plan.noise);
  if (plan.resolution > 0) value = std::round(value / plan.resolution) * plan.resolution;
  if (!plan.loop) return value;
  return 4 + 16 * (value - plan.span_low) / (plan.span_high - plan.span_low);
}

void PhysicalWorld::Adjust() { adjusted_ = true; }

double PhysicalWorld::TrueValue(std::size_t sensor) {
  Advance();
  return sensors_.at(sensor).lagged;
}

}  // namespace ulix
