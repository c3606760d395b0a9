#include "links/tcp_link.h"

#include <algorithm>

#include "links/network_errors.h"

namespace ulix {

using platform::SocketWait;

NetworkAddress TcpLink::address() const {
  const std::lock_guard lock(address_mutex_);
  return address_;
}

void TcpLink::SetAddress(const NetworkAddress& address) {
  const std::lock_guard lock(address_mutex_);
  address_ = address;
}

platform::OpenFailure TcpLink::open_failure() const {
  const std::lock_guard lock(address_mutex_);
  return failure_;
}

HRESULT TcpLink::Fail(platform::OpenFailure failure) {
  const std::lock_guard lock(address_mutex_);
  failure_ = std::move(failure);
  return networkCommErrUnableToConnect;
}

HRESULT TcpLink::Open() {
  if (open_) return S_OK;
  bound_ = address();
  return Connect(bound_);
}

HRESULT TcpLink::Connect(const NetworkAddress& wanted) {
  const auto host = platform::FindHost(wanted.host);
  if (!host) return Fail({.cause = platform::OpenFailureCause::kUnknownHost});
  auto socket = options_.make_socket();
  if (!socket) return Fail({});
  const bool connected = socket->Connect(*host, static_cast<std::uint16_t>(wanted.port), options_.timeout);
  if (!connected) return Fail(socket->connect_failure());
  socket_ = std::move(socket);
  filled_ = 0;
  lost_ = false;
  open_ = true;
  return S_OK;
}

HRESULT TcpLink::Close() {
  open_ = false;
  socket_.reset();
  return S_OK;
}

bool TcpLink::IsLost() {
  if (!open_ || lost_ || filled_ == buffer_.size()) return lost_;
  const int count = socket_->Receive(std::span(buffer_).subspan(filled_));
  if (count > 0) filled_ += static_cast<std::size_t>(count);
  lost_ = count == 0 || (count < 0 && !socket_->WouldWait());
  return lost_;
}

LinkCodes TcpLink::codes() const {
  return {.unopened = networkCommErrUnableToConnect,
          .closed = networkCommErrConnexClosed,
          .unwritten = networkCommErrUnableToWriteComm,
          .unread = networkCommErrUnableToReadComm,
          .lost_reading = networkCommErrConnexClosed};
}

std::span<const ErrorRow> TcpLink::errors() const { return NetworkErrorTexts(); }

void TcpLink::SaveParams(VariantWriter& writer) const {
  const NetworkAddress kept = address();
  writer.Bstr(kept.host);
  writer.Ui2(static_cast<std::uint16_t>(kept.port));
}

HRESULT TcpLink::LoadParams(VariantReader& reader) {
  const auto host = reader.Bstr();
  if (!host) return host.error();
  const auto port = reader.Ui2();
  if (!port) return port.error();
  SetAddress({*host, *port});
  return S_OK;
}

LinkOutcome TcpLink::Send(std::string_view message) {
  if (!open_) return LinkOutcome::kNotOpen;
  const MonotonicTime until = options_.clock->Now() + options_.timeout;
  std::string_view rest = message;
  while (!rest.empty()) {
    const int count = socket_->Send(rest);
    if (count > 0) rest.remove_prefix(static_cast<std::size_t>(count));
    if (rest.empty()) break;
    const auto left = std::chrono::ceil<Milliseconds>(until - options_.clock->Now());
    const bool refused = count < 0 && !socket_->WouldWait();
    const SocketWait wait = refused ? SocketWait::kFailed : socket_->AwaitWritable(std::max(left, Milliseconds(0)));
    if (wait == SocketWait::kReady) continue;
    lost_ = true;
    return wait == SocketWait::kTimedOut ? LinkOutcome::kStoppedMidway : LinkOutcome::kLinkLost;
  }
  if (options_.trace) options_.trace(TraceDirection::kSent, message);
  return LinkOutcome::kComplete;
}

LinkOutcome TcpLink::Await(std::size_t wanted, MonotonicTime until) {
  while (filled_ < wanted) {
    const auto left = std::chrono::ceil<Milliseconds>(until - options_.clock->Now());
    const SocketWait wait = socket_->AwaitReadable(std::max(left, Milliseconds(0)));
    if (wait == SocketWait::kTimedOut) return filled_ == 0 ? LinkOutcome::kNoFirstByte : LinkOutcome::kStoppedMidway;
    const int count = wait == SocketWait::kReady ? socket_->Receive(std::span(buffer_).subspan(filled_)) : -1;
    if (count == 0 || (count < 0 && !socket_->WouldWait())) {
      lost_ = true;
      return LinkOutcome::kLinkLost;
    }
    if (count > 0) filled_ += static_cast<std::size_t>(count);
  }
  return LinkOutcome::kComplete;
}

void TcpLink::Drop(std::size_t count) {
  std::copy(buffer_.begin() + static_cast<std::ptrdiff_t>(count),
            buffer_.begin() + static_cast<std::ptrdiff_t>(filled_), buffer_.begin());
  filled_ -= count;
}

void TcpLink::TraceReceived(std::string_view message) const {
  if (options_.trace) options_.trace(TraceDirection::kReceived, message);
}

}  // namespace ulix
