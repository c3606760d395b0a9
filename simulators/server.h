// Serves a simulated instrument to other programs.
#pragma once

#include <atomic>

#include "platform/byte_endpoint.h"
#include "simulators/faulty_instrument.h"

namespace ulix {

enum class ServeEnd { kStopped, kVanished };

// Moves bytes between the endpoint's clients and the instrument until `stop` is set, which it notices within 50 ms, or
// until the instrument has vanished. The caller then destroys the endpoint, and with it the device's terminal or port.
ServeEnd Serve(FaultyInstrument& instrument, platform::ByteEndpoint& endpoint, Clock& clock,
               const std::atomic<bool>& stop);

}  // namespace ulix
