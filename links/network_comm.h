// The shared TCP client link of instruments on Ethernet: blocks of bytes out, lines back.
#pragma once

#include <cstdint>
#include <memory>
#include <string>

#include "base/result.h"
#include "platform/socket.h"

namespace ulix {

// No lock of its own: each owner serialises its use. Failures are the networkCommErr codes; each but a partial send
// leaves a text for the owner's error report. The link stays connected after a failed Send or ReceiveString; the owner
// disconnects and connects again.
class CNetworkComm {
 public:
  // `address`: a dotted number or a host name. Of `port` the low 16 bits count. Each wait for the peer is bounded by
  // `timeout_seconds`; a negative one makes every wait fail.
  CNetworkComm(std::string address, std::int32_t port, std::int32_t timeout_seconds);
  // The settings only: the copy is not connected.
  CNetworkComm(const CNetworkComm& other);
  CNetworkComm& operator=(const CNetworkComm&) = delete;

  // Drops a previous connection first. The time for a connection is the system's own. networkCommErrUnableToConnect.
  HRESULT Connect();
  void Disconnect() { socket_.reset(); }
  bool IsConnected() const { return socket_ != nullptr; }

  // One send of `*length` bytes. A partial one is S_OK with `*length` overwritten by what was sent (-1 for a send that
  // failed): callers compare. E_INVALIDARG for a negative length; networkCommErrUnableToWriteComm after the timeout,
  // networkCommErrConnexClosed.
  HRESULT Send(const char* data, std::int32_t* length);
  // One line with its line feed, and a zero behind it; `*count` is the bytes without that zero. `buffer` must hold the
  // longest line that the instrument sends. The timeout bounds the gap before each byte. On a failure the partial text
  // stays in the buffer and `*count` as it was: networkCommErrUnableToReadComm after the timeout,
  // networkCommErrConnexClosed.
  HRESULT ReceiveString(char* buffer, std::int32_t* count);
  // Up to `length` bytes; how many came before the timeout or the end.
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
