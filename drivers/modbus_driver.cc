#include "drivers/modbus_driver.h"

#include <algorithm>
#include <utility>
#include <vector>

#include "links/modbus_master.h"
#include "links/network_errors.h"
#include "links/serial_errors.h"

namespace ulix {

ModbusDriver::ModbusDriver(const ModelCard& card, const ModbusProfile& profile, DriverServices services)
    : Driver(card), profile_(profile), services_(std::move(services)), params_(Defaults()), client_(MakeClient()) {}

ModbusDriver::~ModbusDriver() = default;

ModbusDriver::Params ModbusDriver::Defaults() const {
  Params params;
  params.line.baudRate = profile_.baud_rates.front();
  return params;
}

ModbusDriver::Params ModbusDriver::params() const {
  const std::lock_guard lock(params_mutex_);
  return params_;
}

void ModbusDriver::SetParams(const Params& params) {
  const std::lock_guard lock(params_mutex_);
  params_ = params;
}

// A client of the remote Modbus server component would be made here.
std::unique_ptr<ModbusClient> ModbusDriver::MakeClient() const {
  const Params params = this->params();
  auto transport = params.on_network
                       ? MakeModbusTcp({params.network, services_.make_socket, services_.clock, services_.trace})
                       : MakeModbusRtu({params.line, services_.resolve_port, services_.clock, services_.trace});
  auto client =
      std::make_unique<ModbusMaster>(std::move(transport), profile_.exceptions, [this] { return interruptions_ > 0; });
  client->SetTimeout(services_.timeout_ms == 0 ? profile_.timeout : Milliseconds(services_.timeout_ms));
  return client;
}

HRESULT ModbusDriver::OpenLink() {
  const std::lock_guard exchange(exchange_mutex_);
  if (open_) return S_OK;
  client_ = MakeClient();
  client_->SetSlave(Slave());
  const HRESULT result = client_->Open();
  open_ = Succeeded(result);
  return result;
}

HRESULT ModbusDriver::Connect() {
  const std::lock_guard exchange(exchange_mutex_);
  HRESULT result = OpenLink();
  connected_ = true;
  greeted_ = false;
  if (Succeeded(result)) result = MakeReady();
  if (Failed(result)) Disconnect();
  return result;
}

HRESULT ModbusDriver::MakeReady() {
  const std::lock_guard exchange(exchange_mutex_);
  const auto restored = client_->Restore();
  if (!restored) return restored.error();
  if (*restored) greeted_ = false;
  if (!connected_ || greeted_) return S_OK;
  const HRESULT result = Greet();
  greeted_ = Succeeded(result);
  return result;
}

// A sequence of exchanges on another thread ends, and does not take the lock again and again.
void ModbusDriver::Disconnect() {
  std::optional<WaitInterruption> interruption(*this);
  const std::lock_guard exchange(exchange_mutex_);
  interruption.reset();
  client_->Close();
  open_ = connected_ = false;
}

// A request that is under way finds out by itself.
HRESULT ModbusDriver::Presence() {
  const std::unique_lock exchange(exchange_mutex_, std::try_to_lock);
  return exchange && open_ ? client_->Presence() : HRESULT{S_OK};
}

void ModbusDriver::ResetCommParams() { SetParams(Defaults()); }

void ModbusDriver::SaveCommParams(VariantWriter& writer) const {
  const Params params = this->params();
  writer.Ui1(params.on_network ? 1 : 0);
  SaveParams(writer, params.line);
  writer.Bstr(params.network.host);
  writer.Ui2(static_cast<std::uint16_t>(params.network.port));
}

HRESULT ModbusDriver::LoadCommParams(VariantReader& reader) {
  Params params = Defaults();
  const auto kind = reader.Ui1();
  if (!kind) return kind.error();
  const HRESULT line = LoadParams(reader, params.line);
  const bool rate_known = std::ranges::find(profile_.baud_rates, params.line.baudRate) != profile_.baud_rates.end();
  if (Failed(line) || !rate_known) return Failed(line) ? line : E_INVALIDARG;
  const auto host = reader.Bstr();
  const auto port = host ? reader.Ui2() : Expected<std::uint16_t>(Failure(host.error()));
  if (!port) return port.error();
  params.on_network = *kind != 0;
  params.network = {*host, *port};
  SetParams(params);
  return S_OK;
}

std::span<const ErrorRow> ModbusDriver::LinkErrors() const {
  static const std::vector<ErrorRow> rows = [] {
    const auto serial = SerialErrorTexts();
    const auto network = NetworkErrorTexts();
    std::vector<ErrorRow> both(serial.begin(), serial.end());
    both.insert(both.end(), network.begin(), network.end());
    return both;
  }();
  return rows;
}

HRESULT ModbusDriver::SetSerialParams(const SerialParams& line) {
  if (std::ranges::find(profile_.baud_rates, line.baudRate) == profile_.baud_rates.end()) return E_INVALIDARG;
  const std::lock_guard lock(params_mutex_);
  params_.line = line;
  return S_OK;
}

Expected<std::optional<NetworkAddress>> ModbusDriver::GetNetworkAddress() const {
  const Params params = this->params();
  return params.on_network ? std::optional(params.network) : std::nullopt;
}

HRESULT ModbusDriver::SetNetworkAddress(const std::optional<NetworkAddress>& network) {
  const std::lock_guard lock(params_mutex_);
  params_.on_network = network.has_value();
  if (network) params_.network = *network;
  return S_OK;
}

std::optional<TextId> ModbusDriver::Description(HRESULT code) const {
  const std::lock_guard exchange(exchange_mutex_);
  return client_->TextOf(code);
}

}  // namespace ulix
