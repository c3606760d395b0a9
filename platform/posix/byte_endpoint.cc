#include "platform/byte_endpoint.h"

#include <fcntl.h>
#include <netinet/in.h>
#include <netinet/tcp.h>
#include <poll.h>
#include <stdlib.h>
#include <sys/ioctl.h>
#include <sys/socket.h>
#include <termios.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <cerrno>
#include <optional>

#include "platform/posix/file_descriptor.h"

namespace ulix::platform {
namespace {

using std::chrono::milliseconds;
using std::chrono::steady_clock;

// False also when a signal came: the caller's wait is bounded, and it may have been told to stop.
bool WaitReadable(int fd, steady_clock::time_point until) {
  const auto left = std::chrono::ceil<milliseconds>(until - steady_clock::now()).count();
  pollfd entry{.fd = fd, .events = POLLIN, .revents = 0};
  return poll(&entry, 1, static_cast<int>(std::clamp<std::int64_t>(left, 0, 60'000))) > 0;
}

// Writes what the other end takes without waiting; `write_some` is write or send. False when the other end is gone.
template <typename WriteSome>
bool WriteWithoutWaiting(std::string_view bytes, WriteSome&& write_some) {
  while (!bytes.empty()) {
    const ssize_t count = write_some(bytes);
    if (count > 0) {
      bytes.remove_prefix(static_cast<std::size_t>(count));
    } else if (count == 0 || errno != EINTR) {
      return count == 0 || errno == EAGAIN;
    }
  }
  return true;
}

class PseudoTerminal final : public ByteEndpoint {
 public:
  PseudoTerminal(FileDescriptor master, FileDescriptor client_side, std::string path)
      : client_side_(std::move(client_side)), master_(std::move(master)), path_(std::move(path)) {}

  ~PseudoTerminal() override { LetClientRead(); }

  const std::string& address() const override { return path_; }

  std::size_t Read(std::span<char> bytes, milliseconds wait) override {
    if (!WaitReadable(master_.get(), steady_clock::now() + wait)) return 0;
    const ssize_t count = read(master_.get(), bytes.data(), bytes.size());
    return count > 0 ? static_cast<std::size_t>(count) : 0;
  }

  void Write(std::string_view bytes) override {
    WriteWithoutWaiting(bytes, [&](std::string_view rest) { return write(master_.get(), rest.data(), rest.size()); });
  }

 private:
  // Closing throws away what the client has not read yet, so it gets a moment to read it.
  void LetClientRead() {
    constexpr int kPolls = 20;
    constexpr int kPollMs = 5;
    int empty_polls = 0;
    for (int i = 0; i < kPolls && empty_polls < 2; ++i) {
      int waiting = 0;
      if (ioctl(client_side_.get(), FIONREAD, &waiting) != 0) return;
      empty_polls = waiting == 0 ? empty_polls + 1 : 0;
      poll(nullptr, 0, kPollMs);
    }
  }

  // Held open, so that a client that leaves does not hang up the line.
  FileDescriptor client_side_;
  FileDescriptor master_;
  std::string path_;
};

class TcpEndpoint final : public ByteEndpoint {
 public:
  TcpEndpoint(FileDescriptor listener, std::string address)
      : listener_(std::move(listener)), address_(std::move(address)) {}

  const std::string& address() const override { return address_; }

  std::size_t Read(std::span<char> bytes, milliseconds wait) override {
    const auto until = steady_clock::now() + wait;
    while (WaitReadable(client_.valid() ? client_.get() : listener_.get(), until)) {
      if (!client_.valid()) {
        Accept();
        continue;
      }
      const ssize_t count = recv(client_.get(), bytes.data(), bytes.size(), 0);
      if (count > 0) return static_cast<std::size_t>(count);
      if (count == 0 || (errno != EAGAIN && errno != EINTR)) client_ = FileDescriptor();
    }
    return 0;
  }

  void Write(std::string_view bytes) override {
    if (!client_.valid()) return;
    const auto send_some = [&](std::string_view rest) {
      return send(client_.get(), rest.data(), rest.size(), MSG_NOSIGNAL);
    };
    if (!WriteWithoutWaiting(bytes, send_some)) client_ = FileDescriptor();
  }

 private:
  void Accept() {
    client_ = FileDescriptor(accept4(listener_.get(), nullptr, nullptr, SOCK_NONBLOCK | SOCK_CLOEXEC));
    const int on = 1;
    if (client_.valid()) setsockopt(client_.get(), IPPROTO_TCP, TCP_NODELAY, &on, sizeof on);
  }

  FileDescriptor listener_;
  FileDescriptor client_;
  std::string address_;
};

bool MakeRaw(int terminal) {
  termios settings{};
  if (tcgetattr(terminal, &settings) != 0) return false;
  cfmakeraw(&settings);
  return tcsetattr(terminal, TCSANOW, &settings) == 0;
}

sockaddr_in Loopback(int port) {
  sockaddr_in address{};
  address.sin_family = AF_INET;
  address.sin_port = htons(static_cast<std::uint16_t>(port));
  address.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
  return address;
}

// The port that a listener got; none when it could not listen.
std::optional<int> ListenOn(int listener, sockaddr_in address) {
  const int on = 1;
  socklen_t size = sizeof address;
  auto* generic = reinterpret_cast<sockaddr*>(&address);
  const bool listening = setsockopt(listener, SOL_SOCKET, SO_REUSEADDR, &on, sizeof on) == 0 &&
                         bind(listener, generic, size) == 0 && listen(listener, 8) == 0 &&
                         getsockname(listener, generic, &size) == 0;
  return listening ? std::optional<int>(ntohs(address.sin_port)) : std::nullopt;
}

}  // namespace

Expected<std::unique_ptr<ByteEndpoint>> OpenPseudoTerminal() {
  FileDescriptor master(posix_openpt(O_RDWR | O_NOCTTY | O_NONBLOCK | O_CLOEXEC));
  std::array<char, 128> path{};
  if (!master.valid() || grantpt(master.get()) != 0 || unlockpt(master.get()) != 0 ||
      ptsname_r(master.get(), path.data(), path.size()) != 0) {
    return Failure(E_FAIL);
  }
  FileDescriptor client_side(open(path.data(), O_RDWR | O_NOCTTY | O_CLOEXEC));
  if (!client_side.valid() || !MakeRaw(client_side.get())) return Failure(E_FAIL);
  return std::make_unique<PseudoTerminal>(std::move(master), std::move(client_side), path.data());
}

Expected<std::unique_ptr<ByteEndpoint>> ListenOnTcp(int port) {
  if (port < 0 || port > 65535) return Failure(E_INVALIDARG);
  FileDescriptor listener(socket(AF_INET, SOCK_STREAM | SOCK_NONBLOCK | SOCK_CLOEXEC, 0));
  const auto taken = listener.valid() ? ListenOn(listener.get(), Loopback(port)) : std::nullopt;
  if (!taken) return Failure(E_FAIL);
  return std::make_unique<TcpEndpoint>(std::move(listener), "127.0.0.1:" + std::to_string(*taken));
}

}  // namespace ulix::platform
