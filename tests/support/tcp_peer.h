// The other end of a TCP connection, with the behaviour that a test gives it.
#pragma once

#include <gtest/gtest.h>
#include <netinet/in.h>
#include <poll.h>
#include <sys/socket.h>

#include <array>
#include <functional>
#include <string>
#include <thread>

#include "platform/posix/file_descriptor.h"

namespace ulix {

// Listens on a free port of the loopback interface. A thread of its own hands one connection at a time to `serve` and
// closes it when `serve` returns.
class TcpPeer {
 public:
  using Serve = std::function<void(TcpPeer& peer)>;
  explicit TcpPeer(Serve serve) : listener_(socket(AF_INET, SOCK_STREAM | SOCK_CLOEXEC, 0)) {
    sockaddr_in address{};
    address.sin_family = AF_INET;
    address.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
    socklen_t size = sizeof address;
    auto* generic = reinterpret_cast<sockaddr*>(&address);
    EXPECT_EQ(bind(listener_.get(), generic, size), 0);
    EXPECT_EQ(listen(listener_.get(), 4), 0);
    EXPECT_EQ(getsockname(listener_.get(), generic, &size), 0);
    port_ = ntohs(address.sin_port);
    thread_ = std::thread([this, serve = std::move(serve)] {
      for (;;) {
        client_ = platform::FileDescriptor(accept4(listener_.get(), nullptr, nullptr, SOCK_CLOEXEC));
        if (!client_.valid()) return;
        serve(*this);
        client_ = platform::FileDescriptor();
      }
    });
  }
  ~TcpPeer() {
    shutdown(listener_.get(), SHUT_RDWR);
    thread_.join();
  }
  TcpPeer(const TcpPeer&) = delete;
  TcpPeer& operator=(const TcpPeer&) = delete;

  int port() const { return port_; }

  // For use in `serve`. Take reads `count` bytes, fewer only at the end of the connection. Send sends bytes.
  std::string Take(std::size_t count) {
    std::string bytes(count, '\0');
    const ssize_t got = recv(client_.get(), bytes.data(), count, MSG_WAITALL);
    bytes.resize(got > 0 ? static_cast<std::size_t>(got) : 0);
    return bytes;
  }
  void Send(std::string_view bytes) { send(client_.get(), bytes.data(), bytes.size(), MSG_NOSIGNAL); }
  // Waits until the other side closes the connection.
  void AwaitEnd() {
    while (!Take(1).empty()) {
    }
  }

 private:
  platform::FileDescriptor listener_;
  platform::FileDescriptor client_;
  int port_ = 0;
  std::thread thread_;
};

}  // namespace ulix
