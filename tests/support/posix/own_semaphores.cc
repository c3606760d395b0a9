// Gives the test program machine-wide locks of its own, where this user may: a test run waits for no other one, and for
// no program that drives instruments meanwhile.
#include <sched.h>

namespace {

[[maybe_unused]] const int kNewNamespace = unshare(CLONE_NEWIPC);

}  // namespace
