#include "platform/service_manager.h"

#include <sys/socket.h>
#include <sys/un.h>
#include <unistd.h>

#include <charconv>
#include <cstddef>
#include <cstdlib>
#include <cstring>
#include <string>

namespace ulix::platform {
namespace {

std::optional<long long> NumberInEnvironment(const char* name) {
  const char* text = std::getenv(name);
  if (!text) return std::nullopt;
  long long number = 0;
  const char* const text_end = text + std::strlen(text);
  const auto [end, error] = std::from_chars(text, text_end, number);
  return error == std::errc() && end == text_end ? std::optional(number) : std::nullopt;
}

}  // namespace

// Sends one datagram to the socket in NOTIFY_SOCKET. '@' stands for the zero byte of an abstract name.
bool TellServiceManager(std::string_view state) {
  const char* name = std::getenv("NOTIFY_SOCKET");
  sockaddr_un address{};
  const std::size_t size = name ? std::strlen(name) : 0;
  if (size == 0 || size >= sizeof address.sun_path || (name[0] != '/' && name[0] != '@')) return false;
  address.sun_family = AF_UNIX;
  std::memcpy(address.sun_path, name, size);
  if (name[0] == '@') address.sun_path[0] = '\0';
  const int socket = ::socket(AF_UNIX, SOCK_DGRAM | SOCK_CLOEXEC, 0);
  if (socket < 0) return false;
  const auto length = static_cast<socklen_t>(offsetof(sockaddr_un, sun_path) + size);
  const auto sent = sendto(socket, state.data(), state.size(), MSG_NOSIGNAL | MSG_DONTWAIT,
                           reinterpret_cast<const sockaddr*>(&address), length);
  close(socket);
  return sent == static_cast<ssize_t>(state.size());
}

std::optional<std::chrono::milliseconds> ServiceWatchdog() {
  const auto interval = NumberInEnvironment("WATCHDOG_USEC");
  const auto process = NumberInEnvironment("WATCHDOG_PID");
  if (!interval || *interval <= 0 || (process && *process != getpid())) return std::nullopt;
  return std::chrono::milliseconds(*interval / 1000);
}

}  // namespace ulix::platform
