// The exchange with which others are compared: a bare loop on a pseudo terminal, with an instrument in another process
// that answers each line at once.
#pragma once

#include <fcntl.h>
#include <sched.h>
#include <stdlib.h>
#include <unistd.h>

#include <algorithm>
#include <optional>
#include <string>

#include "bench/measure.h"
#include "links/serial_link.h"
#include "platform/posix/file_descriptor.h"
#include "sessions/line_framer.h"
#include "sessions/session.h"

namespace ulix::bench {

inline constexpr int kReplySize = 50;
inline constexpr std::string_view kQuery = "MEAS?";
inline constexpr std::string_view kReply = "+12.3456\n";

// Keeps this process on one processor. There the peer's wake-up costs the same every time; across two processors it
// would hide the measured times.
inline void StayOnThisProcessor() {
  cpu_set_t set;
  CPU_ZERO(&set);
  CPU_SET(static_cast<unsigned>(sched_getcpu()), &set);
  sched_setaffinity(0, sizeof set, &set);
}

// The instrument: answers each line at once, until the terminal is closed.
inline void AnswerLines(int fd) {
  char buffer[256];
  for (;;) {
    const ssize_t count = read(fd, buffer, sizeof buffer);
    if (count <= 0) return;
    const auto lines = std::count(buffer, buffer + count, '\n');
    for (std::ptrdiff_t i = 0; i < lines; ++i) {
      if (write(fd, kReply.data(), kReply.size()) < 0) return;
    }
  }
}

inline constexpr ReplyPlan kReplyPlan = {kReplySize};

// Make it before any thread is started, because it forks.
class BenchLine : private SessionPeer {
 public:
  BenchLine() : master_(posix_openpt(O_RDWR | O_NOCTTY | O_CLOEXEC)) {
    if (grantpt(master_.get()) != 0 || unlockpt(master_.get()) != 0) std::exit(2);
    path_ = ptsname(master_.get());
    bare_ = platform::FileDescriptor(open(path_.c_str(), O_RDWR | O_NOCTTY | O_CLOEXEC));
    // Configures the terminal as the library does, also for the bare loop.
    link.SetParams({.baudRate = 115200, .location = path_});
    if (!bare_.valid() || Failed(link.Open())) std::exit(2);
    instrument_.emplace([this] { AnswerLines(master_.get()); });
  }

  const std::string& path() const { return path_; }

  bool ExchangeBare() const {
    const char terminator = '\n';
    char line[kReplySize];
    const int fd = bare_.get();
    if (write(fd, kQuery.data(), kQuery.size()) < 0 || write(fd, &terminator, 1) != 1) return false;
    for (int i = 0; i < kReplySize - 1; ++i) {
      if (read(fd, line + i, 1) != 1) return false;
      if (line[i] == terminator) return true;
    }
    return false;
  }
  bool ExchangeByLink() {
    return Succeeded(link.WriteLine(kQuery, '\n', 0)) && !link.ReadLineText(kReplySize, '\n', 0).empty();
  }
  // One exchange through a session, as drivers do it.
  bool ExchangeByDriver() {
    return session_.Exchange([](Conversation& talk) { return talk.Query(kQuery, kReplyPlan); }).has_value();
  }

  SerialLink link;

 private:
  Expected<bool> StartSession(Conversation&) override { return true; }

  Session session_{
      link, std::make_unique<LineFramer>(link, SystemClock(), LineFramer::Options{'\n', kReplySize, {}}), *this, {}};
  platform::FileDescriptor master_;
  platform::FileDescriptor bare_;
  std::string path_;
  std::optional<ChildProcess> instrument_;
};

// The mean time of an exchange, in microseconds.
template <typename Exchange>
double Batch(int exchanges, Exchange&& exchange) {
  const auto start = std::chrono::steady_clock::now();
  for (int i = 0; i < exchanges; ++i) {
    if (!exchange()) Leave("an exchange failed");
  }
  const std::chrono::duration<double, std::micro> taken = std::chrono::steady_clock::now() - start;
  return taken.count() / exchanges;
}

}  // namespace ulix::bench
