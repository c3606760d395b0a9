#include "fleet/json_mirror.h"

#include <nlohmann/json.hpp>

#include "base/date.h"

namespace ulix::fleet {
namespace {

using Json = nlohmann::ordered_json;

Json JsonOf(const MetricValue& value) {
  return std::visit(
      []<typename T>(const T& v) -> Json {
        if constexpr (std::is_same_v<T, std::monostate>)
          return nullptr;
        else
          return v;
      },
      value);
}

Json JsonOf(const Metric& metric) {
  Json json{{"value", JsonOf(metric.value)}, {"quality", static_cast<std::int32_t>(metric.quality())}};
  if (const MetricValue* unit = metric.Property(kUnitKey)) json["unit"] = JsonOf(*unit);
  if (metric.historical) json["historical"] = true;
  if (metric.time != 0) json["time"] = UtcText(metric.time);
  return json;
}

}  // namespace

std::string UtcText(UnixMs time) {
  constexpr double kUnixEpoch = 25569;  // 1970-01-01 in days since 1899-12-30
  return IsoTime(kUnixEpoch + static_cast<double>(time) / 86'400'000.0) + "Z";
}

std::string MirrorText(UnixMs time, const std::vector<Metric>& metrics) {
  Json all = Json::object();
  for (const Metric& metric : metrics) all[metric.name] = JsonOf(metric);
  return Json{{"time", UtcText(time)}, {"metrics", all}}.dump(-1, ' ', false, Json::error_handler_t::replace);
}

}  // namespace ulix::fleet
