#include "links/network_comm.h"

#include <utility>

namespace ulix {
namespace {

constexpr const char* kNoSocket = "Can't instanciate Socket object";
constexpr const char* kNotSent = "Can't send Request";
constexpr const char* kClosed = "Connexion closed";
constexpr const char* kNotReceived = "Can't receive response";
constexpr const char* kTimeOut = "Reception TimeOut";

std::string NoConnection(const std::string& address, std::int32_t port) {
  return "Can't Establish connexion with following parameters:\r\nIP Address: " + address +
         "\r\nPort: " + std::to_string(port);
}

}  // namespace

CNetworkComm::CNetworkComm(std::string address, std::int32_t port, std::int32_t timeout_seconds)
    : address_(std::move(address)), port_(port), timeout_seconds_(timeout_seconds) {}

CNetworkComm::CNetworkComm(const CNetworkComm& other)
    : CNetworkComm(other.address_, other.port_, other.timeout_seconds_) {}

HRESULT CNetworkComm::Fail(HRESULT code, const char* text) {
  last_error_text_ = text;
  return code;
}

HRESULT CNetworkComm::Connect() {
  Disconnect();
  auto socket = platform::MakeStreamSocket();
  if (!socket) return Fail(networkCommErrUnableToConnect, kNoSocket);
  const auto host = platform::FindHost(address_);
  if (!host || !socket->Connect(*host, static_cast<std::uint16_t>(port_), std::nullopt)) {
    return Fail(networkCommErrUnableToConnect, NoConnection(address_, port_).c_str());
  }
  socket_ = std::move(socket);
  return S_OK;
}

// Stores a text when the wait ends without a byte.
platform::SocketWait CNetworkComm::AwaitReadable() {
  const auto wait =
      socket_ ? socket_->AwaitReadable(std::chrono::seconds(timeout_seconds_)) : platform::SocketWait::kFailed;
  if (wait == platform::SocketWait::kTimedOut) last_error_text_ = kTimeOut;
  if (wait == platform::SocketWait::kFailed) last_error_text_ = kClosed;
  return wait;
}

HRESULT CNetworkComm::Send(const char* data, std::int32_t* length) {
  if (*length < 0) return E_INVALIDARG;
  const auto wait =
      socket_ ? socket_->AwaitWritable(std::chrono::seconds(timeout_seconds_)) : platform::SocketWait::kFailed;
  if (wait == platform::SocketWait::kTimedOut) return Fail(networkCommErrUnableToWriteComm, kNotSent);
  if (wait == platform::SocketWait::kFailed) return Fail(networkCommErrConnexClosed, kClosed);
  // Deliberate: success whatever was sent. Callers compare the length with the one they asked for.
  *length = socket_->Send({data, static_cast<std::size_t>(*length)});
  return S_OK;
}

HRESULT CNetworkComm::ReceiveByte(char* byte) {
  const auto wait = AwaitReadable();
  if (wait == platform::SocketWait::kTimedOut) return networkCommErrUnableToReadComm;
  if (wait == platform::SocketWait::kFailed) return networkCommErrConnexClosed;
  const int count = socket_->Receive({byte, 1});
  if (count == 0) return Fail(networkCommErrConnexClosed, kClosed);
  return count < 0 ? Fail(networkCommErrConnexClosed, kNotReceived) : S_OK;
}

// Reads byte by byte, so that bytes after the line feed stay for the next line.
HRESULT CNetworkComm::ReceiveString(char* buffer, std::int32_t* count) {
  std::int32_t filled = 0;
  buffer[0] = '\0';
  for (char byte = '\0'; byte != '\n';) {
    if (const HRESULT result = ReceiveByte(&byte); Failed(result)) return result;
    buffer[filled++] = byte;
    buffer[filled] = '\0';
  }
  *count = filled;
  return S_OK;
}

std::int32_t CNetworkComm::Receive(char* buffer, std::int32_t length) {
  std::int32_t received = 0;
  while (received < length) {
    // Deliberate: waits twice, as published. The second wait counts.
    if (AwaitReadable() != platform::SocketWait::kReady) return received;
    if (AwaitReadable() != platform::SocketWait::kReady) return received;
    const int count = socket_->Receive({buffer + received, static_cast<std::size_t>(length - received)});
    if (count <= 0) last_error_text_ = count == 0 ? kClosed : kNotReceived;
    if (count <= 0) return received;
    received += count;
  }
  return received;
}

}  // namespace ulix
