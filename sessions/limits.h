// The bounds of every session.
#pragma once

#include <cstdint>

namespace ulix {

inline constexpr int kMaxSyncQueries = 6;                // for one exchange
inline constexpr std::uint32_t kMaxReadTimeouts = 5;     // of chatter that does not bring what is waited for
inline constexpr std::uint32_t kMaxSilenceTimeouts = 3;  // for a line to be quiet for one
inline constexpr std::uint32_t kDrainReadTimeouts = 10;  // until what was asked is taken to come no more

}  // namespace ulix
