// A value as a reply gave it.
#pragma once

#include <cstdint>

namespace ulix {

// Why a value that counts by the instrument's protocol may still not be the measured one.
enum class Doubt : std::uint8_t {
  kNone,
  kNoNumber,  // the reply held no number; the protocol counts it as 0
  kNoValue,   // a warning came in place of a value; the channel keeps the one it had
};

struct Measured {
  float value = 0.0F;
  Doubt doubt = Doubt::kNone;

  bool operator==(const Measured&) const = default;
};

}  // namespace ulix
