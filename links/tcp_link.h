// The link over a TCP connection, for instruments that exchange messages of bytes.
#pragma once

#include <array>
#include <atomic>
#include <memory>
#include <span>
#include <string_view>

#include "links/link.h"
#include "links/link_trace.h"
#include "platform/mutex.h"
#include "platform/socket.h"

namespace ulix {

// Errors: the networkCommErr codes. Threads: as for Link; Send, Await, Drop, DropAll and GiveUp are called within an
// exchange. Received bytes stay in a buffer until the exchange drops them, so a message may come in several pieces.
class TcpLink final : public Link, public LinkParams {
 public:
  struct Options {
    platform::SocketMaker make_socket = platform::MakeStreamSocket;
    Clock* clock = &SystemClock();
    LinkTrace trace;
    Milliseconds timeout{1000};  // of a connection attempt, and of each request
  };
  explicit TcpLink(Options options) : Link({.params = this}), options_(std::move(options)) {}

  // Host and TCP port. A change applies at the next open.
  NetworkAddress address() const;
  void SetAddress(const NetworkAddress& address);

  HRESULT Open() override;
  // Connects to the address of the last Open, whatever address is set now.
  HRESULT Reopen() override { return Connect(bound_); }
  HRESULT Close() override;
  bool IsOpen() const override { return open_; }
  // Moves received bytes into the buffer, without a wait, and so notices when the peer has closed the connection.
  bool IsLost() override;
  // Always true: only an exchange shows whether a device on a network is there.
  bool DeviceIsThere() override { return true; }
  Milliseconds read_timeout() const override { return options_.timeout; }
  LinkCodes codes() const override;
  platform::OpenFailure open_failure() const override;
  std::span<const ErrorRow> errors() const override;
  std::string Info(Language) const override { return address().host; }
  void ResetParams() override { SetAddress({}); }
  // Two values: host, port. A load that fails keeps the old address.
  void SaveParams(VariantWriter& writer) const override;
  HRESULT LoadParams(VariantReader& reader) override;

  // Sends the whole message within the timeout of a request. kStoppedMidway or kLinkLost mark the connection as lost.
  LinkOutcome Send(std::string_view message);
  // Waits until received() has at least `wanted` bytes, which must fit into the buffer. kNoFirstByte or kStoppedMidway
  // when `until` comes first. The link must be open.
  LinkOutcome Await(std::size_t wanted, MonotonicTime until);
  // The received bytes that were not dropped yet. Valid until the next call of Await, IsLost, Drop or DropAll.
  std::string_view received() const { return {buffer_.data(), filled_}; }
  // Removes the first `count` bytes, or all of them, from the buffer.
  void Drop(std::size_t count);
  void DropAll() { filled_ = 0; }
  // Marks the connection as lost because its bytes cannot be understood any more: the rest of a broken message may
  // still come.
  void GiveUp() { lost_ = true; }
  // Passes a received message to the trace.
  void TraceReceived(std::string_view message) const;

 private:
  HRESULT Connect(const NetworkAddress& wanted);
  HRESULT Fail(platform::OpenFailure failure);

  Options options_;
  mutable platform::Mutex address_mutex_;
  NetworkAddress address_;         // guarded by address_mutex_
  platform::OpenFailure failure_;  // of the last opening; guarded by address_mutex_
  NetworkAddress bound_;           // of the last Open
  std::unique_ptr<platform::StreamSocket> socket_;
  std::atomic<bool> open_ = false;
  bool lost_ = false;
  std::array<char, 1024> buffer_;  // holds several messages, so that it never stays full
  std::size_t filled_ = 0;
};

}  // namespace ulix
