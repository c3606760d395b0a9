#include "platform/socket.h"

#include <arpa/inet.h>
#include <fcntl.h>
#include <netdb.h>
#include <netinet/in.h>
#include <netinet/tcp.h>
#include <poll.h>
#include <sys/socket.h>

#include <algorithm>
#include <cerrno>

#include "platform/posix/file_descriptor.h"
#include "platform/posix/tcp_peer.h"

namespace ulix::platform {
namespace {

using std::chrono::milliseconds;
using std::chrono::steady_clock;

// Without `wait` there is no limit.
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

// 0, or the system's error code.
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
    return Moved([&] { return send(fd_.get(), bytes.data(), bytes.size(), MSG_NOSIGNAL | MSG_DONTWAIT); });
  }
  int Receive(std::span<char> bytes) override {
    return Moved([&] { return recv(fd_.get(), bytes.data(), bytes.size(), MSG_DONTWAIT); });
  }
  // On a blocking socket one system call replaces two.
  int ReceiveWithin(std::span<char> bytes, milliseconds wait) override {
    if (!blocks_) return StreamSocket::ReceiveWithin(bytes, wait);
    if (wait.count() <= 0 || !SetReceiveWait(wait)) return Receive(bytes);
    return Moved([&] { return recv(fd_.get(), bytes.data(), bytes.size(), 0); });
  }
  // From now on ReceiveWithin waits inside the receive call.
  void Block() {
    const int flags = fcntl(fd_.get(), F_GETFL);
    blocks_ = flags >= 0 && fcntl(fd_.get(), F_SETFL, flags & ~O_NONBLOCK) == 0;
  }
  void FinishSending() override { shutdown(fd_.get(), SHUT_WR); }
  bool WouldWait() const override { return would_wait_; }

 private:
  bool SetReceiveWait(milliseconds wait) {
    if (wait == receive_wait_) return true;
    const auto ms = wait.count();
    const timeval time{.tv_sec = ms / 1000, .tv_usec = ms % 1000 * 1000};
    if (setsockopt(fd_.get(), SOL_SOCKET, SO_RCVTIMEO, &time, sizeof time) != 0) return false;
    receive_wait_ = wait;
    return true;
  }
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
  bool blocks_ = false;
  milliseconds receive_wait_{0};  // in force
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
    if (error != 0) continue;
    auto connected = std::make_unique<PosixSocket>(std::move(fd));
    connected->Block();
    return {std::move(connected), {}};
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
