#include "platform/byte_endpoint.h"

#include <fcntl.h>
#include <netdb.h>
#include <netinet/in.h>
#include <poll.h>
#include <stdlib.h>
#include <sys/ioctl.h>
#include <sys/socket.h>
#include <termios.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <cerrno>
#include <utility>
#include <vector>

#include "platform/posix/file_descriptor.h"
#include "platform/posix/tcp_peer.h"

namespace ulix::platform {
namespace {

using std::chrono::milliseconds;
using std::chrono::steady_clock;

// Whether there is input before `until`. A signal also ends the wait with false, because it may have told the caller to
// stop.
bool WaitReadable(int fd, steady_clock::time_point until) {
  const auto left = std::chrono::ceil<milliseconds>(until - steady_clock::now()).count();
  pollfd entry{.fd = fd, .events = POLLIN, .revents = 0};
  return poll(&entry, 1, static_cast<int>(std::clamp<std::int64_t>(left, 0, 60'000))) > 0;
}

// Writes the bytes that the other end accepts without a wait; `write_some` is write or send. False when the other end
// is gone.
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
  // Closing discards bytes that the client has not read yet, so the client gets a moment to read them.
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

  // The client's side is kept open, so that a client that leaves does not hang up the line.
  FileDescriptor client_side_;
  FileDescriptor master_;
  std::string path_;
};

// A client that is not served. It is sent the reason, and its connection is closed after it has read the text. An
// earlier close, with unread bytes of the client, would reset the connection and lose the text.
struct RefusedClient {
  FileDescriptor socket;
  steady_clock::time_point until;

  bool IsDone() const {
    std::array<char, 256> ignored;
    ssize_t count = 1;
    while (count > 0) count = recv(socket.get(), ignored.data(), ignored.size(), 0);
    return count == 0 || (errno != EAGAIN && errno != EINTR) || steady_clock::now() >= until;
  }
};

class TcpEndpoint final : public ByteEndpoint {
 public:
  TcpEndpoint(FileDescriptor listener, std::string address)
      : listener_(std::move(listener)), address_(std::move(address)) {}

  const std::string& address() const override { return address_; }
  EndpointClient client() const override { return client_.valid() ? who_ : EndpointClient{}; }
  void DropClient() override { client_ = FileDescriptor(); }
  void SetRefusal(const EndpointRefusal& refusal) override { refusal_ = refusal; }
  void WakeOn(InputHandle handle) override { other_input_ = static_cast<int>(handle); }

  std::size_t Read(std::span<char> bytes, milliseconds wait) override {
    std::erase_if(refused_, [](const RefusedClient& refused) { return refused.IsDone(); });
    const auto until = steady_clock::now() + wait;
    for (;;) {
      const Ready ready = WaitForInput(until);
      if (ready.client) {
        const ssize_t count = recv(client_.get(), bytes.data(), bytes.size(), 0);
        if (count > 0) return static_cast<std::size_t>(count);
        if (count == 0 || (errno != EAGAIN && errno != EINTR)) client_ = FileDescriptor();
      } else if (ready.listener) {
        Accept();
      } else {
        return 0;
      }
    }
  }

  void Write(std::string_view bytes) override {
    if (client_.valid() && !SendTo(client_, bytes)) client_ = FileDescriptor();
  }

 private:
  struct Ready {
    bool client = false;
    bool listener = false;
  };
  // Neither is ready when the time is over, a signal came, or the other handle has input.
  Ready WaitForInput(steady_clock::time_point until) const {
    const auto left = std::chrono::ceil<milliseconds>(until - steady_clock::now()).count();
    const bool accepts = !client_.valid() || !refusal_.busy.empty();
    std::array<pollfd, 3> entries{{{.fd = client_.get(), .events = POLLIN, .revents = 0},
                                   {.fd = accepts ? listener_.get() : -1, .events = POLLIN, .revents = 0},
                                   {.fd = other_input_, .events = POLLIN, .revents = 0}}};
    const int found = poll(entries.data(), entries.size(), static_cast<int>(std::clamp<std::int64_t>(left, 0, 60'000)));
    if (found <= 0) return {};
    return {.client = entries[0].revents != 0, .listener = entries[1].revents != 0};
  }

  static bool SendTo(const FileDescriptor& client, std::string_view bytes) {
    return WriteWithoutWaiting(
        bytes, [&](std::string_view rest) { return send(client.get(), rest.data(), rest.size(), MSG_NOSIGNAL); });
  }

  void Accept() {
    FileDescriptor came(accept4(listener_.get(), nullptr, nullptr, SOCK_NONBLOCK | SOCK_CLOEXEC));
    if (!came.valid()) return;
    if (!refusal_.closed.empty()) return Refuse(std::move(came), refusal_.closed);
    if (client_.valid()) return Refuse(std::move(came), BusyWords());
    WatchPeer(came.get());
    who_ = {.number = who_.number + 1, .address = PeerAddress(came.get()), .of_machine = IsOfMachine(came.get())};
    client_ = std::move(came);
  }

  void Refuse(FileDescriptor came, const std::string& words) {
    constexpr milliseconds kTimeToRead{500};
    SendTo(came, words + "\r\n");
    shutdown(came.get(), SHUT_WR);
    refused_.push_back({std::move(came), steady_clock::now() + kTimeToRead});
  }

  std::string BusyWords() const {
    const std::size_t place = refusal_.busy.find('%');
    return place == std::string::npos ? refusal_.busy : std::string(refusal_.busy).replace(place, 1, who_.address);
  }

  FileDescriptor listener_;
  FileDescriptor client_;
  std::string address_;
  EndpointClient who_;  // the client that is or was served last
  EndpointRefusal refusal_;
  std::vector<RefusedClient> refused_;
  int other_input_ = kNoInput;
};

bool MakeRaw(int terminal) {
  termios settings{};
  if (tcgetattr(terminal, &settings) != 0) return false;
  cfmakeraw(&settings);
  return tcsetattr(terminal, TCSANOW, &settings) == 0;
}

// A socket that listens at the address; invalid when the system refuses.
FileDescriptor ListenAt(const addrinfo& address) {
  FileDescriptor listener(socket(address.ai_family, SOCK_STREAM | SOCK_NONBLOCK | SOCK_CLOEXEC, IPPROTO_TCP));
  const int on = 1;
  const int off = 0;
  if (!listener.valid()) return listener;
  if (address.ai_family == AF_INET6) setsockopt(listener.get(), IPPROTO_IPV6, IPV6_V6ONLY, &off, sizeof off);
  const bool listening = setsockopt(listener.get(), SOL_SOCKET, SO_REUSEADDR, &on, sizeof on) == 0 &&
                         bind(listener.get(), address.ai_addr, address.ai_addrlen) == 0 &&
                         listen(listener.get(), 8) == 0;
  return listening ? std::move(listener) : FileDescriptor();
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

Expected<std::unique_ptr<ByteEndpoint>> ListenOnTcp(int port, const std::string& host) {
  if (port < 0 || port > 65535) return Failure(E_INVALIDARG);
  addrinfo wanted{};
  wanted.ai_flags = AI_PASSIVE;
  wanted.ai_socktype = SOCK_STREAM;
  addrinfo* found = nullptr;
  if (getaddrinfo(host.c_str(), std::to_string(port).c_str(), &wanted, &found) != 0) return Failure(E_FAIL);
  const std::unique_ptr<addrinfo, void (*)(addrinfo*)> list(found, freeaddrinfo);
  FileDescriptor listener = ListenAt(*found);
  if (!listener.valid()) return Failure(E_FAIL);
  const std::string address = OwnAddress(listener.get());
  return std::make_unique<TcpEndpoint>(std::move(listener), address);
}

}  // namespace ulix::platform
