#include "simulators/plan_bench.h"

#include <utility>

namespace ulix {

calibration::Result<std::unique_ptr<PlanBench>> PlanBench::Make(const calibration::Plan& plan, double speed,
                                                                Date local_start) {
  std::unique_ptr<PlanBench> made(new PlanBench(speed, local_start));
  std::vector<BenchInstrument> instruments;
  for (const auto& planned : plan.instruments) instruments.push_back({planned.name, planned.model});
  auto bench = SharedBench::Make(plan.bench, instruments, made->time_.jumping());
  if (!bench) return tl::unexpected(bench.error());
  made->bench_ = std::move(*bench);
  return made;
}

void PlanBench::Provide(calibration::RunServices& services) {
  services.services_of = [this](const calibration::PlannedInstrument& planned) {
    return bench_->ServicesOf(planned.name);
  };
  services.prepared = [this](const calibration::PlannedInstrument& planned, Instrument& instrument) {
    bench_->Match(planned.name, instrument.settings());
  };
  services.clock = &time_.pacing();
  services.instrument_clock = &time_.patient();
  services.simulated = true;
  services.adjust = [this] { bench_->Adjust(); };
  services.hurry = [this](bool fast) { time_.SetSpeed(fast ? 0 : speed_); };
}

}  // namespace ulix
