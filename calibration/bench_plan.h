// The physical world of simulated instruments, as a plan describes it. Plain data that plans and simulators share.
#pragma once

#include <cstdint>
#include <string>
#include <vector>

namespace ulix {

// A block, a bath or a pressure line. Units are those of the plan (degrees Celsius, kPa); times are seconds.
struct WorldPlan {
  double start = 23;  // value at the start
  double ambient = 23;
  double rate = 4;                   // fastest change, units per minute
  double time_constant = 60;         // time constant of the approach, after the controller slows down
  double overshoot = 0.02;           // overshoot of the source, as a share of the step
  double control_amplitude = 0.004;  // amplitude of the controller's oscillation
  double control_period = 420;       // period of that oscillation
  double noise = 0.001;              // standard deviation of the source's own sensor
  double gradient = 0;               // units per metre of height, times (value - ambient) / 100
};

// A sensor in the world, which one channel of one instrument reads.
struct BenchSensor {
  std::string instrument;                // name in the plan
  std::string channel;                   // name or id
  double lag = 10;                       // time constant, seconds
  double offset = 0;                     // error of the indication, in units
  double slope = 0;                      // relative error
  double noise = 0.001;                  // standard deviation of one reading
  double hysteresis = 0;                 // falling minus rising indication, in the middle of the span
  double span_low = 0, span_high = 100;  // at these values the hysteresis is 0
  double drift = 0;                      // units per day
  double resolution = 0;                 // step of the sensor itself, before its instrument rounds; 0: none
  double height = 0;                     // metres above the bottom
  double offset_after_adjustment = 0;    // replaces `offset` after an adjustment
  // Whether the sensor gives a 4 to 20 mA signal over the span, instead of the quantity itself.
  bool loop = false;
  int line = 0;  // in the plan's file
};

struct BenchPlan {
  std::uint32_t seed = 1;
  WorldPlan world;
  std::vector<BenchSensor> sensors;
  int line = 0;  // in the plan's file; 0: the plan describes no bench
};

}  // namespace ulix
