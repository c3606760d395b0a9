#include "platform/win32/tcp_peer.h"

// After winsock2.h.
#include <mstcpip.h>

#include <array>

#include "platform/connection_end.h"

namespace ulix::platform {
namespace {

template <typename NameOf>
EndOfConnection End(SOCKET socket, NameOf name_of) {
  sockaddr_storage address{};
  int size = sizeof address;
  auto* generic = reinterpret_cast<sockaddr*>(&address);
  std::array<char, NI_MAXHOST> host{};
  std::array<char, NI_MAXSERV> port{};
  if (name_of(socket, generic, &size) != 0) return {};
  getnameinfo(generic, size, host.data(), host.size(), port.data(), port.size(), NI_NUMERICHOST | NI_NUMERICSERV);
  return {host.data(), port.data()};
}

}  // namespace

// After one second without data the system asks the peer for a sign of life, and repeats this ten times within the next
// second.
bool WatchPeer(SOCKET socket) {
  const BOOL on = TRUE;
  setsockopt(socket, IPPROTO_TCP, TCP_NODELAY, reinterpret_cast<const char*>(&on), sizeof on);
  tcp_keepalive watch{.onoff = 1, .keepalivetime = 1000, .keepaliveinterval = 90};
  DWORD ignored = 0;
  return WSAIoctl(socket, SIO_KEEPALIVE_VALS, &watch, sizeof watch, nullptr, 0, &ignored, nullptr, nullptr) == 0;
}

std::string OwnAddress(SOCKET socket) { return TextOfEnd(End(socket, getsockname)); }
std::string PeerAddress(SOCKET socket) { return TextOfEnd(End(socket, getpeername)); }

bool IsOfMachine(SOCKET socket) { return End(socket, getsockname).host == End(socket, getpeername).host; }

}  // namespace ulix::platform
