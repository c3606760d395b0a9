// The two ends of a TCP connection.
#pragma once

#include <string>

namespace ulix::platform {

// Makes the socket send small writes at once, and close the connection when the peer has not answered for two seconds.
// The kernel asks a quiet peer for a sign of life after one second. False when the system refuses.
bool WatchPeer(int socket);

// "10.0.0.7:50412", "[::1]:4001".
std::string OwnAddress(int socket);
std::string PeerAddress(int socket);

// Whether both ends have the same address, so that the other end is a program of this machine.
bool IsOfMachine(int socket);

}  // namespace ulix::platform
