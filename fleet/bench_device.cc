#include "fleet/bench_device.h"

#include <algorithm>
#include <cmath>

#include "base/identification.h"
#include "base/numbers.h"
#include "base/text.h"
#include "calibration/planned_instrument.h"
#include "drivers/catalogue.h"
#include "simulators/simulated_line.h"

namespace ulix::fleet {
namespace {

using calibration::Bilingual;
using calibration::BilingualText;
using std::chrono::milliseconds;

constexpr milliseconds kLookInterval{200};
constexpr milliseconds kRetryInterval{1000};
constexpr std::size_t kMaxWrites = 16;
constexpr double kMsPerDay = 86'400'000.0;
constexpr double kMaxAgeMs = 3'600'000.0;
constexpr double kStalePeriods = 3;
constexpr milliseconds kStaleSlack{2000};
constexpr std::string_view kOutputs = "Outputs/";
constexpr std::string_view kSetPoint = "/Set point";

// Converts through the age of the stamp, because local time jumps with daylight saving.
UnixMs UnixOf(Date stamp) {
  const double age = (SystemClock().LocalTime() - stamp) * kMsPerDay;
  return UnixNow() - static_cast<UnixMs>(age > 0 && age < kMaxAgeMs ? std::llround(age) : 0);
}

Metric TextMetric(const std::string& name, const std::string& text) {
  return {.name = name, .type = DataType::kString, .value = text};
}

std::string ValueName(const std::string& channel) { return "Inputs/" + channel + "/Value"; }
std::string SetPointName(const std::string& channel) {
  return std::string(kOutputs) + channel + std::string(kSetPoint);
}

// The channel in "Outputs/CHANNEL/Set point"; none for any other name.
std::optional<std::string> OutputIn(std::string_view name) {
  const bool fits =
      name.starts_with(kOutputs) && name.ends_with(kSetPoint) && name.size() > kOutputs.size() + kSetPoint.size();
  if (!fits) return std::nullopt;
  return std::string(name.substr(kOutputs.size(), name.size() - kOutputs.size() - kSetPoint.size()));
}

}  // namespace

struct BenchDevice::Judged {
  MetricValue value;
  Quality quality;
};

// Passes the events of the instrument to the device, which outlives the instrument.
class BenchDevice::Sink final : public EventSink {
 public:
  explicit Sink(BenchDevice& device) : device_(device) {}
  void DataChange(std::uint32_t, const ChannelArrays& arrays) override { device_.Take(arrays, true); }

