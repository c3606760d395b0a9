// Gives the test program its own machine-wide locks, where the user may do so. The program then does not wait for other
// tests or for programs that use instruments at the same time.
#include <sched.h>

namespace {

[[maybe_unused]] const int kNewNamespace = unshare(CLONE_NEWIPC);

}  // namespace
