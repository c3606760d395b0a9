// The simulated bench of a calibration's plan: all instruments on port sim, in one world, at any speed.
#pragma once

#include <memory>
#include <string>

#include <tl/expected.hpp>

#include "calibration/run.h"
#include "simulators/shared_bench.h"
#include "simulators/virtual_time.h"

namespace ulix {

class PlanBench {
 public:
  // `speed`: seconds of the run for each of the machine's; 0: as fast as it goes. The local time begins at
  // `local_start`: for a run that is gone on with, that of its journal's first line. A sentence for a person where an
  // instrument cannot be simulated.
  static tl::expected<std::unique_ptr<PlanBench>, std::string> Make(const calibration::Plan& plan, double speed,
                                                                    Date local_start);

  // Makes a run's services those of this bench, which must outlive the run.
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