 private:
  BenchDevice& device_;
};

BenchDevice::BenchDevice(const PublishedInstrument& config, const std::string& folder, Node& node, Log log)
    : config_(config), folder_(folder), node_(node), log_(std::move(log)) {
  if (!config_.device.empty()) node_.ClaimDevice(config_.device, config_.planned.name);
}

BenchDevice::~BenchDevice() { Stop(); }

void BenchDevice::Say(LogLevel level, const BilingualText& text) const {
  if (log_) log_(level, BilingualText(config_.planned.name + ": ") + text);
}

void BenchDevice::SayOnce(LogLevel level, const BilingualText& text) {
  if (text == said_) return;
  said_ = text;
  Say(level, text);
}

void BenchDevice::Start() {
  thread_ = std::thread([this] { Run(); });
}

void BenchDevice::RequestStop() {
  {
    const std::lock_guard lock(mutex_);
    stopping_ = true;
  }
  changed_.notify_all();
}

void BenchDevice::Stop() {
  RequestStop();
  if (thread_.joinable()) thread_.join();
  instrument_.reset();
}

void BenchDevice::Pause(milliseconds duration) {
  std::unique_lock lock(mutex_);
  changed_.wait_for(lock, duration, [this] { return stopping_ || !writes_.empty(); });
}

void BenchDevice::Run() {
  while (!stopping_) {
    ++turns_;
    if (!alive_ && !Connect()) {
      Pause(kRetryInterval);
      continue;
    }
    Watch();
    Pause(kLookInterval);
  }
  if (instrument_) instrument_->StopAllGroups();
}

// --- connecting ---

bool BenchDevice::Connect() {
  DriverServices services;
  if (config_.planned.simulated() && !simulated_) simulated_ = std::make_unique<SimulatedLine>(config_.planned.model);
  if (simulated_) services = simulated_->ServicesOf(services);
  auto made = calibration::MakeInstrument(config_.planned, folder_, services, {});
  if (!made) return SayOnce(LogLevel::kError, made.error()), false;
  instrument_ = std::move(*made);
  if (simulated_) simulated_->Match(instrument_->settings());
  HRESULT result = instrument_->Connect();
  std::string identification;
  if (Succeeded(result)) result = instrument_->Identify(&identification);
  const bool own_settings = config_.planned.settings.empty() && config_.planned.config_file.empty();
  if (Succeeded(result)) result = own_settings ? calibration::AskOwnSettings(*instrument_) : instrument_->SendCfg();
  if (Succeeded(result) && config_.planned.run) result = instrument_->Run();
  if (Failed(result)) {
    SayOnce(LogLevel::kWarning, calibration::ErrorTextsOf(*instrument_, result));
    return instrument_->Disconnect(), false;
  }
  identification = Utf8FromAnsi(Trimmed(identification));
  if (identification.find(config_.planned.serial_number) == std::string::npos) {
    SayOnce(LogLevel::kError, Bilingual(TextId::kFleetOtherInstrument, {identification}));
    return instrument_->Disconnect(), false;
  }
  const auto device = ClaimDevice(identification);
  if (!device || !MakeGroups()) return instrument_->Disconnect(), false;
  GiveBirth(*device, identification);
  instrument_->events().Advise(std::make_shared<Sink>(*this));
  instrument_->RunAllGroups();
  return true;
}

bool BenchDevice::MakeGroups() {
  const std::lock_guard lock(mutex_);
  channels_.clear();
  groups_.clear();
  for (const PublishedGroup& group : config_.groups) {
    if (!AddGroup(group)) return false;
  }
  AddOutputs();
  return true;
}

bool BenchDevice::AddGroup(const PublishedGroup& group) {
  std::uint32_t id = 0;
  HRESULT result = instrument_->CreateGroup(&id);
  if (Succeeded(result)) result = instrument_->SetGroupSettings(id, group.settings);
  for (const std::string& name : group.channels) {
    const auto channel = calibration::FindChannel(*instrument_, name);
    if (!channel) return SayOnce(LogLevel::kError, channel.error()), false;
    if (Succeeded(result)) result = instrument_->ConnectGroupChan(id, *channel);
    Channel& made = ChannelOf(*channel);
    made.is_read = true;
    made.period_ms = group.settings.period_ms;
  }
  if (Failed(result)) return SayOnce(LogLevel::kError, calibration::ErrorTextsOf(*instrument_, result)), false;
  groups_.push_back(id);
  return true;
}

void BenchDevice::AddOutputs() {
  std::vector<ChannelId> outputs;
  instrument_->OutChans(&outputs);
  for (const ChannelId id : outputs) {
    if (instrument_->OffersChannel(id)) ChannelOf(id).is_output = true;
  }
}

BenchDevice::Channel& BenchDevice::ChannelOf(ChannelId id) {
  Channel& channel = channels_[id];
  if (!channel.name.empty()) return channel;
  std::string name, unit;
  instrument_->GetChanName(id, &name);
  instrument_->GetChanUnit(id, &unit);
  channel.name = Utf8FromAnsi(name);
  channel.unit = Utf8FromAnsi(unit);
  channel.stamped_at = std::chrono::steady_clock::now();
  channel.value = {.name = ValueName(channel.name), .type = DataType::kDouble};
  channel.value.SetProperty(kUnitKey, channel.unit);
  channel.value.SetProperty(kQualityKey, static_cast<std::int32_t>(Quality::kStale));
  return channel;
}

// Updates the unit of a channel, because some instruments send the unit only with a reading.
void BenchDevice::RefreshUnit(Channel& channel, ChannelId id) {
  std::string unit;
  if (!instrument_->card().units_with_readings || Failed(instrument_->GetChanUnit(id, &unit))) return;
  channel.unit = Utf8FromAnsi(unit);
  channel.value.SetProperty(kUnitKey, channel.unit);
}

Metric BenchDevice::ErrorMetric(const Channel& channel, UnixMs time) const {
  Metric metric{.name = "Channel/" + channel.name + "/Error code",
                .type = DataType::kInt32,
                .value = channel.error,
                .time = time};
  if (channel.error != 0) metric.SetProperty("text", calibration::ErrorTextOf(*instrument_, channel.error));
  return metric;
}

std::vector<Metric> BenchDevice::BirthMetrics(const std::string& identification) {
  std::string firmware;
  instrument_->GetDevVersion(&firmware);
  std::string serial = SerialNumberIn(identification);
  if (serial.empty()) serial = config_.planned.serial_number;
  std::vector<Metric> metrics{
      TextMetric("Properties/Model", instrument_->card().model_id), TextMetric("Properties/Serial", serial),
      TextMetric("Properties/Firmware", Utf8FromAnsi(Trimmed(firmware))),
      TextMetric("Properties/Identification", identification), TextMetric("Run/State", "running")};
  if (config_.certificate) {
    metrics.push_back(TextMetric("Properties/Certificate", config_.certificate->identifier));
    metrics.push_back(TextMetric("Properties/Certificate valid until", config_.certificate->valid_until));
  }
  for (const auto& [id, channel] : channels_) {
    if (channel.is_read) metrics.push_back(channel.value);
    if (channel.is_output) {
      Metric output = channel.value;
      output.name = SetPointName(channel.name);
      metrics.push_back(output);
    }
    metrics.push_back(ErrorMetric(channel, 0));
  }
  return metrics;
}

// An id must not depend on which of two instruments is found first. Otherwise commands for one instrument could go to
// the other.
std::optional<std::string> BenchDevice::ClaimDevice(const std::string& identification) {
  const std::string& planned = config_.planned.serial_number;
  std::string serial = SerialNumberIn(identification);
  if (serial.empty()) serial = planned.empty() ? config_.planned.name : planned;
  const std::string device = config_.device.empty() ? TopicIdOf(config_.planned.model + "-" + serial) : config_.device;
  const std::string holder = node_.ClaimDevice(device, config_.planned.name);
  if (holder == config_.planned.name) return device;
  SayOnce(LogLevel::kError, Bilingual(TextId::kFleetIdTaken, {device, holder}));
  const std::lock_guard lock(mutex_);
  device_.clear();
  return std::nullopt;
}

void BenchDevice::GiveBirth(const std::string& device, const std::string& identification) {
  std::unique_lock lock(mutex_);
  const std::vector<Metric> metrics = BirthMetrics(identification);
  device_ = device;
  alive_ = true;
  last_good_ = std::chrono::steady_clock::now();
  lock.unlock();
  said_ = {};
  Say(LogLevel::kInfo, Bilingual(TextId::kFleetDeviceConnected, {identification, device}));
  node_.DeviceBorn(device, metrics);
}

// --- watching ---

bool BenchDevice::IsLost(SteadyTime now) {
  const HRESULT presence = instrument_->CheckPresence();
  if (Failed(presence)) return Lose(calibration::ErrorTextsOf(*instrument_, presence)), true;
  const std::chrono::duration<double> without = now - [this] {
    const std::lock_guard lock(mutex_);
    return last_good_;
  }();
  std::uint32_t longest = 0;
  for (const PublishedGroup& group : config_.groups) longest = std::max(longest, group.settings.period_ms);
  if (without.count() < config_.lost_after + longest / 1000.0) return false;
  return Lose(Bilingual(TextId::kFleetNoGoodReading, {FormatGeneral(std::round(without.count()))})), true;
}

void BenchDevice::Watch() {
  const auto now = std::chrono::steady_clock::now();
  if (IsLost(now)) return;
  ReadChannels();
  DoWrites();
}

void BenchDevice::Lose(const BilingualText& why) {
  std::unique_lock lock(mutex_);
  alive_ = false;
  writes_.clear();
  lock.unlock();
  node_.DeviceDied(device_);
  said_ = why;
  Say(LogLevel::kWarning, Bilingual(TextId::kFleetDeviceLost, {why}));
  instrument_->StopAllGroups();
  instrument_->Disconnect();
}

// Checks the channel records. This finds failures that a dead band keeps from being reported, and readings that no
// longer come.
void BenchDevice::ReadChannels() {
  std::vector<ChannelId> ids;
  {
    const std::lock_guard lock(mutex_);
    for (const auto& [id, channel] : channels_) {
      if (channel.is_read) ids.push_back(id);
    }
  }
  ChannelArrays arrays;
  if (Succeeded(instrument_->GetChansVals(ids, &arrays))) Take(arrays, false);
}

// The quality of a reading: good only if the value is certainly the measured one and recent.
BenchDevice::Judged BenchDevice::Judge(Channel& channel, const ChannelArrays& arrays, std::size_t k) {
  const auto now = std::chrono::steady_clock::now();
  if (arrays.times[k] != channel.stamp) {
    channel.stamp = arrays.times[k];
    channel.stamped_at = now;
  }
  const auto value = static_cast<double>(arrays.values[k]);
  const bool is_number = arrays.doubts[k] != Doubt::kNoNumber && std::isfinite(value);
  if (Failed(arrays.errors[k]) || !is_number) return {{}, Quality::kBad};
  const auto old = milliseconds(static_cast<std::int64_t>(kStalePeriods * channel.period_ms)) + kStaleSlack;
  if (arrays.doubts[k] == Doubt::kNoValue || now - channel.stamped_at > old) return {value, Quality::kStale};
  last_good_ = now;
  return {value, Quality::kGood};
}

void BenchDevice::Take(const ChannelArrays& arrays, bool report) {
  std::vector<Metric> changed;
  const std::lock_guard lock(mutex_);
  if (!alive_) return;
  for (std::size_t k = 0; k < arrays.size(); ++k) {
    const auto found = channels_.find(arrays.ids[k]);
    if (found == channels_.end() || arrays.times[k] == 0) continue;  // another channel, or one that was not read yet
    Channel& channel = found->second;
    RefreshUnit(channel, arrays.ids[k]);
    Judged judged = Judge(channel, arrays, k);
    const Quality before = channel.value.quality();
    const bool error_changed = std::exchange(channel.error, arrays.errors[k]) != arrays.errors[k];
    // Between reports only a change of quality is published; a value inside the dead band is not. The first reading of
    // a channel is published with its report.
    const bool differs = judged.quality != before || judged.value != channel.value.value || error_changed;
    const bool news = report ? differs : channel.is_published && before != judged.quality;
    if (error_changed) changed.push_back(ErrorMetric(channel, UnixOf(channel.stamp)));
    if (!report && !news) continue;
    channel.is_published = channel.is_published || report;
    channel.value.time = UnixOf(channel.stamp);
    channel.value.value = std::move(judged.value);
    channel.value.SetProperty(kQualityKey, static_cast<std::int32_t>(judged.quality));
    if (news) changed.push_back(channel.value);
  }
  if (report && changed.empty()) changed = ValuesOf(arrays);
  // Published under the lock, so that messages have the order of the readings.
  if (!changed.empty()) node_.DeviceData(device_, changed);
}

std::vector<Metric> BenchDevice::ValuesOf(const ChannelArrays& arrays) const {
  std::vector<Metric> values;
  for (const ChannelId id : arrays.ids) {
    const auto found = channels_.find(id);
    if (found != channels_.end()) values.push_back(found->second.value);
  }
  return values;
}

// --- commands ---

std::optional<BilingualText> BenchDevice::Command(const std::string& device, const Metric& command) {
  const std::lock_guard lock(mutex_);
  if (device != device_) return std::nullopt;
  const auto name = OutputIn(command.name);
  const auto channel = std::find_if(channels_.begin(), channels_.end(), [&](const auto& entry) {
    return name && entry.second.is_output && entry.second.name == *name;
  });
  if (channel == channels_.end()) return Bilingual(TextId::kFleetNoOutput);
  const auto allowed =
      std::find_if(config_.writable.begin(), config_.writable.end(), [&](const WritableOutput& output) {
        return EqualIgnoringCase(output.channel, *name) || output.channel == std::to_string(channel->first);
      });
  if (allowed == config_.writable.end()) return Bilingual(TextId::kFleetWriteNotAllowed);
  const auto value = NumberIn(command.value);
  const bool is_flag = std::holds_alternative<bool>(command.value);
  if (!value || is_flag || !std::isfinite(*value) || command.historical) return Bilingual(TextId::kFleetWriteNoNumber);
  if (*value < allowed->min || *value > allowed->max) {
    return Bilingual(TextId::kFleetWriteOutside,
                     {FormatGeneral(*value, 10), FormatGeneral(allowed->min, 10), FormatGeneral(allowed->max, 10)});
  }
  if (!alive_) return Bilingual(TextId::kFleetWriteAbsent);
  if (writes_.size() >= kMaxWrites) return Bilingual(TextId::kFleetWriteTooMany);
  writes_.push_back({channel->first, *value});
  changed_.notify_all();
  return "";
}

void BenchDevice::DoWrites() {
  std::deque<Write> writes;
  {
    const std::lock_guard lock(mutex_);
    writes.swap(writes_);
  }
  for (const Write& write : writes) {
    if (!stopping_) DoWrite(write);
  }
}

void BenchDevice::DoWrite(const Write& write) {
  const HRESULT result = instrument_->SetChanVal(write.channel, Value(write.value));
  std::vector<Metric> metrics;
  const std::lock_guard lock(mutex_);
  Channel& channel = channels_[write.channel];
  Metric output{.name = SetPointName(channel.name), .type = DataType::kDouble, .time = UnixNow()};
  output.SetProperty(kUnitKey, channel.unit);
  const Quality quality = Failed(result) ? Quality::kBad : Quality::kGood;
  if (quality == Quality::kGood) output.value = write.value;
  output.SetProperty(kQualityKey, static_cast<std::int32_t>(quality));
  metrics.push_back(output);
  const std::int32_t error = Failed(result) ? result : S_OK;
  if (channel.error != error) {
    channel.error = error;
    metrics.push_back(ErrorMetric(channel, output.time));
  }
  const std::string value = FormatGeneral(write.value, 10);
  if (Failed(result)) {
    Say(LogLevel::kWarning,
        Bilingual(TextId::kFleetNotWritten, {output.name, value, calibration::ErrorTextsOf(*instrument_, result)}));
  } else {
    Say(LogLevel::kInfo, Bilingual(TextId::kFleetWritten, {output.name, value}));
  }
  node_.DeviceData(device_, metrics);
}

}  // namespace ulix::fleet
