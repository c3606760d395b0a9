#include "platform/byte_endpoint.h"

#include <algorithm>
#include <optional>
#include <utility>

#include "platform/win32/socket_handle.h"

namespace ulix::platform {
namespace {

using std::chrono::milliseconds;
using std::chrono::steady_clock;

bool WaitReadable(const SocketHandle& socket, steady_clock::time_point until) {
  const auto left = std::chrono::ceil<milliseconds>(until - steady_clock::now()).count();
  WSAPOLLFD entry{.fd = socket.get(), .events = POLLRDNORM, .revents = 0};
  return WSAPoll(&entry, 1, static_cast<int>(std::clamp<std::int64_t>(left, 0, 60'000))) > 0;
}

bool OnlyLater() { return WSAGetLastError() == WSAEWOULDBLOCK; }

class TcpEndpoint final : public ByteEndpoint {
 public:
  TcpEndpoint(SocketHandle listener, std::string address)
      : listener_(std::move(listener)), address_(std::move(address)) {}

  const std::string& address() const override { return address_; }

  std::size_t Read(std::span<char> bytes, milliseconds wait) override {
    const auto until = steady_clock::now() + wait;
    while (WaitReadable(client_.valid() ? client_ : listener_, until)) {
      if (!client_.valid()) {
        Accept();
        continue;
      }
      const int count = recv(client_.get(), bytes.data(), static_cast<int>(bytes.size()), 0);
      if (count > 0) return static_cast<std::size_t>(count);
      if (count == 0 || !OnlyLater()) client_ = SocketHandle();
    }
    return 0;
  }

  void Write(std::string_view bytes) override {
    while (client_.valid() && !bytes.empty()) {
      const int count = send(client_.get(), bytes.data(), static_cast<int>(bytes.size()), 0);
      if (count >= 0) {
        bytes.remove_prefix(static_cast<std::size_t>(count));
        continue;
      }
      if (!OnlyLater()) client_ = SocketHandle();
      return;
    }
  }

 private:
  void Accept() {
    client_ = SocketHandle(accept(listener_.get(), nullptr, nullptr));
    const BOOL on = TRUE;
    if (client_.valid() && client_.Unblock()) {
      setsockopt(client_.get(), IPPROTO_TCP, TCP_NODELAY, reinterpret_cast<const char*>(&on), sizeof on);
    }
  }

  SocketLibrary library_;
  SocketHandle listener_;
  SocketHandle client_;
  std::string address_;
};

// The port that a listener got; none when it could not listen. Without the exclusive use another program could listen
// on the same port.
std::optional<int> ListenOn(const SocketHandle& listener, int port) {
  sockaddr_in address{};
  address.sin_family = AF_INET;
  address.sin_port = htons(static_cast<u_short>(port));
  address.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
  auto* generic = reinterpret_cast<sockaddr*>(&address);
  int size = sizeof address;
  const BOOL on = TRUE;
  const auto* option = reinterpret_cast<const char*>(&on);
  const bool listening = setsockopt(listener.get(), SOL_SOCKET, SO_EXCLUSIVEADDRUSE, option, sizeof on) == 0 &&
                         listener.Unblock() && bind(listener.get(), generic, size) == 0 &&
                         listen(listener.get(), 8) == 0 && getsockname(listener.get(), generic, &size) == 0;
  return listening ? std::optional<int>(ntohs(address.sin_port)) : std::nullopt;
}

}  // namespace

Expected<std::unique_ptr<ByteEndpoint>> OpenPseudoTerminal() { return Failure(E_NOTIMPL); }

Expected<std::unique_ptr<ByteEndpoint>> ListenOnTcp(int port) {
  if (port < 0 || port > 65535) return Failure(E_INVALIDARG);
  const SocketLibrary library;
  SocketHandle listener(socket(AF_INET, SOCK_STREAM, 0));
  const auto taken = listener.valid() ? ListenOn(listener, port) : std::nullopt;
  if (!taken) return Failure(E_FAIL);
  return std::make_unique<TcpEndpoint>(std::move(listener), "127.0.0.1:" + std::to_string(*taken));
}

}  // namespace ulix::platform
