// The physical world around simulated instruments, as a plan orders it. Plain data, known to plans and to simulators.
#pragma once

#include <cstdint>
#include <string>
#include <vector>

namespace ulix {

// A block, a bath or a pressure line. Units are those of the plan (degrees Celsius, kPa); times are seconds.
struct WorldPlan {
  double start = 23;  // what it is at the beginning
  double ambient = 23;
  double rate = 4;                   // fastest change, units a minute
  double time_constant = 60;         // of the approach once the controller slows down
  double overshoot = 0.02;           // share of a step by which the source goes beyond
  double control_amplitude = 0.004;  // of the controller's own swing
  double control_period = 420;       // of it
  double noise = 0.001;              // of the source's own sensor, standard deviation
  double gradient = 0;               // units a metre from the bottom up, times (value - ambient) / 100
};

// What sits in the world and is read by one channel of one instrument.
struct BenchSensor {
  std::string instrument;                // name in the plan
  std::string channel;                   // name or id
  double lag = 10;                       // time constant, seconds
  double offset = 0;                     // of what it indicates
  double slope = 0;                      // relative error
  double noise = 0.001;                  // standard deviation of one reading
  double hysteresis = 0;                 // indication falling minus rising, at the middle of the span
  double span_low = 0, span_high = 100;  // where the hysteresis is none
  double drift = 0;                      // units a day
  double resolution = 0;                 // of the unit itself, before its instrument rounds; 0: none
  double height = 0;                     // metres above the bottom
  double offset_after_adjustment = 0;    // takes the place of `offset` once the unit was adjusted
  // How its reading leaves the bench: as the quantity itself, or as a 4 to 20 mA loop over the span.
  bool loop = false;
  int line = 0;  // of the plan's file
};

struct BenchPlan {
  std::uint32_t seed = 1;
  WorldPlan world;
  std::vector<BenchSensor> sensors;
  int line = 0;  // of the plan's file; 0: the plan has no bench of its own
};

}  // namespace ulix
