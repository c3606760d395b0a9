// A value from a reply.
#pragma once

#include <cstdint>

namespace ulix {

// Why a value that the instrument's protocol allows may not be the measured one.
enum class Doubt : std::uint8_t {
  kNone,
  kNoNumber,  // The reply holds no number; the protocol prescribes 0.
  kNoValue,   // A warning came in place of a value; the channel keeps its last value.
};

struct Measured {
  float value = 0.0F;
  Doubt doubt = Doubt::kNone;

  bool operator==(const Measured&) const = default;
};

}  // namespace ulix
