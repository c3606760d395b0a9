// A bench of several simulated instruments in one physical world.
#pragma once

#include <map>
#include <memory>
#include <string>
#include <vector>

#include "calibration/problem.h"
#include "drivers/driver.h"
#include "platform/mutex.h"
#include "simulators/in_process_port.h"
#include "simulators/physical_world.h"

namespace ulix {

struct BenchInstrument {
  std::string name;   // the name by which the sensors of the bench refer to it
  std::string model;  // model id
};

// The sensors measure what the sources produce. Any thread may call any function except world().
class SharedBench {
 public:
  // `clock` is the clock of the world and of every instrument. For a bench at any speed, use a clock whose waits
  // advance the time. Returns a sentence for the user when a model cannot share a world, or when a sensor is connected
  // to an input that does not exist.
  static calibration::Result<std::unique_ptr<SharedBench>> Make(const BenchPlan& plan,
                                                                const std::vector<BenchInstrument>& instruments,
                                                                Clock& clock);

  ~SharedBench();
  SharedBench(const SharedBench&) = delete;
  SharedBench& operator=(const SharedBench&) = delete;

  // The services for a driver. Every port that the driver opens leads to this instrument.
  DriverServices ServicesOf(const std::string& instrument);
  // Adapts the instrument to the settings: each property named like a setting takes the value of the setting.
  void Match(const std::string& instrument, const Settings& settings);
  // Sets a property of a simulated device. Returns false for an unknown key or value.
  bool Set(const std::string& instrument, const std::string& key, const std::string& value);
  void SetFaults(const std::string& instrument, const FaultSet& faults);
  // Simulates an adjustment of the units under test.
  void Adjust();
  // Use the world only while no instrument is read.
  PhysicalWorld& world() { return world_; }

 private:
  class Seat;
  SharedBench(const BenchPlan& plan, Clock& clock);
  calibration::Result<void> Add(const BenchPlan& plan, const BenchInstrument& instrument);

  Clock& clock_;
  platform::Mutex mutex_;  // guards world_
  PhysicalWorld world_;
  std::vector<std::unique_ptr<Seat>> seats_;
  std::map<std::string, std::shared_ptr<SimulatedBench>> lines_;
};

}  // namespace ulix
