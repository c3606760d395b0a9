// What comes from a broker: the first line is the topic, the rest the payload.
#include <cmath>
#include <cstdint>
#include <string_view>

#include "fleet/fleet_view.h"
#include "fleet/node.h"
#include "fleet/payload.h"
#include "fleet/shown_text.h"
#include "fuzz/require.h"

namespace ulix::fleet {
namespace {

// Whether a value is NaN, which is not equal to itself.
bool HasNaN(const MetricValue& value) {
  const double* number = std::get_if<double>(&value);
  return number && std::isnan(*number);
}

bool HasNaN(const Payload& payload) {
  for (const Metric& metric : payload.metrics) {
    if (HasNaN(metric.value)) return true;
    for (const auto& [key, value] : metric.properties) {
      if (HasNaN(value)) return true;
    }
  }
  return false;
}

void CheckPayload(std::string_view bytes) {
  const auto payload = Decode(bytes);
  if (!payload) return Require(!payload.error().empty(), "a refusal has a reason");
  Require(payload->metrics.size() <= kMaxMetrics, "metrics are bounded");
  const auto again = Decode(Encode(*payload));
  Require(again.has_value(), "what was read can be written");
  Require(HasNaN(*payload) || *again == *payload, "and comes back");
}

void CheckNode(const std::string& topic, std::string_view bytes) {
  int commands = 0;
  Node node({.group = "g", .node = "n"});
  node.HandleCommandsWith([&](const std::string& device, const Metric&) {
    Require(IsTopicId(device), "a device has a valid id");
    ++commands;
    return std::string();
  });
  node.Received(topic, bytes, false);
  node.Received("spBv1.0/g/DCMD/n/d", bytes, false);
  Require(commands <= 200, "commands of a message are bounded");
}

// Whatever the message is, the texts that a host stores and shows have no control characters.
void CheckView(const std::string& topic, std::string_view bytes) {
  FleetView view("g", true);
  view.Received(topic, bytes);
  for (const char* type : {"NBIRTH/n", "DBIRTH/n/d", "DDATA/n/d", "DDEATH/n/d", "NDEATH/n"}) {
    view.Received(std::string("spBv1.0/g/") + type, bytes);
  }
  const std::string text = MetricsText("g", view.Benches(), true);
  for (const char c : text) Require(c == '\n' || static_cast<unsigned char>(c) >= ' ', "texts are clean");
  Require(IsShowable(ShownText(bytes)), "a shown text can be shown");
  std::uint64_t dropped = 0;
  for (const FleetReport& report : view.TakeReports(&dropped)) {
    Require(!report.state.value || std::isfinite(*report.state.value), "values are numbers");
  }
}

}  // namespace
}  // namespace ulix::fleet

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  const std::string_view input(reinterpret_cast<const char*>(data), size);
  const std::size_t end = input.find('\n');
  if (end == input.npos) return 0;
  const std::string topic(input.substr(0, end));
  if (const auto parsed = ulix::fleet::ParseTopic(topic)) {
    ulix::Require(ulix::fleet::TextOf(*parsed) == topic, "a topic is written as it was read");
  }
  ulix::fleet::CheckPayload(input.substr(end + 1));
  ulix::fleet::CheckNode(topic, input.substr(end + 1));
  ulix::fleet::CheckView(topic, input.substr(end + 1));
  return 0;
}
