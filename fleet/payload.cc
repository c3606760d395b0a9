#include "fleet/payload.h"

#include <algorithm>
#include <chrono>

#include "base/numbers.h"
#include "fleet/sparkplug_b.pb.h"

namespace ulix::fleet {
namespace {

DataType TypeOf(const MetricValue& value) {
  constexpr DataType kTypes[] = {DataType::kString,  // the type of a null property
                                 DataType::kInt32,   DataType::kInt64, DataType::kDouble,
                                 DataType::kBoolean, DataType::kString};
  return kTypes[value.index()];
}

// Metrics and properties have the same kinds of values.
template <typename Message>
struct ValueWriter {
  Message& message;
  void operator()(std::monostate) const { message.set_is_null(true); }
  void operator()(std::int32_t value) const { message.set_int_value(static_cast<std::uint32_t>(value)); }
  void operator()(std::int64_t value) const { message.set_long_value(static_cast<std::uint64_t>(value)); }
  void operator()(double value) const { message.set_double_value(value); }
  void operator()(bool value) const { message.set_boolean_value(value); }
  void operator()(const std::string& value) const { message.set_string_value(value); }
};

// Codes of types that are read but never written.
enum UnsignedType : std::uint32_t { kUInt8 = 5, kUInt16 = 6, kUInt32 = 7, kUInt64 = 8, kDateTime = 13 };

// Reads an integer. The same bits are a negative number in one type and a large one in another, so without a type such
// a value is null.
MetricValue ReadInt(std::uint32_t bits, std::uint32_t type) {
  const auto number = static_cast<std::int32_t>(bits);
  if (type == kUInt8 || type == kUInt16 || type == kUInt32) return std::int64_t{bits};
  return type == 0 && number < 0 ? MetricValue() : MetricValue(number);
}

MetricValue ReadLong(std::uint64_t bits, std::uint32_t type) {
  const auto number = static_cast<std::int64_t>(bits);
  if (number >= 0) return number;
  if (type == kUInt64 || type == kDateTime) return static_cast<double>(bits);
  return type == 0 ? MetricValue() : MetricValue(number);
}

template <typename Message>
MetricValue ReadValue(const Message& message, std::uint32_t type) {
  if (message.is_null()) return {};
  switch (message.value_case()) {
    case Message::kIntValue:
      return ReadInt(message.int_value(), type);
    case Message::kLongValue:
      return ReadLong(message.long_value(), type);
    case Message::kFloatValue:
      return static_cast<double>(message.float_value());
    case Message::kDoubleValue:
      return message.double_value();
    case Message::kBooleanValue:
      return message.boolean_value();
    case Message::kStringValue:
      return message.string_value();
    default:
      return {};
  }
}

void Write(const Metric& metric, wire::Metric& out) {
  out.set_name(metric.name);
  if (metric.time != 0) out.set_timestamp(metric.time);
  out.set_datatype(static_cast<std::uint32_t>(metric.type));
  if (metric.historical) out.set_is_historical(true);
  std::visit(ValueWriter<wire::Metric>{out}, metric.value);
  for (const auto& [key, value] : metric.properties) {
    out.mutable_properties()->add_keys(key);
    wire::PropertyValue& property = *out.mutable_properties()->add_values();
    property.set_type(static_cast<std::uint32_t>(TypeOf(value)));
    std::visit(ValueWriter<wire::PropertyValue>{property}, value);
  }
}

// The type of a value. For a null it is the type in the message, if that type is known.
DataType ReadType(const wire::Metric& in, const MetricValue& value) {
  if (!std::holds_alternative<std::monostate>(value)) return TypeOf(value);
  for (const DataType type : {DataType::kInt32, DataType::kInt64, DataType::kBoolean, DataType::kString}) {
    if (in.datatype() == static_cast<std::uint32_t>(type)) return type;
  }
  return DataType::kDouble;
}

Metric Read(const wire::Metric& in) {
  Metric metric{.name = in.name(),
                .value = ReadValue(in, in.datatype()),
                .time = in.timestamp(),
                .historical = in.is_historical()};
  metric.type = ReadType(in, metric.value);
  const wire::PropertySet& properties = in.properties();
  const int count = std::min(properties.keys_size(), properties.values_size());
  for (int k = 0; k < count; ++k) {
    const wire::PropertyValue& property = properties.values(k);
    metric.properties.emplace_back(properties.keys(k), ReadValue(property, property.type()));
  }
  return metric;
}

}  // namespace

UnixMs UnixNow() {
  const auto now = std::chrono::system_clock::now().time_since_epoch();
  return static_cast<UnixMs>(std::chrono::duration_cast<std::chrono::milliseconds>(now).count());
}

const MetricValue* Metric::Property(std::string_view key) const {
  const auto found = std::find_if(properties.begin(), properties.end(), [&](const auto& p) { return p.first == key; });
  return found == properties.end() ? nullptr : &found->second;
}

void Metric::SetProperty(std::string_view key, MetricValue property) {
  for (auto& [known, kept] : properties) {
    if (known == key) return void(kept = std::move(property));
  }
  properties.emplace_back(key, std::move(property));
}

Quality Metric::quality() const {
  const MetricValue* property = Property(kQualityKey);
  const auto code = property ? NumberIn(*property) : std::nullopt;
  if (!code) return std::holds_alternative<std::monostate>(value) ? Quality::kBad : Quality::kGood;
  if (*code == static_cast<double>(Quality::kGood)) return Quality::kGood;
  return *code == static_cast<double>(Quality::kStale) ? Quality::kStale : Quality::kBad;
}

std::string Encode(const Payload& payload) {
  wire::Payload out;
  out.set_timestamp(payload.time);
  if (payload.seq) out.set_seq(*payload.seq);
  for (const Metric& metric : payload.metrics) Write(metric, *out.add_metrics());
  return out.SerializeAsString();
}

calibration::Result<Payload> Decode(std::string_view bytes) {
  if (bytes.size() > kMaxPayloadBytes) return calibration::Refused(TextId::kPayloadTooLong);
  wire::Payload in;
  if (!in.ParseFromArray(bytes.data(), static_cast<int>(bytes.size())))
    return calibration::Refused(TextId::kPayloadDamaged);
  if (static_cast<std::size_t>(in.metrics_size()) > kMaxMetrics)
    return calibration::Refused(TextId::kPayloadManyMetrics);
  if (in.has_seq() && in.seq() > 255) return calibration::Refused(TextId::kPayloadSeq);
  Payload payload{.time = in.timestamp()};
  if (in.has_seq()) payload.seq = static_cast<std::uint8_t>(in.seq());
  for (const wire::Metric& metric : in.metrics()) {
    const wire::PropertySet& properties = metric.properties();
    if (properties.keys_size() != properties.values_size()) return calibration::Refused(TextId::kPayloadProperties);
    if (static_cast<std::size_t>(properties.keys_size()) > kMaxProperties)
      return calibration::Refused(TextId::kPayloadManyProperties);
    payload.metrics.push_back(Read(metric));
  }
  return payload;
}

std::optional<double> NumberIn(const MetricValue& value) {
  return std::visit(
      []<typename T>(const T& v) -> std::optional<double> {
        if constexpr (std::is_arithmetic_v<T>) return static_cast<double>(v);
        return std::nullopt;
      },
      value);
}

std::string TextOf(const MetricValue& value) {
  if (const bool* flag = std::get_if<bool>(&value)) return *flag ? "true" : "false";
  if (const std::string* text = std::get_if<std::string>(&value)) return *text;
  const auto number = NumberIn(value);
  return number ? FormatGeneral(*number, 10) : "null";
}

}  // namespace ulix::fleet
