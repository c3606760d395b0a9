// The two ends of a TCP connection.
#pragma once

#include <string>

namespace ulix::platform {

// Sends small writes at once, and gives up a peer that has not answered for two seconds: the kernel asks a quiet peer
// for a sign of life after one second. False when the system refuses.
bool WatchPeer(int socket);

// "10.0.0.7:50412", "[::1]:4001".
std::string OwnAddress(int socket);
std::string PeerAddress(int socket);

// Whether both ends have the same address: a program of this machine is at the other one.
bool IsOfMachine(int socket);

}  // namespace ulix::platform
