// What the measuring programs share.
#pragma once

#include <signal.h>
#include <sys/prctl.h>
#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <cstdlib>
#include <vector>

namespace ulix::bench {

// The value below which `share` (0 to 1) of the values lie.
inline double Percentile(std::vector<double> values, double share) {
  std::sort(values.begin(), values.end());
  const auto last = static_cast<double>(values.size() - 1);
  return values.empty() ? 0.0 : values[static_cast<std::size_t>(share * last)];
}

// A process of our own that ends with this object, or with us.
class ChildProcess {
 public:
  // Fork before any thread is started.
  template <typename Body>
  explicit ChildProcess(Body&& body) : pid_(fork()) {
    if (pid_ != 0) return;
    prctl(PR_SET_PDEATHSIG, SIGKILL);
    body();
    _exit(0);
  }
  ChildProcess(const ChildProcess&) = delete;
  ChildProcess& operator=(const ChildProcess&) = delete;
  ~ChildProcess() {
    if (pid_ <= 0) return;
    kill(pid_, SIGKILL);
    waitpid(pid_, nullptr, 0);
  }

 private:
  pid_t pid_;
};

// The seconds that the command line asks for.
inline int SecondsFrom(int argc, char** argv, int otherwise) {
  const int asked = argc > 1 ? std::atoi(argv[1]) : otherwise;
  return std::max(asked, 1);
}

}  // namespace ulix::bench
