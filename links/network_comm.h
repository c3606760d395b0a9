// A TCP connection to an instrument that is sent blocks of bytes and answers with lines.
#pragma once

#include <cstdint>
#include <memory>
#include <string>

#include "base/result.h"
#include "platform/socket.h"

namespace ulix {

// Threads: there is no lock; the owner lets one thread at a time use a connection.
//
// Errors: the networkCommErr codes. Each failure stores an English text in lastErrorText(), except E_INVALIDARG and a
// partial send. After a failed Send or ReceiveString the connection stays; the owner disconnects and connects again.
class CNetworkComm {
 public:
  // `address` is a dotted number or a host name. `port` is a TCP port, of which the low 16 bits count. Each wait for
  // the peer lasts at most `timeout_seconds`; with a negative value every wait fails as if the connection were closed.
  CNetworkComm(std::string address, std::int32_t port, std::int32_t timeout_seconds);
  // Copies the settings; the copy is not connected.
  CNetworkComm(const CNetworkComm& other);
  CNetworkComm& operator=(const CNetworkComm&) = delete;

  // Connects, after closing an earlier connection. networkCommErrUnableToConnect on failure. The system's own limit
  // bounds the attempt.
  HRESULT Connect();
  void Disconnect() { socket_.reset(); }
  bool IsConnected() const { return socket_ != nullptr; }

  // Passes `*length` bytes to the system in one send, and stores in `*length` how many it accepted. A failed send
  // stores -1. The result is S_OK in both cases, so the caller compares the length. E_INVALIDARG for a negative length;
  // networkCommErrUnableToWriteComm when the peer accepts nothing within the timeout; networkCommErrConnexClosed
  // without a connection.
  HRESULT Send(const char* data, std::int32_t* length);
  // Receives one line with its line feed, and stores a zero after it. `*count` is the number of bytes without the zero.
  // `buffer` must hold the longest line that the instrument sends, and the zero. The timeout bounds the wait for each
  // byte. On failure the buffer holds the bytes that came, and `*count` is unchanged: networkCommErrUnableToReadComm
  // after the timeout, networkCommErrConnexClosed when the peer has closed the connection.
  HRESULT ReceiveString(char* buffer, std::int32_t* count);
  // Receives up to `length` bytes. Returns how many came before the timeout or the end of the connection.
  std::int32_t Receive(char* buffer, std::int32_t length);

  // The text of the last failure; empty before the first one.
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
