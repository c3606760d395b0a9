#include "platform/byte_endpoint.h"

#include <algorithm>
#include <optional>
#include <utility>
#include <vector>

#include "platform/win32/socket_handle.h"
// After winsock2.h.
#include "platform/win32/tcp_peer.h"

namespace ulix::platform {
namespace {

using std::chrono::milliseconds;
using std::chrono::steady_clock;

// A serial port has no event that can be waited for together with sockets, so it is polled at this period.
constexpr milliseconds kOtherInputPeriod{1};

bool OnlyLater() { return WSAGetLastError() == WSAEWOULDBLOCK; }

bool HasInput(InputHandle port) {
  DWORD errors = 0;
  COMSTAT state{};
  return !ClearCommError(reinterpret_cast<HANDLE>(port), &errors, &state) || state.cbInQue > 0;
}

// A client that is not served. It is sent the reason, and its connection is closed after it has read the text. An
// earlier close, with unread bytes of the client, would reset the connection and lose the text.
struct RefusedClient {
  SocketHandle socket;
  steady_clock::time_point until;

  bool IsDone() const {
    char ignored[256];
    int count = 1;
    while (count > 0) count = recv(socket.get(), ignored, sizeof ignored, 0);
    return count == 0 || !OnlyLater() || steady_clock::now() >= until;
  }
};

class TcpEndpoint final : public ByteEndpoint {
 public:
  TcpEndpoint(SocketHandle listener, std::string address)
      : listener_(std::move(listener)), address_(std::move(address)) {}

  const std::string& address() const override { return address_; }
  EndpointClient client() const override { return client_.valid() ? who_ : EndpointClient{}; }
  void DropClient() override { client_ = SocketHandle(); }
  void SetRefusal(const EndpointRefusal& refusal) override { refusal_ = refusal; }
  void WakeOn(InputHandle handle) override { other_input_ = handle; }

  std::size_t Read(std::span<char> bytes, milliseconds wait) override {
    std::erase_if(refused_, [](const RefusedClient& refused) { return refused.IsDone(); });
    const auto until = steady_clock::now() + wait;
    for (;;) {
      const Ready ready = WaitForInput(until);
      if (ready.client) {
        const int count = recv(client_.get(), bytes.data(), static_cast<int>(bytes.size()), 0);
        if (count > 0) return static_cast<std::size_t>(count);
        if (count == 0 || !OnlyLater()) client_ = SocketHandle();
      } else if (ready.listener) {
        Accept();
      } else {
        return 0;
      }
    }
  }

  void Write(std::string_view bytes) override {
    if (client_.valid() && !SendTo(client_, bytes)) client_ = SocketHandle();
  }

 private:
  struct Ready {
    bool client = false;
    bool listener = false;
  };
  // Neither is ready when the time is over, or when the other handle has input.
  Ready WaitForInput(steady_clock::time_point until) const {
    for (;;) {
      const auto left = std::max(std::chrono::ceil<milliseconds>(until - steady_clock::now()), milliseconds(0));
      const Ready ready = Poll(other_input_ == kNoInput ? left : std::min(left, kOtherInputPeriod));
      if (ready.client || ready.listener || left.count() == 0) return ready;
      if (other_input_ != kNoInput && HasInput(other_input_)) return {};
    }
  }
  Ready Poll(milliseconds wait) const {
    std::vector<WSAPOLLFD> entries;
    const bool has_client = client_.valid();
    if (has_client) entries.push_back({.fd = client_.get(), .events = POLLRDNORM, .revents = 0});
    const bool accepts = !has_client || !refusal_.busy.empty();
    if (accepts) entries.push_back({.fd = listener_.get(), .events = POLLRDNORM, .revents = 0});
    if (WSAPoll(entries.data(), static_cast<ULONG>(entries.size()), static_cast<int>(wait.count())) <= 0) return {};
    return {.client = has_client && entries.front().revents != 0, .listener = accepts && entries.back().revents != 0};
  }

