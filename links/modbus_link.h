// The link of a Modbus instrument. It is a serial line or a TCP connection: the one that is set when it is opened.
#pragma once

#include <atomic>
#include <functional>

#include "links/serial_link.h"
#include "links/tcp_link.h"

namespace ulix {

// It owns a link of each kind. The operations of Link go to the one that is open or was open last. Errors, timeouts and
// threads are those of that link.
class ModbusLink final : public Link, public LinkParams, public NetworkSetting {
 public:
  struct Options {
    const char* name;                     // of the instrument, as Info shows it
    std::function<std::uint8_t()> slave;  // the slave address that the settings have at present
    SerialLink::Options line;             // the first of its baud rates is the default
    TcpLink::Options network;
  };
  explicit ModbusLink(Options options);

  // The link of each kind, open or not.
  SerialLink& line() { return line_; }
  TcpLink& connection() { return connection_; }
  // Whether the link that is open, or was open last, is the TCP connection.
  bool opened_on_network() const { return current_ == &connection_; }

  HRESULT Open() override;
  HRESULT Reopen() override;
  HRESULT Close() override { return current().Close(); }
  bool IsOpen() const override { return current().IsOpen(); }
  bool IsLost() override { return current().IsLost(); }
  bool DeviceIsThere() override { return current().DeviceIsThere(); }
  Milliseconds read_timeout() const override { return current().read_timeout(); }
  HRESULT ApplyTimeouts(std::uint32_t read_ms, std::uint32_t write_ms) override {
    return current().ApplyTimeouts(read_ms, write_ms);
  }
  Milliseconds TimeLeftOnWire() override { return current().TimeLeftOnWire(); }
  platform::OpenFailure open_failure() const override { return current().open_failure(); }
  LinkCodes codes() const override;
  std::span<const ErrorRow> errors() const override;
  // "Ethernet:MEMOLOG@10.0.0.7#1" or "COM 5:MEMOLOG#1 (9600 bds)".
  std::string Info(Language language) const override;
  void ResetParams() override;
  // Kind of link (0 serial, 1 network), the values of the serial line, host, port. Loading takes all values or none.
  // E_INVALIDARG also for a baud rate that users cannot choose.
  void SaveParams(VariantWriter& writer) const override;
  HRESULT LoadParams(VariantReader& reader) override;

  // The network address; none while the link is set to the serial line.
  std::optional<NetworkAddress> address() const override;
  // An address sets the link to the network, none to the serial line, from the next Open on.
  void SetAddress(const std::optional<NetworkAddress>& address) override;

 private:
  // Interrupts the serial line only: a request on a network ends by itself within its timeout.
  void AddInterruptions(int count) override;
  Link& current() const { return *current_.load(); }
  Link* Chosen();

  const char* name_;
  std::function<std::uint8_t()> slave_;
  SerialLink line_;
  TcpLink connection_;
  std::atomic<bool> on_network_ = false;
  std::atomic<Link*> current_;
  Link* bound_ = &line_;  // of the last Open
};

}  // namespace ulix
