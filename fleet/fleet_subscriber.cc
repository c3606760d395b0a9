#include "fleet/fleet_subscriber.h"

#include <charconv>
#include <utility>

namespace ulix::fleet {
namespace {

using calibration::BilingualText;
using calibration::Refused;

constexpr std::string_view kScheme = "mqtt://";
constexpr std::string_view kTlsScheme = "mqtts://";

std::optional<int> PortIn(std::string_view text) {
  int port = 0;
  const auto [end, error] = std::from_chars(text.data(), text.data() + text.size(), port);
  const bool good = error == std::errc() && end == text.data() + text.size() && port > 0 && port < 65536;
  return good ? std::optional(port) : std::nullopt;
}

// Parses "HOST" or "HOST:PORT"; an IPv6 address stands in brackets. Returns the port, 0 without one, and none for an
// invalid port.
std::optional<int> ReadHost(std::string_view text, std::string& host) {
  const std::size_t bracket = text.rfind(']');
  const std::size_t colon = text.rfind(':');
  const bool has_port = colon != text.npos && (bracket == text.npos || colon > bracket);
  host = has_port ? text.substr(0, colon) : text;
  if (host.starts_with('[') && host.ends_with(']')) host = host.substr(1, host.size() - 2);
  return has_port ? PortIn(text.substr(colon + 1)) : std::optional(0);
}

}  // namespace

bool IsFleetAddress(std::string_view text) { return text.starts_with(kScheme) || text.starts_with(kTlsScheme); }

calibration::Result<FleetAddress> ParseFleetAddress(std::string_view url) {
  if (!IsFleetAddress(url)) return Refused(TextId::kFleetAddressForm);
  const bool wants_tls = url.starts_with(kTlsScheme);
  url.remove_prefix(wants_tls ? kTlsScheme.size() : kScheme.size());
  const std::size_t slash = url.find('/');
  if (slash == url.npos || slash + 1 == url.size()) return Refused(TextId::kFleetAddressNoGroup);
  FleetAddress address;
  address.group = url.substr(slash + 1);
  if (!IsTopicId(address.group)) return Refused(TextId::kFleetAddressBadGroup, {address.group});
  std::string_view host = url.substr(0, slash);
  if (const std::size_t at = host.rfind('@'); at != host.npos) {
    address.broker.user = host.substr(0, at);
    host.remove_prefix(at + 1);
  }
  if (address.broker.user.find(':') != std::string::npos) return Refused(TextId::kFleetAddressPassword);
  const auto port = ReadHost(host, address.broker.host);
  if (!port) return Refused(TextId::kFleetAddressBadPort, {std::string(host.substr(host.rfind(':') + 1))});
  if (address.broker.host.empty()) return Refused(TextId::kFleetAddressNoHost);
  if (wants_tls || !IsLoopback(address.broker.host)) address.broker.tls.emplace();
  address.broker.port = *port != 0 ? *port : address.broker.tls ? kMqttOverTlsPort : kMqttPort;
  return address;
}

FleetSubscriber::FleetSubscriber(const FleetAddress& address, const std::string& password, FleetView& view)
    : group_(address.group),
      view_(view),
      link_(address.broker, password, "", *this, [this](LogLevel level, const BilingualText& text) {
        const std::lock_guard lock(mutex_);
        trouble_ = level == LogLevel::kInfo ? BilingualText() : text;
      }) {}

BilingualText FleetSubscriber::trouble() const {
  const std::lock_guard lock(mutex_);
  return trouble_;
}

std::vector<std::string> FleetSubscriber::topics() const { return {"spBv1.0/" + group_ + "/#"}; }

// Whatever was known before may have changed meanwhile.
void FleetSubscriber::Online(BrokerConnection& connection) {
  connection_ = &connection;
  requests_.Clear();
  for (const auto& [node, bench] : view_.Benches()) requests_.Want(node);
}

void FleetSubscriber::Offline() {
  connection_ = nullptr;
  view_.Disconnected();
}

// Ignores retained messages: a bench never sends them, so their time is unknown.
void FleetSubscriber::Received(const std::string& text, std::string_view payload, bool retained) {
  if (retained) return;
  const bool is_unknown = view_.Received(text, payload);
  const auto topic = ParseTopic(text);
  if (!topic) return;
  if (is_unknown)
    requests_.Want(topic->node);
  else if (topic->type == MessageType::kNodeBirth)
    requests_.Born(topic->node);
}

// Ticks also come while the connection is made; then the requests wait.
BrokerClient::Health FleetSubscriber::Tick(SteadyTime now) {
  if (!connection_) return Health::kGood;
  for (const std::string& node : requests_.TakeDue(now)) AskForBirths(node);
  return Health::kGood;
}

void FleetSubscriber::AskForBirths(const std::string& node) {
  connection_->Publish(
      TextOf({group_, MessageType::kNodeCommand, node, ""}),
      Encode({.time = UnixNow(),
              .metrics = {{.name = "Node Control/Rebirth", .type = DataType::kBoolean, .value = true}}}),
      0);
}

}  // namespace ulix::fleet
