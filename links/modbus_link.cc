#include "links/modbus_link.h"

#include <vector>

#include "links/network_errors.h"
#include "links/serial_errors.h"

namespace ulix {

ModbusLink::ModbusLink(Options options)
    : Link({.params = this, .serial = &line_, .network = this}),
      name_(options.name),
      slave_(std::move(options.slave)),
      line_(std::move(options.line)),
      connection_(std::move(options.network)),
      current_(&line_) {
  ResetParams();
}

Link* ModbusLink::Chosen() {
  if (on_network_) return &connection_;
  return &line_;
}

HRESULT ModbusLink::Open() {
  if (IsOpen()) return S_OK;
  current_ = bound_ = Chosen();
  return current().Open();
}

HRESULT ModbusLink::Reopen() {
  current_ = bound_;
  return current().Reopen();
}

std::span<const ErrorRow> ModbusLink::errors() const {
  static const std::vector<ErrorRow> rows = [] {
    const auto serial = SerialErrorTexts();
    const auto network = NetworkErrorTexts();
    std::vector<ErrorRow> both(serial.begin(), serial.end());
    both.insert(both.end(), network.begin(), network.end());
    return both;
  }();
  return rows;
}

LinkCodes ModbusLink::codes() const {
  LinkCodes codes = current().codes();
  codes.unopened_text = opened_on_network() ? TextId::kNoIpPort : TextId::kNoSerialPort;
  return codes;
}

void ModbusLink::AddInterruptions(int count) {
  if (count > 0) line_.InterruptReads();
  if (count < 0) line_.ResumeReads();
}

std::string ModbusLink::Info(Language) const {
  const std::string slave = "#" + std::to_string(slave_());
  if (on_network_) return std::string("Ethernet:") + name_ + '@' + connection_.address().host + slave;
  const SerialParams line = line_.params();
  return "COM " + std::to_string(line.port) + ':' + name_ + slave + " (" + std::to_string(line.baudRate) + " bds)";
}

void ModbusLink::ResetParams() {
  SetAddress(std::nullopt);
  connection_.ResetParams();
  SerialParams line;
  line.baudRate = line_.baud_rates().front();
  line_.SetParams(line);
}

void ModbusLink::SaveParams(VariantWriter& writer) const {
  writer.Ui1(on_network_ ? 1 : 0);
  line_.SaveParams(writer);
  connection_.SaveParams(writer);
}

HRESULT ModbusLink::LoadParams(VariantReader& reader) {
  const auto kind = reader.Ui1();
  if (!kind) return kind.error();
  const SerialParams before = line_.params();
  HRESULT result = line_.LoadParams(reader);
  if (Succeeded(result)) result = line_.ChooseParams(line_.params());
  if (Succeeded(result)) result = connection_.LoadParams(reader);
  if (Failed(result)) {
    line_.SetParams(before);
    return result;
  }
  SetAddress(*kind != 0 ? std::optional(connection_.address()) : std::nullopt);
  return S_OK;
}

std::optional<NetworkAddress> ModbusLink::address() const {
  return on_network_ ? std::optional(connection_.address()) : std::nullopt;
}

void ModbusLink::SetAddress(const std::optional<NetworkAddress>& address) {
  if (address) connection_.SetAddress(*address);
  on_network_ = address.has_value();
  if (!IsOpen()) current_ = Chosen();
}

}  // namespace ulix
