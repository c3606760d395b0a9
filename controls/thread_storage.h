// The storage of thread-local variables, including that of thrown exceptions.
#pragma once

namespace ulix::controls {

// Frees the thread-local variables of the calling thread. Called when the thread ends.
void ReleaseThreadStorage();

// Releases the system's slot for thread-local data. Called when the library is unloaded.
void ReleaseThreadSlot();

}  // namespace ulix::controls
