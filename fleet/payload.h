// What the messages of a bench carry: Sparkplug B payloads, as values.
#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <string_view>
#include <utility>
#include <variant>
#include <vector>

#include <tl/expected.hpp>

namespace ulix::fleet {

// Milliseconds since 1970, UTC.
using UnixMs = std::uint64_t;
UnixMs UnixNow();

// Codes of the wire for the types of values that are written. Values of other types are read as one of these that
// holds them; an unsigned number above 2^63 as the nearest double. A number whose type is not told is null where it
// could be a negative or a large one.
enum class DataType : std::uint32_t { kInt32 = 3, kInt64 = 4, kDouble = 10, kBoolean = 11, kString = 12 };

// std::monostate: null. Texts are UTF-8.
using MetricValue = std::variant<std::monostate, std::int32_t, std::int64_t, double, bool, std::string>;

// Published values of the property "Quality".
enum class Quality : std::int32_t { kBad = 0, kGood = 192, kStale = 500 };

inline constexpr std::string_view kQualityKey = "Quality";
inline constexpr std::string_view kUnitKey = "engUnit";

struct Metric {
  std::string name;
  DataType type = DataType::kDouble;
  MetricValue value;
  UnixMs time = 0;          // of the reading; 0: none given
  bool historical = false;  // sent later than it was taken
  std::vector<std::pair<std::string, MetricValue>> properties;

  // Null where there is no such property.
  const MetricValue* Property(std::string_view key) const;
  // Sets the property, or adds it.
  void SetProperty(std::string_view key, MetricValue property);
  // kGood for a metric that says nothing of its quality and has a value.
  Quality quality() const;
  bool operator==(const Metric&) const = default;
};

struct Payload {
  UnixMs time = 0;
  std::optional<std::uint8_t> seq;  // none: a message that is not counted, such as a death of a node
  std::vector<Metric> metrics;

  bool operator==(const Payload&) const = default;
};

std::string Encode(const Payload& payload);

// Bounds of what is read.
inline constexpr std::size_t kMaxPayloadBytes = 1024 * 1024;
inline constexpr std::size_t kMaxMetrics = 10000;
inline constexpr std::size_t kMaxProperties = 64;

// Why the bytes are no payload, in a sentence, where they are none. Nothing in the bytes makes it use more memory than
// a few times their size.
tl::expected<Payload, std::string> Decode(std::string_view bytes);

// The number of a value that is one; true and false are 1 and 0.
std::optional<double> NumberIn(const MetricValue& value);
// For people: "12.5", "true", "null".
std::string TextOf(const MetricValue& value);

}  // namespace ulix::fleet
