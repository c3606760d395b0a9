#include "tools/ulix/interrupt.h"

#include <csignal>

namespace ulix::cli {
namespace {

std::atomic<bool> interrupted = false;
static_assert(std::atomic<bool>::is_always_lock_free, "a signal handler may touch nothing else");

extern "C" void OnInterrupt(int signal) {
  interrupted = true;
  std::signal(signal, SIG_DFL);
}

bool Catch() {
  std::signal(SIGINT, OnInterrupt);
  std::signal(SIGTERM, OnInterrupt);
// Not every C library has this signal.
#ifdef SIGHUP
  std::signal(SIGHUP, OnInterrupt);
#endif
#ifdef SIGPIPE
  std::signal(SIGPIPE, SIG_IGN);
#endif
  return true;
}

}  // namespace

const std::atomic<bool>& CatchInterrupts() {
  [[maybe_unused]] static const bool caught = Catch();
  return interrupted;
}

}  // namespace ulix::cli
