// The link of a Modbus instrument: a serial line or a TCP connection, whichever is set when the link is opened.
#pragma once

#include <atomic>
#include <functional>

#include "links/serial_link.h"
#include "links/tcp_link.h"

namespace ulix {

// A Modbus link owns a serial link and a TCP link. Its operations go to the one of the two that is open or was open
// last. Errors, timeouts and threads are those of that one.
class ModbusLink final : public Link, public LinkParams, public NetworkSetting {
 public:
  struct Options {
    const char* name;                     // of the instrument, shown by Info; must outlive the link
    std::function<std::uint8_t()> slave;  // gives the slave address in the present settings; called on any thread
    SerialLink::Options line;             // the first of the baud rates is the default
    TcpLink::Options network;
  };
  explicit ModbusLink(Options options);

  // The two links, open or not.
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
  // Values: kind of link (0 serial, 1 network), those of the serial line, host, port. A load that fails keeps the old
  // settings. E_INVALIDARG also for a baud rate that users cannot choose.
  void SaveParams(VariantWriter& writer) const override;
  HRESULT LoadParams(VariantReader& reader) override;

  // The network address; none while the link is set to the serial line.
  std::optional<NetworkAddress> address() const override;
  // Selects the connection of the next Open: the TCP connection with an address, the serial line with none.
  void SetAddress(const std::optional<NetworkAddress>& address) override;

 private:
  // Interrupts reads of the serial line only. A request on a network ends within its timeout.
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
