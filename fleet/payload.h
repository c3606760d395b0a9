// Sparkplug B payloads, the content of a bench's messages, as values.
#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <string_view>
#include <utility>
#include <variant>
#include <vector>

#include "calibration/problem.h"

namespace ulix::fleet {

// Milliseconds since 1970, UTC.
using UnixMs = std::uint64_t;
UnixMs UnixNow();

// The codes of the types that are written. A value of another type is read as one of these types that can hold it; an
// unsigned number above 2^63 becomes the nearest double. A number without a type is null if its bits could be a
// negative or a large number.
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
  UnixMs time = 0;          // time of the reading; 0: not given
  bool historical = false;  // sent later than it was taken
  std::vector<std::pair<std::string, MetricValue>> properties;

  // The value of a property; null if there is none.
  const MetricValue* Property(std::string_view key) const;
  // Sets the property, or adds it.
  void SetProperty(std::string_view key, MetricValue property);
  // The quality. kGood for a metric without the property that has a value.
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

// Limits of what is read.
inline constexpr std::size_t kMaxPayloadBytes = 1024 * 1024;
inline constexpr std::size_t kMaxMetrics = 10000;
inline constexpr std::size_t kMaxProperties = 64;

// Decodes a payload. The error is a sentence. Whatever the bytes are, the memory used is at most a few times their
// size.
calibration::Result<Payload> Decode(std::string_view bytes);

// The number in a value; true and false are 1 and 0. None for a text or null.
std::optional<double> NumberIn(const MetricValue& value);
// A value as text for people: "12.5", "true", "null".
std::string TextOf(const MetricValue& value);

}  // namespace ulix::fleet
