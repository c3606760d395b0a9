// The storage of thread-local variables, exceptions in flight included.
#pragma once

namespace ulix::controls {

// Frees the thread-local variables of the calling thread, which ends.
void ReleaseThreadStorage();

// Gives the system's slot back. To be called when the library is unloaded.
void ReleaseThreadSlot();

}  // namespace ulix::controls
