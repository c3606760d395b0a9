// Serves a simulated instrument to other programs.
#pragma once

#include <atomic>

#include "platform/byte_endpoint.h"
#include "simulators/faulty_instrument.h"

namespace ulix {

enum class ServeEnd { kStopped, kVanished };

// Moves bytes between the endpoint's clients and the instrument until `stop` is set, which is noticed within 50 ms, or
// until the instrument has vanished: the caller then destroys the endpoint, which is how the device goes away.
ServeEnd Serve(FaultyInstrument& instrument, platform::ByteEndpoint& endpoint, Clock& clock,
               const std::atomic<bool>& stop);

}  // namespace ulix
