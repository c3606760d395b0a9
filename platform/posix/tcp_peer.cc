#include "platform/posix/tcp_peer.h"

#include <netdb.h>
#include <netinet/in.h>
#include <netinet/tcp.h>
#include <sys/socket.h>

#include <array>

#include "platform/connection_end.h"

namespace ulix::platform {
namespace {

// The kernel gives up at the first retransmission after this time, which may be half a second later.
constexpr int kMaxUnansweredMs = 1000;

using NameOfEnd = int (*)(int socket, sockaddr* address, socklen_t* size);

EndOfConnection End(int socket, NameOfEnd name_of) {
  sockaddr_storage address{};
  socklen_t size = sizeof address;
  auto* generic = reinterpret_cast<sockaddr*>(&address);
  std::array<char, NI_MAXHOST> host{};
  std::array<char, NI_MAXSERV> port{};
  if (name_of(socket, generic, &size) != 0) return {};
  getnameinfo(generic, size, host.data(), host.size(), port.data(), port.size(), NI_NUMERICHOST | NI_NUMERICSERV);
  return {host.data(), port.data()};
}

}  // namespace

bool WatchPeer(int socket) {
  const auto set = [&](int level, int option, int value) {
    return setsockopt(socket, level, option, &value, sizeof value) == 0;
  };
  return set(SOL_SOCKET, SO_KEEPALIVE, 1) && set(IPPROTO_TCP, TCP_KEEPIDLE, 1) && set(IPPROTO_TCP, TCP_KEEPINTVL, 1) &&
         set(IPPROTO_TCP, TCP_KEEPCNT, 1) && set(IPPROTO_TCP, TCP_USER_TIMEOUT, kMaxUnansweredMs) &&
         set(IPPROTO_TCP, TCP_NODELAY, 1);
}

std::string OwnAddress(int socket) { return TextOfEnd(End(socket, getsockname)); }
std::string PeerAddress(int socket) { return TextOfEnd(End(socket, getpeername)); }

bool IsOfMachine(int socket) { return End(socket, getsockname).host == End(socket, getpeername).host; }

}  // namespace ulix::platform
