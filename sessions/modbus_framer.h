// Framers of Modbus: on a serial line ("RTU") and on a network ("Modbus TCP"). Messages are requests and replies
// without slave address and checksum (links/modbus_frames.h).
#pragma once

#include <array>
#include <functional>

#include "links/modbus_frames.h"
#include "links/modbus_link.h"
#include "sessions/framer.h"

namespace ulix {

// On a serial line a reply does not carry a number. It repeats the function of its request, and the count of a read or
// the address and value of a write; by these the session tells kinds of replies apart. After a failed exchange the line
// must be silent before the next request. A frame with a wrong checksum or of another slave is kDamaged.
class RtuFramer final : public Framer {
 public:
  // `slave` gives the slave address; it is called when the link is opened. `sync_register` is the first of eight
  // registers that can be read at any time.
  RtuFramer(SerialLink& link, Clock& clock, std::function<std::uint8_t()> slave, std::uint16_t sync_register);

  void Reset() override;
  // Waits until the line has been silent for 3.5 characters (1.75 ms above 19200 bits per second), then sends the
  // frame.
  LinkOutcome Send(std::string_view request) override;
  // Receives one frame. Its size follows from its function and count. Its first five bytes must come within the read
  // timeout plus their time on the line, and the rest within another read timeout plus its time on the line.
  Reply Receive(const ReplyPlan& plan) override;
  Reply ReceiveAny(const ReplyPlan& plan) override { return Receive(plan); }
  LinkOutcome Discard() override { return link_.DiscardInput(); }
  bool DiscardWithin(Milliseconds time) override;
  bool NeedsSilence() const override { return true; }
  bool HasForms() const override { return true; }
  // The kind of a reply consists of its function and, for a read, its count, or for a write, a checksum of the echoed
  // bytes.
  std::optional<ReplyKind> KindOfQuery(std::string_view request) const override;
  std::optional<ReplyKind> KindOfReply(std::string_view reply) const override;
  // An exception frame refuses every request of its function.
  bool Refuses(ReplyKind came, ReplyKind kind) const override;
  // Reads of 3 to 8 sync registers. Their replies differ in length.
  std::vector<SyncCandidate> SyncQueries() const override;
  // A request in hexadecimal, without slave address and checksum. Only functions whose replies have a known form are
  // accepted.
  std::optional<std::string> MessageOf(std::string_view typed) const override;

 private:
  Reply ReceiveFrame(Milliseconds timeout);
  std::chrono::microseconds TimeOf(std::size_t characters) const;

  SerialLink& link_;
  Clock& clock_;
  const std::function<std::uint8_t()> slave_of_;
  const std::uint16_t sync_register_;
  std::uint8_t slave_ = 1;  // as of the last Reset
  std::uint32_t rate_ = 9600;
  MonotonicTime quiet_since_{};  // end of the last frame, sent or received
  std::array<char, 256> buffer_;
};

// On a network each reply carries the number of its request. A late reply to an earlier request is dropped. After bytes
// that are not a Modbus frame, or half a frame, the connection is marked as lost.
class ModbusTcpFramer final : public Framer {
 public:
  // `slave` gives the unit id of the requests. Link and clock must outlive the framer.
  ModbusTcpFramer(TcpLink& link, Clock& clock, std::function<std::uint8_t()> slave)
      : link_(link), clock_(clock), slave_of_(std::move(slave)) {}

  // Gets the unit id, once for each connection.
  void Reset() override { slave_ = slave_of_(); }
  // Sends the request under the next number.
  LinkOutcome Send(std::string_view request) override;
  // Receives the reply with the number of the last request. If that reply has another unit id, it is kDamaged.
  Reply Receive(const ReplyPlan& plan) override;
  Reply ReceiveAny(const ReplyPlan& plan) override { return Receive(plan); }
  LinkOutcome Discard() override;
  // Does nothing: on a network the numbers tell old replies from new ones.
  bool DiscardWithin(Milliseconds) override { return false; }
  bool NamesItsQuery() const override { return true; }
  std::optional<std::string> MessageOf(std::string_view typed) const override { return modbus::RequestIn(typed); }

 private:
  TcpLink& link_;
  Clock& clock_;
  const std::function<std::uint8_t()> slave_of_;
  std::uint8_t slave_ = 1;  // as of the last Reset
  std::uint16_t transaction_ = 0;
};

// The framer of a ModbusLink. Each member calls the same member of the framer that fits the link which is open or was
// open last: RtuFramer on a serial line, ModbusTcpFramer on a network.
class ModbusFramer final : public Framer {
 public:
  // The arguments are those of RtuFramer and ModbusTcpFramer.
  ModbusFramer(ModbusLink& link, Clock& clock, const std::function<std::uint8_t()>& slave, std::uint16_t sync_register)
      : link_(link), rtu_(link.line(), clock, slave, sync_register), tcp_(link.connection(), clock, slave) {}

  void Reset() override { current().Reset(); }
  LinkOutcome Send(std::string_view request) override { return current().Send(request); }
  Reply Receive(const ReplyPlan& plan) override { return current().Receive(plan); }
  Reply ReceiveAny(const ReplyPlan& plan) override { return current().ReceiveAny(plan); }
  LinkOutcome Discard() override { return current().Discard(); }
  bool DiscardWithin(Milliseconds time) override { return current().DiscardWithin(time); }
  bool NamesItsQuery() const override { return current().NamesItsQuery(); }
  bool NeedsSilence() const override { return current().NeedsSilence(); }
  bool HasForms() const override { return current().HasForms(); }
  std::optional<ReplyKind> KindOfQuery(std::string_view request) const override {
    return current().KindOfQuery(request);
  }
  std::optional<ReplyKind> KindOfReply(std::string_view reply) const override { return current().KindOfReply(reply); }
  bool Refuses(ReplyKind came, ReplyKind kind) const override { return current().Refuses(came, kind); }
  std::vector<SyncCandidate> SyncQueries() const override { return current().SyncQueries(); }
  std::optional<std::string> MessageOf(std::string_view typed) const override { return current().MessageOf(typed); }
  std::string TextOf(std::string_view reply) const override { return modbus::HexText(reply); }

 private:
  // For the link that is open, or was open last.
  Framer& current() {
    if (link_.opened_on_network()) return tcp_;
    return rtu_;
  }
  const Framer& current() const { return const_cast<ModbusFramer*>(this)->current(); }

  ModbusLink& link_;
  RtuFramer rtu_;
  ModbusTcpFramer tcp_;
};

}  // namespace ulix
