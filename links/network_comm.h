// The shared TCP client link of instruments on Ethernet: blocks of bytes out, lines back.
#pragma once

#include <cstdint>
#include <memory>
#include <string>

#include "base/result.h"
#include "platform/socket.h"

namespace ulix {

// Threads: it has no lock; the owner lets one thread at a time use it. Errors: the networkCommErr codes; each failure
// but a partial send stores a text for the owner's error report. After a failed Send or ReceiveString the link stays
// connected: the owner disconnects and connects again.
class CNetworkComm {
 public:
  // `address`: a dotted number or a host name. `port`: a TCP port; only its low 16 bits count. Each wait for the peer
  // lasts `timeout_seconds` at most; with a negative value every wait fails.
  CNetworkComm(std::string address, std::int32_t port, std::int32_t timeout_seconds);
  // Copies the settings; the copy is not connected.
  CNetworkComm(const CNetworkComm& other);
  CNetworkComm& operator=(const CNetworkComm&) = delete;

  // Closes a previous connection first. networkCommErrUnableToConnect; how long an attempt may take is the system's own
  // limit.
  HRESULT Connect();
  void Disconnect() { socket_.reset(); }
  bool IsConnected() const { return socket_ != nullptr; }

  // Makes one send of `*length` bytes and stores in `*length` how many were sent, -1 if the system's send failed: S_OK
  // in both cases, so callers compare. E_INVALIDARG for a negative length, which sends nothing;
  // networkCommErrUnableToWriteComm after the timeout; networkCommErrConnexClosed without a connection.
  HRESULT Send(const char* data, std::int32_t* length);
  // Receives one line with its line feed and stores a zero behind it; `*count` is the number of bytes without that
  // zero. `buffer` must be large enough for the longest line that the instrument sends. The timeout bounds the wait
  // before each byte. After a failure the buffer has what came, and `*count` is unchanged:
  // networkCommErrUnableToReadComm after the timeout, networkCommErrConnexClosed when the peer has left.
  HRESULT ReceiveString(char* buffer, std::int32_t* count);
  // Receives up to `length` bytes; returns how many came before the timeout or the end of the connection.
  std::int32_t Receive(char* buffer, std::int32_t length);

  const std::string& lastErrorText() const { return last_error_text_; }

 private:
  platform::SocketWait AwaitReadable();
  HRESULT Fail(HRESULT code, const char* text);
  HRESULT ReceiveByte(char* byte);

  std::string address_;
  std::int32_t port_;
  std::int32_t timeout_seconds_;
  std::unique_ptr<platform::StreamSocket> socket_;  // null: not connected
  std::string last_error_text_;
};

}  // namespace ulix
