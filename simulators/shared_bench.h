// Several simulated instruments that share one physical world.
#pragma once

#include <map>
#include <memory>
#include <mutex>
#include <string>
#include <vector>

#include <tl/expected.hpp>

#include "drivers/driver.h"
#include "simulators/in_process_port.h"
#include "simulators/physical_world.h"

namespace ulix {

struct BenchInstrument {
  std::string name;   // as the bench's sensors call it
  std::string model;  // model id
};

// What its sources make, its sensors see. Any thread may call any function, but for world().
class SharedBench {
 public:
  // `clock` is every instrument's and the world's: one whose waits make their ends come, for a bench at any speed. A
  // sentence for a person where a model cannot share a world, or a sensor is at no input.
  static tl::expected<std::unique_ptr<SharedBench>, std::string> Make(const BenchPlan& plan,
                                                                      const std::vector<BenchInstrument>& instruments,
                                                                      Clock& clock);

  ~SharedBench();
  SharedBench(const SharedBench&) = delete;
  SharedBench& operator=(const SharedBench&) = delete;

  // What a driver needs in order to find the instrument, whatever port it asks for.
  DriverServices ServicesOf(const std::string& instrument);
  // Makes the instrument the one that the settings are for: its properties that bear a setting's name take its value.
  void Match(const std::string& instrument, const Settings& settings);
  // "KEY=VALUE" properties of a simulated device; false for what it does not have.
  bool Set(const std::string& instrument, const std::string& key, const std::string& value);
  void SetFaults(const std::string& instrument, const FaultSet& faults);
  // Somebody adjusts the units.
  void Adjust();
  // While nothing is read.
  PhysicalWorld& world() { return world_; }

 private:
  class Seat;
  SharedBench(const BenchPlan& plan, Clock& clock);
  std::string Add(const BenchPlan& plan, const BenchInstrument& instrument);

  Clock& clock_;
  std::mutex mutex_;  // of the world
  PhysicalWorld world_;
  std::vector<std::unique_ptr<Seat>> seats_;
  std::map<std::string, std::shared_ptr<SimulatedBench>> lines_;
};

}  // namespace ulix
