// The library's own Modbus master.
#pragma once

#include <functional>
#include <memory>

#include "links/modbus_client.h"
#include "links/modbus_transport.h"

namespace ulix {

class ModbusMaster final : public ModbusClient {
 public:
  // While `given_up` says so nothing is sent, and every request is at once without an answer. Asked at each.
  using GivenUp = std::function<bool()>;
  ModbusMaster(
      std::unique_ptr<ModbusTransport> transport, ModbusRefusalCodes exceptions,
      GivenUp given_up = [] { return false; })
      : transport_(std::move(transport)), exceptions_(exceptions), given_up_(std::move(given_up)) {}

  void SetSlave(std::uint8_t slave) override { slave_ = slave; }
  void SetTimeout(Milliseconds timeout) override { timeout_ = timeout; }
  Milliseconds timeout() const override { return timeout_; }
  HRESULT Open() override;
  void Close() override;
  bool IsOpen() const override { return open_; }
  Expected<bool> Restore() override;
  HRESULT Presence() override { return transport_->IsThere() ? HRESULT{S_OK} : transport_->Closed(); }
  HRESULT ReadHolding(std::uint16_t address, std::span<std::uint16_t> registers) override;
  HRESULT WriteMultiple(std::uint16_t address, std::span<const std::uint16_t> registers) override;
  Expected<std::uint16_t> ReadOne(std::uint16_t address) override;
  HRESULT WriteOne(std::uint16_t address, std::uint16_t value) override;
  HRESULT NoAnswer() const override { return transport_->NoAnswer(); }
  HRESULT Closed() const override { return transport_->Closed(); }
  std::optional<TextId> TextOf(HRESULT code) const override;

 private:
  Expected<std::string_view> Ask(std::string_view request);
  HRESULT Write(std::string_view request);
  HRESULT Misunderstood();

  std::unique_ptr<ModbusTransport> transport_;
  ModbusRefusalCodes exceptions_;
  GivenUp given_up_;
  std::uint8_t slave_ = 1;
  Milliseconds timeout_{1000};
  bool open_ = false;  // between Open and Close, whatever becomes of the connection meanwhile
};

}  // namespace ulix
