// The simulated bench of a calibration plan: all instruments on port sim, in one physical world, at any speed.
#pragma once

#include <memory>

#include "calibration/run.h"
#include "simulators/shared_bench.h"
#include "simulators/virtual_time.h"

namespace ulix {

class PlanBench {
 public:
  // `speed` is the number of simulated seconds per second of real time; 0 runs as fast as possible. The simulated local
  // time begins at `local_start`; to continue a run, pass the time of the first line of its journal. Returns a sentence
  // for the user when an instrument cannot be simulated.
  static calibration::Result<std::unique_ptr<PlanBench>> Make(const calibration::Plan& plan, double speed,
                                                              Date local_start);

  // Sets the services of a run to those of this bench. The bench must outlive the run.
  void Provide(calibration::RunServices& services);
  SharedBench& bench() { return *bench_; }
  VirtualTime& time() { return time_; }

 private:
  PlanBench(double speed, Date local_start) : speed_(speed), time_(speed, local_start) {}

  const double speed_;
  VirtualTime time_;
  std::unique_ptr<SharedBench> bench_;
};

}  // namespace ulix
