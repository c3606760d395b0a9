#include "simulators/shared_bench.h"

#include <charconv>
#include <optional>

#include "base/text.h"
#include "drivers/catalogue.h"
#include "simulators/in_process_usb.h"
#include "simulators/simulator.h"
#include "simulators/surroundings.h"

namespace ulix {
namespace {

// The name of the sensor's channel. A plan may give the channel by its id instead of its name.
std::string NameOfChannel(const BenchSensor& sensor, const std::string& model) {
  const CatalogueEntry* entry = FindModel(model);
  std::size_t id = 0;
  const char* const begin = sensor.channel.data();
  const char* const end = begin + sensor.channel.size();
  const auto [stop, error] = std::from_chars(begin, end, id);
  const bool is_id = error == std::errc() && stop == end && entry && id < entry->card->channels.size();
  return is_id ? entry->card->channels[id].name : sensor.channel;
}

// The number of an input is the number at the end of its channel's name. A single input has a name without a number.
unsigned InputOf(const std::string& channel_name) {
  const std::size_t digits = channel_name.find_last_not_of("0123456789") + 1;
  unsigned input = 0;
  std::from_chars(channel_name.data() + digits, channel_name.data() + channel_name.size(), input);
  return input;
}

}  // namespace

class SharedBench::Seat final : public Surroundings {
 public:
  explicit Seat(SharedBench& bench) : bench_(bench) {}
  void Connect(unsigned input, std::size_t sensor) { sensors_[input] = sensor; }

  double Actual() override {
    const std::lock_guard lock(bench_.mutex_);
    return bench_.world_.Actual();
  }
  void SetPoint(double value) override {
    const std::lock_guard lock(bench_.mutex_);
    bench_.world_.SetPoint(value);
  }
  std::optional<double> Input(unsigned input) override {
    const auto found = sensors_.find(input);
    if (found == sensors_.end()) return std::nullopt;
    const std::lock_guard lock(bench_.mutex_);
    return bench_.world_.Read(found->second);
  }

 private:
  SharedBench& bench_;
  std::map<unsigned, std::size_t> sensors_;
};

SharedBench::SharedBench(const BenchPlan& plan, Clock& clock) : clock_(clock), world_(plan, clock) {}

SharedBench::~SharedBench() = default;

calibration::Result<void> SharedBench::Add(const BenchPlan& plan, const BenchInstrument& instrument) {
  const SimulatorFactory create = FindSimulator(instrument.model);
  if (create == nullptr) return calibration::Refused(TextId::kHasNoSimulator, {instrument.model});
  auto simulator = create(clock_);
  auto& seat = *seats_.emplace_back(std::make_unique<Seat>(*this));
  for (std::size_t k = 0; k < plan.sensors.size(); ++k) {
    const BenchSensor& sensor = plan.sensors[k];
    if (sensor.instrument == instrument.name) seat.Connect(InputOf(NameOfChannel(sensor, instrument.model)), k);
  }
  if (!simulator->Place(seat)) return calibration::Refused(TextId::kNoSharedWorld, {instrument.model});
  lines_[instrument.name] = std::make_shared<SimulatedBench>(std::move(simulator), clock_);
  return {};
}

calibration::Result<std::unique_ptr<SharedBench>> SharedBench::Make(const BenchPlan& plan,
                                                                    const std::vector<BenchInstrument>& instruments,
                                                                    Clock& clock) {
  std::unique_ptr<SharedBench> bench(new SharedBench(plan, clock));
  for (const BenchInstrument& instrument : instruments) {
    const auto added = bench->Add(plan, instrument);
    if (!added) return tl::unexpected(added.error());
  }
  return bench;
}

DriverServices SharedBench::ServicesOf(const std::string& instrument) {
  const auto& line = lines_.at(instrument);
  DriverServices services;
  services.clock = &clock_;
  services.resolve_port = ResolverOf(line);
  services.make_socket = SocketMakerOf(line);
  services.load_usb_library = UsbLoaderOf(line, clock_);
  return services;
}

void SharedBench::Match(const std::string& instrument, const Settings& settings) {
  lines_.at(instrument)->WithSimulator([&](Simulator& simulator) {
    for (const auto& [key, value] : simulator.Properties()) {
      const SettingRow* row = settings.Find(key);
      if (row != nullptr) simulator.Set(key, settings.TextOf(*row));
    }
  });
}

bool SharedBench::Set(const std::string& instrument, const std::string& key, const std::string& value) {
  return lines_.at(instrument)->WithSimulator([&](Simulator& simulator) {
    return Succeeded(simulator.Set(key, value));
  });
}

void SharedBench::SetFaults(const std::string& instrument, const FaultSet& faults) {
  lines_.at(instrument)->SetFaults(faults);
}

void SharedBench::Adjust() {
  const std::lock_guard lock(mutex_);
  world_.Adjust();
}

}  // namespace ulix