  // False when the client is gone. Bytes that the client does not accept at once are lost.
  static bool SendTo(const SocketHandle& client, std::string_view bytes) {
    while (!bytes.empty()) {
      const int count = send(client.get(), bytes.data(), static_cast<int>(bytes.size()), 0);
      if (count < 0) return OnlyLater();
      bytes.remove_prefix(static_cast<std::size_t>(count));
    }
    return true;
  }

  void Accept() {
    SocketHandle came(accept(listener_.get(), nullptr, nullptr));
    if (!came.valid() || !came.Unblock()) return;
    if (!refusal_.closed.empty()) return Refuse(std::move(came), refusal_.closed);
    if (client_.valid()) return Refuse(std::move(came), BusyWords());
    WatchPeer(came.get());
    who_ = {.number = who_.number + 1, .address = PeerAddress(came.get()), .of_machine = IsOfMachine(came.get())};
    client_ = std::move(came);
  }

  void Refuse(SocketHandle came, const std::string& words) {
    constexpr milliseconds kTimeToRead{500};
    SendTo(came, words + "\r\n");
    shutdown(came.get(), SD_SEND);
    refused_.push_back({std::move(came), steady_clock::now() + kTimeToRead});
  }

  std::string BusyWords() const {
    const std::size_t place = refusal_.busy.find('%');
    return place == std::string::npos ? refusal_.busy : std::string(refusal_.busy).replace(place, 1, who_.address);
  }

  SocketLibrary library_;
  SocketHandle listener_;
  SocketHandle client_;
  std::string address_;
  EndpointClient who_;  // the client that is or was served last
  EndpointRefusal refusal_;
  std::vector<RefusedClient> refused_;
  InputHandle other_input_ = kNoInput;
};

// A socket that listens at the address; invalid when the system refuses. Without SO_EXCLUSIVEADDRUSE another program
// could listen on the same port.
SocketHandle ListenAt(const addrinfo& address) {
  SocketHandle listener(socket(address.ai_family, SOCK_STREAM, IPPROTO_TCP));
  const BOOL on = TRUE;
  const DWORD off = 0;
  if (!listener.valid()) return listener;
  if (address.ai_family == AF_INET6) {
    setsockopt(listener.get(), IPPROTO_IPV6, IPV6_V6ONLY, reinterpret_cast<const char*>(&off), sizeof off);
  }
  const auto* option = reinterpret_cast<const char*>(&on);
  const bool listening = setsockopt(listener.get(), SOL_SOCKET, SO_EXCLUSIVEADDRUSE, option, sizeof on) == 0 &&
                         listener.Unblock() &&
                         bind(listener.get(), address.ai_addr, static_cast<int>(address.ai_addrlen)) == 0 &&
                         listen(listener.get(), 8) == 0;
  return listening ? std::move(listener) : SocketHandle();
}

}  // namespace

Expected<std::unique_ptr<ByteEndpoint>> OpenPseudoTerminal() { return Failure(E_NOTIMPL); }

Expected<std::unique_ptr<ByteEndpoint>> ListenOnTcp(int port, const std::string& host) {
  if (port < 0 || port > 65535) return Failure(E_INVALIDARG);
  const SocketLibrary library;
  addrinfo wanted{};
  wanted.ai_flags = AI_PASSIVE;
  wanted.ai_socktype = SOCK_STREAM;
  addrinfo* found = nullptr;
  if (getaddrinfo(host.c_str(), std::to_string(port).c_str(), &wanted, &found) != 0) return Failure(E_FAIL);
  const std::unique_ptr<addrinfo, void (*)(addrinfo*)> list(found, [](addrinfo* first) { freeaddrinfo(first); });
  SocketHandle listener = ListenAt(*found);
  if (!listener.valid()) return Failure(E_FAIL);
  const std::string address = OwnAddress(listener.get());
  return std::make_unique<TcpEndpoint>(std::move(listener), address);
}

}  // namespace ulix::platform
