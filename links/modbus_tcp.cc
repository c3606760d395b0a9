#include <array>
#include <chrono>
#include <utility>

#include "links/modbus_frames.h"
#include "links/modbus_transport.h"
#include "platform/socket.h"

namespace ulix {
namespace {

using modbus::kNetworkHead;
using platform::SocketWait;

class ModbusTcp final : public ModbusTransport {
 public:
  explicit ModbusTcp(ModbusNetwork network) : network_(std::move(network)) {}

  HRESULT Open(Milliseconds timeout) override {
    if (socket_) return S_OK;
    const auto host = platform::FindHost(network_.address.host);
    auto socket = host ? network_.make_socket() : nullptr;
    if (!socket || !socket->Connect(*host, static_cast<std::uint16_t>(network_.address.port), timeout)) {
      return networkCommErrUnableToConnect;
    }
    socket_ = std::move(socket);
    filled_ = 0;
    return S_OK;
  }
  void Close() override { socket_.reset(); }
  bool IsOpen() const override { return socket_ != nullptr; }
  Expected<bool> Restore(Milliseconds timeout) override {
    if (StillThere()) return false;
    const bool given_up = !socket_ && std::exchange(given_up_, false);
    Close();
    const HRESULT result = Open(timeout);
    return Failed(result) ? Failure(result) : Expected<bool>(!given_up);
  }
  bool IsThere() override { return true; }
  void Distrust() override {}  // transactions tell replies apart
  HRESULT NoAnswer() const override { return networkCommErrUnableToReadComm; }
  HRESULT Closed() const override { return networkCommErrConnexClosed; }

  Expected<std::string_view> Exchange(std::uint8_t slave, std::string_view pdu, Milliseconds timeout) override {
    if (!StillThere()) return Failure(socket_ ? Lost(Closed()) : Closed());
    end_ = network_.clock->Now() + timeout;
    const std::string request = modbus::NetworkFrame(++transaction_, slave, pdu);
    if (const HRESULT result = Send(request); Failed(result)) return Failure(result);
    return Await(slave);
  }

 private:
  // Takes what came unasked; false when the peer has left.
  bool StillThere() {
    if (!socket_) return false;
    if (filled_ == buffer_.size()) return true;
    const int count = socket_->Receive(std::span(buffer_).subspan(filled_));
    if (count > 0) filled_ += static_cast<std::size_t>(count);
    return count > 0 || (count < 0 && socket_->WouldWait());
  }

  Milliseconds Left() const {
    const auto left = std::chrono::ceil<Milliseconds>(end_ - network_.clock->Now());
    return std::max(left, Milliseconds(0));
  }

  // A connection that can no longer be trusted is given up: half a frame may be under way.
  HRESULT Lost(HRESULT code) {
    Close();
    given_up_ = code != Closed();
    return code;
  }

  HRESULT Send(std::string_view frame) {
    if (network_.trace) network_.trace(TraceDirection::kSent, frame);
    while (!frame.empty()) {
      const int count = socket_->Send(frame);
      if (count < 0 && !socket_->WouldWait()) return Lost(networkCommErrConnexClosed);
      if (count > 0) frame.remove_prefix(static_cast<std::size_t>(count));
      if (frame.empty()) return S_OK;
      const SocketWait wait = socket_->AwaitWritable(Left());
      if (wait == SocketWait::kTimedOut) return Lost(networkCommErrUnableToWriteComm);
      if (wait == SocketWait::kFailed) return Lost(networkCommErrConnexClosed);
    }
    return S_OK;
  }

  // A reply that has not begun is dropped by its transaction when it comes; the rest of one that has would not be.
  HRESULT TooLate() { return filled_ == 0 ? HRESULT{networkCommErrUnableToReadComm} : Lost(NoAnswer()); }

  // The frame of this transaction. Those of earlier ones, which came late, are dropped, but do not extend the wait.
  Expected<std::string_view> Await(std::uint8_t slave) {
    for (std::size_t length = 0;; Drop(length)) {
      if (length != 0 && Left() == Milliseconds(0)) return Failure(TooLate());
      if (const HRESULT result = Fill(kNetworkHead); Failed(result)) return Failure(result);
      length = modbus::NetworkFrameLength(Received());
      if (length == 0) return Failure(Lost(networkCommErrUnableToReadComm));
      if (const HRESULT result = Fill(length); Failed(result)) return Failure(result);
      const std::string_view frame = Received().substr(0, length);
      if (network_.trace) network_.trace(TraceDirection::kReceived, frame);
      const bool ours = modbus::WordAt(frame, 0) == transaction_ && frame[kNetworkHead - 1] == static_cast<char>(slave);
      if (!ours) continue;
      reply_.assign(frame.substr(kNetworkHead));
      Drop(length);
      return reply_;
    }
  }

  std::string_view Received() const { return {buffer_.data(), filled_}; }

  void Drop(std::size_t count) {
    std::copy(buffer_.begin() + static_cast<std::ptrdiff_t>(count),
              buffer_.begin() + static_cast<std::ptrdiff_t>(filled_), buffer_.begin());
    filled_ -= count;
  }

  // Until at least `wanted` bytes are there.
  HRESULT Fill(std::size_t wanted) {
    while (filled_ < wanted) {
      const SocketWait wait = socket_->AwaitReadable(Left());
      if (wait == SocketWait::kTimedOut) return TooLate();
      const int count = wait == SocketWait::kReady ? socket_->Receive(std::span(buffer_).subspan(filled_)) : -1;
      if (count == 0 || (count < 0 && !socket_->WouldWait())) return Lost(networkCommErrConnexClosed);
      if (count > 0) filled_ += static_cast<std::size_t>(count);
    }
    return S_OK;
  }

  ModbusNetwork network_;
  std::unique_ptr<platform::StreamSocket> socket_;
  bool given_up_ = false;  // the last connection, while the peer was there
  std::uint16_t transaction_ = 0;
  MonotonicTime end_;              // of the exchange under way
  std::array<char, 1024> buffer_;  // several frames at most, so that it never stays full
  std::size_t filled_ = 0;
  std::string reply_;
};

}  // namespace

std::unique_ptr<ModbusTransport> MakeModbusTcp(ModbusNetwork network) {
  return std::make_unique<ModbusTcp>(std::move(network));
}

}  // namespace ulix
