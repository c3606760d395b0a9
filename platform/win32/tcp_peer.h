// The two ends of a TCP connection.
#pragma once

#include <winsock2.h>
// After winsock2.h.
#include <ws2tcpip.h>

#include <string>

namespace ulix::platform {

// Closes the connection when the peer has not answered for two seconds. False when the system has no such setting
// (Wine).
bool WatchPeer(SOCKET socket);

// "10.0.0.7:50412", "[::1]:4001".
std::string OwnAddress(SOCKET socket);
std::string PeerAddress(SOCKET socket);

// Whether both ends have the same address, so that the other end is a program of this machine.
bool IsOfMachine(SOCKET socket);

}  // namespace ulix::platform
