#include "platform/socket.h"

#include <arpa/inet.h>
#include <netdb.h>
#include <netinet/in.h>
#include <netinet/tcp.h>
#include <poll.h>
#include <sys/socket.h>

#include <algorithm>
#include <cerrno>

#include "platform/posix/file_descriptor.h"

namespace ulix::platform {
namespace {

using std::chrono::milliseconds;
using std::chrono::steady_clock;

// Without a limit the wait ends with what it waits for.
SocketWait Await(int fd, short events, std::optional<milliseconds> wait) {
  const auto end =
      steady_clock::now() + std::min(wait.value_or(milliseconds(0)), milliseconds(std::chrono::hours(876000)));
  for (;;) {
    constexpr std::int64_t kLongestPoll = 60'000;
    const auto left = std::chrono::ceil<milliseconds>(end - steady_clock::now()).count();
    pollfd entry{.fd = fd, .events = events, .revents = 0};
    const int ready =
        poll(&entry, 1, static_cast<int>(wait ? std::clamp<std::int64_t>(left, 0, kLongestPoll) : kLongestPoll));
    if (ready > 0) return (entry.revents & POLLNVAL) != 0 ? SocketWait::kFailed : SocketWait::kReady;
    if (ready < 0 && errno != EINTR) return SocketWait::kFailed;
    if (wait && steady_clock::now() >= end) return SocketWait::kTimedOut;
  }
}

// 0, or the system's code of what went wrong.
int ConnectTo(int fd, const sockaddr* address, socklen_t length, std::optional<milliseconds> wait) {
  if (connect(fd, address, length) == 0) return 0;
  if (errno != EINPROGRESS) return errno;
  const SocketWait waited = Await(fd, POLLOUT, wait);
  if (waited != SocketWait::kReady) return waited == SocketWait::kTimedOut ? ETIMEDOUT : errno;
  int error = 0;
  socklen_t size = sizeof error;
  return getsockopt(fd, SOL_SOCKET, SO_ERROR, &error, &size) == 0 ? error : errno;
}

OpenFailure FailureOf(int error) {
  if (error == 0) return {};
  const OpenFailureCause cause = error == ECONNREFUSED ? OpenFailureCause::kRefused
                                 : error == ETIMEDOUT  ? OpenFailureCause::kNoAnswer
                                                       : OpenFailureCause::kSystem;
  return {.cause = cause, .os_error = static_cast<std::uint32_t>(error)};
}

class PosixSocket final : public StreamSocket {
 public:
  explicit PosixSocket(FileDescriptor fd) : fd_(std::move(fd)) {}

  bool Connect(Ipv4Address address, std::uint16_t port, std::optional<milliseconds> wait) override {
    sockaddr_in peer{};
    peer.sin_family = AF_INET;
    peer.sin_port = htons(port);
    peer.sin_addr.s_addr = htonl(address.bits);
    failure_ = FailureOf(ConnectTo(fd_.get(), reinterpret_cast<const sockaddr*>(&peer), sizeof peer, wait));
    return failure_.cause == OpenFailureCause::kNone;
  }
  OpenFailure connect_failure() const override { return failure_; }

  SocketWait AwaitReadable(milliseconds wait) override { return Wait(POLLIN, wait); }
  SocketWait AwaitWritable(milliseconds wait) override { return Wait(POLLOUT, wait); }

  int Send(std::string_view bytes) override {
    return Moved([&] { return send(fd_.get(), bytes.data(), bytes.size(), MSG_NOSIGNAL); });
  }
  int Receive(std::span<char> bytes) override {
    return Moved([&] { return recv(fd_.get(), bytes.data(), bytes.size(), 0); });
  }
  void FinishSending() override { shutdown(fd_.get(), SHUT_WR); }
  bool WouldWait() const override { return would_wait_; }

 private:
  SocketWait Wait(short events, milliseconds wait) {
    return wait.count() < 0 ? SocketWait::kFailed : Await(fd_.get(), events, wait);
  }

  template <typename Call>
  int Moved(Call&& call) {
    ssize_t count = call();
    while (count < 0 && errno == EINTR) count = call();
    would_wait_ = count < 0 && (errno == EAGAIN || errno == EWOULDBLOCK);
    return static_cast<int>(count);
  }

  FileDescriptor fd_;
  bool would_wait_ = false;
  OpenFailure failure_;
};

}  // namespace

std::optional<Ipv4Address> FindHost(const std::string& host) {
  const in_addr_t dotted = inet_addr(host.c_str());
  if (dotted != INADDR_NONE) return Ipv4Address{ntohl(dotted)};
  addrinfo wanted{};
  wanted.ai_family = AF_INET;
  wanted.ai_socktype = SOCK_STREAM;
  addrinfo* found = nullptr;
  if (host.empty() || getaddrinfo(host.c_str(), nullptr, &wanted, &found) != 0) return std::nullopt;
  const Ipv4Address address{ntohl(reinterpret_cast<const sockaddr_in*>(found->ai_addr)->sin_addr.s_addr)};
  freeaddrinfo(found);
  return address;
}

namespace {

// Where the kernel has been sending without an answer, or asking a quiet peer for one, for this long, it gives up.
bool WatchPeer(int fd) {
  const auto set = [&](int level, int option, int value) {
    return setsockopt(fd, level, option, &value, sizeof value) == 0;
  };
  return set(SOL_SOCKET, SO_KEEPALIVE, 1) && set(IPPROTO_TCP, TCP_KEEPIDLE, 1) && set(IPPROTO_TCP, TCP_KEEPINTVL, 1) &&
         set(IPPROTO_TCP, TCP_KEEPCNT, 1) && set(IPPROTO_TCP, TCP_USER_TIMEOUT, 1500) &&
         set(IPPROTO_TCP, TCP_NODELAY, 1);
}

}  // namespace

Connection ConnectToHost(const std::string& host, std::uint16_t port, milliseconds wait) {
  addrinfo wanted{};
  wanted.ai_socktype = SOCK_STREAM;
  addrinfo* found = nullptr;
  if (host.empty() || getaddrinfo(host.c_str(), std::to_string(port).c_str(), &wanted, &found) != 0) {
    return {nullptr, {.cause = OpenFailureCause::kUnknownHost}};
  }
  const std::unique_ptr<addrinfo, void (*)(addrinfo*)> list(found, freeaddrinfo);
  int error = EHOSTUNREACH;
  for (const addrinfo* address = found; address; address = address->ai_next) {
    FileDescriptor fd(socket(address->ai_family, SOCK_STREAM | SOCK_NONBLOCK | SOCK_CLOEXEC, IPPROTO_TCP));
    if (!fd.valid() || !WatchPeer(fd.get())) {
      error = errno;
      continue;
    }
    error = ConnectTo(fd.get(), address->ai_addr, address->ai_addrlen, wait);
    if (error == 0) return {std::make_unique<PosixSocket>(std::move(fd)), {}};
  }
  return {nullptr, FailureOf(error)};
}

std::unique_ptr<StreamSocket> MakeStreamSocket() {
  FileDescriptor fd(socket(AF_INET, SOCK_STREAM | SOCK_NONBLOCK | SOCK_CLOEXEC, IPPROTO_TCP));
  const int on = 1;
  if (!fd.valid() || setsockopt(fd.get(), IPPROTO_TCP, TCP_NODELAY, &on, sizeof on) != 0) return nullptr;
  return std::make_unique<PosixSocket>(std::move(fd));
}

}  // namespace ulix::platform
