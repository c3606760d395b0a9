#include "platform/socket.h"

#include "platform/win32/socket_handle.h"
// After winsock2.h.
#include "platform/win32/tcp_peer.h"

#include <algorithm>

namespace ulix::platform {
namespace {

using std::chrono::milliseconds;
using std::chrono::steady_clock;

// Uses select and not WSAPoll, which does not report a failed connection on every version of Windows. Without `wait`
// there is no limit.
SocketWait Await(SOCKET socket, bool writable, std::optional<milliseconds> wait) {
  constexpr milliseconds kLongestSelect{60'000};
  const auto end =
      steady_clock::now() + std::min(wait.value_or(milliseconds(0)), milliseconds(std::chrono::hours(876000)));
  for (;;) {
    const auto left = std::chrono::ceil<milliseconds>(end - steady_clock::now());
    const auto turn = wait ? std::clamp(left, milliseconds(0), kLongestSelect) : kLongestSelect;
    timeval time{static_cast<long>(turn.count() / 1000), static_cast<long>(turn.count() % 1000 * 1000)};
    fd_set wanted;
    fd_set failed;
    FD_ZERO(&wanted);
    FD_ZERO(&failed);
    FD_SET(socket, &wanted);
    FD_SET(socket, &failed);
    const int ready = select(0, writable ? nullptr : &wanted, writable ? &wanted : nullptr, &failed, &time);
    if (ready < 0) return SocketWait::kFailed;
    if (ready > 0) return FD_ISSET(socket, &wanted) ? SocketWait::kReady : SocketWait::kFailed;
    if (wait && steady_clock::now() >= end) return SocketWait::kTimedOut;
  }
}

OpenFailure FailureOf(int error) {
  if (error == 0) return {};
  const OpenFailureCause cause = error == WSAECONNREFUSED ? OpenFailureCause::kRefused
                                 : error == WSAETIMEDOUT  ? OpenFailureCause::kNoAnswer
                                                          : OpenFailureCause::kSystem;
  return {.cause = cause, .os_error = static_cast<std::uint32_t>(error)};
}

class WindowsSocket final : public StreamSocket {
 public:
  explicit WindowsSocket(int family) : socket_(socket(family, SOCK_STREAM, IPPROTO_TCP)) {}

  bool Prepare() {
    const BOOL on = TRUE;
    return socket_.valid() && socket_.Unblock() &&
           setsockopt(socket_.get(), IPPROTO_TCP, TCP_NODELAY, reinterpret_cast<const char*>(&on), sizeof on) == 0;
  }

  bool Connect(Ipv4Address address, std::uint16_t port, std::optional<milliseconds> wait) override {
    sockaddr_in peer{};
    peer.sin_family = AF_INET;
    peer.sin_port = htons(port);
    peer.sin_addr.s_addr = htonl(address.bits);
    failure_ = FailureOf(ConnectTo(reinterpret_cast<const sockaddr*>(&peer), sizeof peer, wait));
    return failure_.cause == OpenFailureCause::kNone;
  }
  OpenFailure connect_failure() const override { return failure_; }

  // 0, or the system's error code.
  int ConnectTo(const sockaddr* address, int length, std::optional<milliseconds> wait) {
    if (connect(socket_.get(), address, length) == 0) return 0;
    if (const int error = WSAGetLastError(); error != WSAEWOULDBLOCK) return error;
    const SocketWait waited = Await(socket_.get(), true, wait);
    if (waited == SocketWait::kReady) return 0;
    int error = 0;
    int size = sizeof error;
    getsockopt(socket_.get(), SOL_SOCKET, SO_ERROR, reinterpret_cast<char*>(&error), &size);
    return waited == SocketWait::kTimedOut ? WSAETIMEDOUT : error != 0 ? error : WSAECONNREFUSED;
  }

  void Watch() { WatchPeer(socket_.get()); }

  SocketWait AwaitReadable(milliseconds wait) override { return Wait(false, wait); }
  SocketWait AwaitWritable(milliseconds wait) override { return Wait(true, wait); }

  int Send(std::string_view bytes) override {
    return Moved(send(socket_.get(), bytes.data(), static_cast<int>(bytes.size()), 0));
  }
  int Receive(std::span<char> bytes) override {
    return Moved(recv(socket_.get(), bytes.data(), static_cast<int>(bytes.size()), 0));
  }
  void FinishSending() override { shutdown(socket_.get(), SD_SEND); }
  bool WouldWait() const override { return would_wait_; }

 private:
  SocketWait Wait(bool writable, milliseconds wait) {
    return wait.count() < 0 ? SocketWait::kFailed : Await(socket_.get(), writable, wait);
  }
  int Moved(int count) {
    would_wait_ = count < 0 && WSAGetLastError() == WSAEWOULDBLOCK;
    return count;
  }

  SocketLibrary library_;
  SocketHandle socket_;
  bool would_wait_ = false;
  OpenFailure failure_;
};

}  // namespace

std::optional<Ipv4Address> FindHost(const std::string& host) {
  const SocketLibrary library;
  const unsigned long dotted = inet_addr(host.c_str());
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
  const SocketLibrary library;
  addrinfo wanted{};
  wanted.ai_socktype = SOCK_STREAM;
  addrinfo* found = nullptr;
  if (host.empty() || getaddrinfo(host.c_str(), std::to_string(port).c_str(), &wanted, &found) != 0) {
    return {nullptr, {.cause = OpenFailureCause::kUnknownHost}};
  }
  const std::unique_ptr<addrinfo, void (*)(addrinfo*)> list(found, [](addrinfo* first) { freeaddrinfo(first); });
  int error = WSAEHOSTUNREACH;
  for (const addrinfo* address = found; address; address = address->ai_next) {
    auto made = std::make_unique<WindowsSocket>(address->ai_family);
    if (!made->Prepare()) {
      error = WSAGetLastError();
      continue;
    }
    error = made->ConnectTo(address->ai_addr, static_cast<int>(address->ai_addrlen), wait);
    if (error != 0) continue;
    made->Watch();
    return {std::move(made), {}};
  }
  return {nullptr, FailureOf(error)};
}

std::unique_ptr<StreamSocket> MakeStreamSocket() {
  auto made = std::make_unique<WindowsSocket>(AF_INET);
  if (!made->Prepare()) return nullptr;
  return made;
}

}  // namespace ulix::platform
