// A connection to an instrument on a network, by which bytes come and go in their order.
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

// Failures are the networkCommErr codes.
class TcpLink final : public Link, public LinkParams {
 public:
  struct Options {
    platform::SocketMaker make_socket = platform::MakeStreamSocket;
    Clock* clock = &SystemClock();
    LinkTrace trace;
    Milliseconds timeout{1000};  // of a connection, and of one request
  };
  explicit TcpLink(Options options) : Link({.params = this}), options_(std::move(options)) {}

  // Taken at the next open.
  NetworkAddress address() const;
  void SetAddress(const NetworkAddress& address);

  HRESULT Open() override;
  HRESULT Close() override;
  bool IsOpen() const override { return open_; }
  // Takes what has come, and finds out so whether the peer has left.
  bool IsLost() override;
  bool WasGivenUp() const override { return given_up_; }
  // On a network only an exchange tells.
  bool DeviceIsThere() override { return true; }
  Milliseconds read_timeout() const override { return options_.timeout; }
  LinkCodes codes() const override;
  platform::OpenFailure open_failure() const override;
  std::span<const ErrorRow> errors() const override;
  std::string Info(Language) const override { return address().host; }
  void ResetParams() override { SetAddress({}); }
  // Host, port.
  void SaveParams(VariantWriter& writer) const override;
  HRESULT LoadParams(VariantReader& reader) override;

  // The whole message, in one request's time.
  LinkOutcome Send(std::string_view message);
  // Waits until at least so many bytes are there that were not dropped.
  LinkOutcome Await(std::size_t wanted, MonotonicTime until);
  std::string_view received() const { return {buffer_.data(), filled_}; }
  void Drop(std::size_t count);
  void DropAll() { filled_ = 0; }
  // What passes on it makes no sense any more: half a message may be under way.
  void GiveUp() { lost_ = given_up_ = true; }
  void TraceReceived(std::string_view message) const;

 private:
  HRESULT Fail(platform::OpenFailure failure);

  Options options_;
  mutable platform::Mutex address_mutex_;
  NetworkAddress address_;         // guarded by address_mutex_
  platform::OpenFailure failure_;  // of the last opening; guarded by address_mutex_
  std::unique_ptr<platform::StreamSocket> socket_;
  std::atomic<bool> open_ = false;
  bool lost_ = false;
  bool given_up_ = false;
  std::array<char, 1024> buffer_;  // several messages at most, so that it never stays full
  std::size_t filled_ = 0;
};

}  // namespace ulix
