#include "fleet/node.h"

#include <algorithm>
#include <utility>

#include "fleet/json_mirror.h"
#include "fleet/shown_text.h"

namespace ulix::fleet {
namespace {

using calibration::Bilingual;
using calibration::BilingualText;

constexpr char kBdSeq[] = "bdSeq";
constexpr char kRebirth[] = "Node Control/Rebirth";
constexpr std::size_t kMaxUnconfirmedBytes = std::size_t{4} << 20U;
constexpr std::size_t kHistoryBatch = std::size_t{256} << 10U;  // bytes between two confirmations
constexpr std::size_t kMaxCommands = 100;                       // commands accepted in one message
constexpr std::size_t kMaxCommandBytes = std::size_t{64} << 10U;
constexpr std::size_t kMetricBytes = 150;  // approximate size in memory

Metric BdSeqMetric(std::uint8_t bd_seq) {
  return {.name = kBdSeq, .type = DataType::kInt64, .value = std::int64_t{bd_seq}, .time = UnixNow()};
}

bool AsksForRebirth(const Payload& payload) {
  return std::any_of(payload.metrics.begin(), payload.metrics.end(),
                     [](const Metric& metric) { return metric.name == kRebirth && metric.value == MetricValue(true); });
}

}  // namespace

Node::Node(Options options) : options_(std::move(options)), bd_seq_(options_.last_bd_seq) {}

void Node::Say(LogLevel level, const BilingualText& text) const {
  if (options_.log) options_.log(level, text);
}

void Node::HandleCommandsWith(CommandHandler handler) {
  const std::lock_guard lock(mutex_);
  handler_ = std::move(handler);
}

// --- sessions ---

void Node::BeginSession() {
  std::uint8_t bd_seq = 0;
  {
    const std::lock_guard lock(mutex_);
    bd_seq = ++bd_seq_;
  }
  if (options_.keep_bd_seq) options_.keep_bd_seq(bd_seq);
}

std::optional<BrokerClient::Will> Node::will() const {
  const std::lock_guard lock(mutex_);
  return Will{TextOf({options_.group, MessageType::kNodeDeath, options_.node, ""}),
              Encode({.time = UnixNow(), .metrics = {BdSeqMetric(bd_seq_)}})};
}

std::vector<std::string> Node::topics() const {
  return {TextOf({options_.group, MessageType::kNodeCommand, options_.node, ""}),
          TextOf({options_.group, MessageType::kDeviceCommand, options_.node, "+"})};
}

void Node::Online(BrokerConnection& connection) {
  const std::lock_guard lock(mutex_);
  connection_ = &connection;
  asked_at_.reset();
  last_history_ = 0;
  rebirth_wanted_ = false;
  SendBirths();
}

void Node::Offline() {
  const std::lock_guard lock(mutex_);
  connection_ = nullptr;
  KeepUnconfirmed();
  for (auto& [name, device] : devices_) {
    if (!device.store) continue;
    device.store->Rewind();
    device.store->Sync();
  }
}

void Node::SayDeath() {
  const Will death = *will();
  const std::lock_guard lock(mutex_);
  if (connection_) connection_->Publish(death.topic, death.payload, 1);
}

// --- births, data, deaths ---

bool Node::Send(MessageType type, const std::string& device, Payload& payload) {
  payload.seq = next_seq_;
  const bool taken = connection_->Publish(TextOf({options_.group, type, options_.node, device}), Encode(payload), 0);
  if (!taken) return false;
  ++next_seq_;
  ++published_;
  return true;
}

void Node::SendBirths() {
  SendNodeBirth();
  for (auto& [name, device] : devices_) {
    if (device.alive) SendDeviceBirth(name, device);
  }
}

void Node::SendNodeBirth() {
  next_seq_ = 0;
  const UnixMs now = UnixNow();
  std::vector<Metric> metrics{BdSeqMetric(bd_seq_),
                              {.name = kRebirth, .type = DataType::kBoolean, .value = false, .time = now}};
  metrics.insert(metrics.end(), options_.metrics.begin(), options_.metrics.end());
  for (Metric& metric : metrics) metric.time = now;
  Payload birth{.time = now, .metrics = std::move(metrics)};
  Send(MessageType::kNodeBirth, "", birth);
}

void Node::SendDeviceBirth(const std::string& name, Device& device) {
  Payload birth{.time = UnixNow(), .metrics = device.metrics};
  for (Metric& metric : birth.metrics) metric.time = metric.time == 0 ? birth.time : metric.time;
  SendMirror(name, birth.metrics);
  Send(MessageType::kDeviceBirth, name, birth);
}

void Node::SendMirror(const std::string& name, const std::vector<Metric>& metrics) {
  if (options_.mirror_prefix.empty()) return;
  const std::string topic = options_.mirror_prefix + "/" + options_.group + "/" + options_.node + "/" + name;
  connection_->Publish(topic, MirrorText(UnixNow(), metrics), 0);
}

std::string Node::ClaimDevice(const std::string& name, const std::string& instrument) {
  const std::lock_guard lock(mutex_);
  std::erase_if(claims_, [&](const auto& claim) { return claim.second == instrument && claim.first != name; });
  return claims_.try_emplace(name, instrument).first->second;
}

void Node::DeviceBorn(const std::string& name, std::vector<Metric> metrics) {
  const std::lock_guard lock(mutex_);
  Device& device = devices_[name];
  // Tries again to open the store: its folder may be usable now.
  if (!device.store && options_.open_store) device.store = options_.open_store(name);
  device.metrics = std::move(metrics);
  device.places.clear();
  for (std::size_t k = 0; k < device.metrics.size(); ++k) device.places.emplace(device.metrics[k].name, k);
  device.alive = true;
  if (connection_) SendDeviceBirth(name, device);
}

// Without a connection the death goes to the store as stale values, because from now on no value is known.
void Node::DeviceDied(const std::string& name) {
  const std::lock_guard lock(mutex_);
  Device& device = devices_[name];
  if (!device.alive) return;
  device.alive = false;
  const UnixMs now = UnixNow();
  Payload gap{.time = now};
  if (connection_) {
    Send(MessageType::kDeviceDeath, name, gap);
    return;
  }
  for (Metric metric : device.metrics) {
    if (!metric.Property(kQualityKey)) continue;
    metric.value = {};
    metric.time = now;
    metric.SetProperty(kQualityKey, static_cast<std::int32_t>(Quality::kStale));
    gap.metrics.push_back(std::move(metric));
  }
  Keep(name, std::move(gap));
}

std::vector<Metric> Node::Remember(Device& device, const std::vector<Metric>& metrics) {
  std::vector<Metric> known;
  for (const Metric& metric : metrics) {
    const auto place = device.places.find(metric.name);
    if (place == device.places.end()) continue;
    device.metrics[place->second] = metric;
    known.push_back(metric);
  }
  return known;
}

void Node::DeviceData(const std::string& name, const std::vector<Metric>& metrics) {
  const std::lock_guard lock(mutex_);
  Device& device = devices_[name];
  Payload payload{.time = UnixNow(), .metrics = Remember(device, metrics)};
  if (!device.alive || payload.metrics.empty()) return;
  // Messages that a stalled connection does not confirm must not fill the memory.
  const bool clogged = unconfirmed_bytes_ > kMaxUnconfirmedBytes;
  if (!connection_ || clogged || !Send(MessageType::kDeviceData, name, payload)) return Keep(name, std::move(payload));
  SendMirror(name, payload.metrics);
  const std::size_t bytes = kMetricBytes * payload.metrics.size();
  unconfirmed_.push_back({published_, name, std::move(payload), bytes});
  unconfirmed_bytes_ += bytes;
}

// --- history ---

void Node::Keep(const std::string& name, Payload payload) {
  Device& device = devices_[name];
  if (!device.store) return;
  payload.seq.reset();
  for (Metric& metric : payload.metrics) metric.historical = true;
  const std::uint64_t lost = device.store->lost();
  const bool kept = device.store->Append(Encode(payload));
  if (device.store->lost() == lost || device.loss_told) return;
  device.loss_told = true;
  Say(LogLevel::kWarning,
      BilingualText(name + ": ") + Bilingual(kept ? TextId::kFleetStoreFull : TextId::kFleetStoreDiskFull));
}

void Node::KeepUnconfirmed() {
  for (Unconfirmed& message : unconfirmed_) Keep(message.device, std::move(message.payload));
  unconfirmed_.clear();
  unconfirmed_bytes_ = 0;
}

bool Node::SendHistoryOf(const std::string& name, Device& device, std::size_t* bytes) {
  while (*bytes < kHistoryBatch) {
    const auto record = device.store->Next();
    if (!record) return true;
    auto payload = Decode(*record);
    if (!payload) continue;  // a record of another version
    *bytes += record->size();
    payload->time = UnixNow();
    SendMirror(name, payload->metrics);
    if (!Send(MessageType::kDeviceData, name, *payload)) return false;
    last_history_ = published_;
  }
  return true;
}

// Sends one batch. The next one follows after the broker has confirmed this one.
void Node::SendHistory() {
  if (last_history_ != 0) return;
  std::size_t bytes = 0;
  for (auto& [name, device] : devices_) {
    if (!device.alive || !device.store || device.store->empty()) continue;
    if (!SendHistoryOf(name, device, &bytes)) return;
  }
}

void Node::AskForConfirmation(SteadyTime now) {
  const bool open = !unconfirmed_.empty() || last_history_ != 0;
  if (asked_at_ || !open) return;
  const bool urgent = last_history_ != 0;
  if (!urgent && last_asked_ && now - *last_asked_ < kConfirmationInterval) return;
  if (!connection_->RequestConfirmation()) return;
  asked_up_to_ = published_;
  asked_at_ = last_asked_ = now;
}

void Node::Confirmed() {
  const std::lock_guard lock(mutex_);
  asked_at_.reset();
  while (!unconfirmed_.empty() && unconfirmed_.front().number <= asked_up_to_) {
    unconfirmed_bytes_ -= unconfirmed_.front().bytes;
    unconfirmed_.pop_front();
  }
  if (last_history_ == 0 || last_history_ > asked_up_to_) return;
  last_history_ = 0;
  for (auto& [name, device] : devices_) {
    if (!device.store) continue;
    device.store->Confirm();
    device.loss_told = device.loss_told && !device.store->empty();
  }
}

bool Node::HasUnconfirmed() const {
  const std::lock_guard lock(mutex_);
  return !unconfirmed_.empty();
}

Node::Health Node::Tick(SteadyTime now) {
  const std::lock_guard lock(mutex_);
  if (!connection_) return Health::kGood;
  if (rebirth_wanted_ && (!last_rebirth_ || now - *last_rebirth_ >= kMinRebirthInterval)) {
    rebirth_wanted_ = false;
    last_rebirth_ = now;
    SendBirths();
  }
  SendHistory();
  AskForConfirmation(now);
  return asked_at_ && now - *asked_at_ > kMaxUnconfirmed ? Health::kStuck : Health::kGood;
}

// --- commands ---

void Node::Received(const std::string& text, std::string_view bytes, bool retained) {
  const auto topic = ParseTopic(text);
  if (!topic || topic->group != options_.group || topic->node != options_.node) return;
  if (retained) return Refuse(Bilingual(TextId::kFleetRetainedCommand, {text}));
  if (bytes.size() > kMaxCommandBytes) return Refuse(Bilingual(TextId::kFleetLongCommand, {text}));
  const auto payload = Decode(bytes);
  if (!payload) return Refuse(Bilingual(TextId::kFleetCommandRefused, {payload.error()}));
  if (topic->type == MessageType::kNodeCommand && AsksForRebirth(*payload)) {
    const std::lock_guard lock(mutex_);
    rebirth_wanted_ = true;
  }
  if (topic->type == MessageType::kDeviceCommand) Execute(topic->device, payload->metrics);
}

void Node::Execute(const std::string& device, const std::vector<Metric>& commands) {
  CommandHandler handler;
  {
    const std::lock_guard lock(mutex_);
    handler = handler_;
  }
  if (!handler) return;
  BilingualText first;
  std::size_t refused = 0;
  for (std::size_t k = 0; k < commands.size(); ++k) {
    const BilingualText why =
        k < kMaxCommands ? handler(device, commands[k]) : Bilingual(TextId::kFleetTooManyCommands);
    if (why.empty() || refused++ > 0) continue;
    first = Bilingual(TextId::kFleetCommandForRefused, {device, ShownText(commands[k].name), why});
  }
  if (refused > 1) first = first + Bilingual(TextId::kFleetMoreRefused, {std::to_string(refused - 1)});
  if (refused > 0) Refuse(first);
}

// Logs a refusal, but limits the number of lines, because many commands must not fill the log.
void Node::Refuse(const BilingualText& text) {
  std::uint64_t left_out = 0;
  {
    const std::lock_guard lock(mutex_);
    const auto now = std::chrono::steady_clock::now();
    if (now - refusals_since_ >= kRefusalInterval) {
      left_out = refusals_ - std::min(refusals_, kMaxRefusals);
      refusals_since_ = now;
      refusals_ = 0;
    }
    if (++refusals_ > kMaxRefusals) return;
  }
  if (left_out > 0) Say(LogLevel::kWarning, Bilingual(TextId::kFleetRefusalsLeftOut, {std::to_string(left_out)}));
  Say(LogLevel::kWarning, text);
}

}  // namespace ulix::fleet
