#include "platform/child_process.h"

#include <fcntl.h>
#include <signal.h>
#include <spawn.h>
#include <sys/wait.h>
#include <unistd.h>

#include <thread>

namespace ulix::platform {
namespace {

// Connects the descriptors 0, 1 and 2 of the child to /dev/null.
class NoStreams {
 public:
  NoStreams() {
    posix_spawn_file_actions_init(&actions_);
    for (const int descriptor : {STDIN_FILENO, STDOUT_FILENO, STDERR_FILENO}) {
      posix_spawn_file_actions_addopen(&actions_, descriptor, "/dev/null", O_RDWR, 0);
    }
  }
  ~NoStreams() { posix_spawn_file_actions_destroy(&actions_); }
  NoStreams(const NoStreams&) = delete;
  NoStreams& operator=(const NoStreams&) = delete;
  const posix_spawn_file_actions_t* get() const { return &actions_; }

 private:
  posix_spawn_file_actions_t actions_{};
};

// The status of the child after its end; none at the limit.
std::optional<int> WaitFor(pid_t child, std::chrono::seconds limit) {
  constexpr std::chrono::milliseconds kPoll(10);
  const auto end = std::chrono::steady_clock::now() + limit;
  int status = 0;
  while (waitpid(child, &status, WNOHANG) == 0) {
    if (std::chrono::steady_clock::now() >= end) return std::nullopt;
    std::this_thread::sleep_for(kPoll);
  }
  return status;
}

}  // namespace

std::optional<int> RunProgram(const std::vector<std::string>& command, std::chrono::seconds limit) {
  std::vector<std::string> kept = command;
  std::vector<char*> arguments;
  arguments.reserve(kept.size() + 1);
  for (std::string& argument : kept) arguments.push_back(argument.data());
  arguments.push_back(nullptr);
  const NoStreams streams;
  pid_t child = 0;
  if (posix_spawnp(&child, arguments[0], streams.get(), nullptr, arguments.data(), environ) != 0) return std::nullopt;
  const auto status = WaitFor(child, limit);
  if (!status) {
    kill(child, SIGKILL);
    waitpid(child, nullptr, 0);
    return std::nullopt;
  }
  return WIFEXITED(*status) ? std::optional(WEXITSTATUS(*status)) : std::nullopt;
}

}  // namespace ulix::platform
