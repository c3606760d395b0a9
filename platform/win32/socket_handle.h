// A socket with one owner, and the start of the socket library.
#pragma once

#include <winsock2.h>

#include <utility>

namespace ulix::platform {

// Sockets work while at least one object of this class lives.
class SocketLibrary {
 public:
  SocketLibrary() { ready_ = WSAStartup(MAKEWORD(2, 2), &data_) == 0; }
  ~SocketLibrary() {
    if (ready_) WSACleanup();
  }
  SocketLibrary(const SocketLibrary&) = delete;
  SocketLibrary& operator=(const SocketLibrary&) = delete;

 private:
  WSADATA data_{};
  bool ready_ = false;
};

class SocketHandle {
 public:
  SocketHandle() = default;
  explicit SocketHandle(SOCKET socket) : socket_(socket) {}
  SocketHandle(SocketHandle&& other) noexcept : socket_(std::exchange(other.socket_, INVALID_SOCKET)) {}
  SocketHandle& operator=(SocketHandle&& other) noexcept {
    std::swap(socket_, other.socket_);
    return *this;
  }
  ~SocketHandle() {
    if (valid()) closesocket(socket_);
  }
  SOCKET get() const { return socket_; }
  bool valid() const { return socket_ != INVALID_SOCKET; }
  bool Unblock() const {
    u_long on = 1;
    return ioctlsocket(socket_, FIONBIO, &on) == 0;
  }

 private:
  SOCKET socket_ = INVALID_SOCKET;
};

}  // namespace ulix::platform
