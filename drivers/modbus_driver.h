// What every Modbus instrument shares: the way to it, over a line or over Ethernet, and that way's settings.
#pragma once

#include <atomic>
#include <memory>
#include <string>
#include <type_traits>

#include "drivers/driver.h"
#include "links/modbus_client.h"

namespace ulix {

struct ModbusProfile {
  ModbusRefusalCodes exceptions;
  std::span<const std::uint32_t> baud_rates;  // that its line has; the first one is the default
  Milliseconds timeout{1000};                 // of one request
};

// A way that was lost is opened again at the start of the next exchange, which says the words of the connection first
// when the instrument had been connected to: another one may be there by now. Each exchange tries that once.
class ModbusDriver : public Driver {
 public:
  ModbusDriver(const ModelCard& card, const ModbusProfile& profile, DriverServices services);
  ~ModbusDriver() override;

  HRESULT OpenLink() override;
  bool LinkIsOpen() const override { return open_; }
  HRESULT Presence() override;
  // The request that is under way comes to its end; no further one is made.
  void InterruptWaits() override { ++interruptions_; }
  void ResumeWaits() override { --interruptions_; }
  HRESULT Connect() override;
  void Disconnect() override;

  void ResetCommParams() override;
  // Kind of link (0 serial, 1 Ethernet), the serial line's values, host, port.
  void SaveCommParams(VariantWriter& writer) const override;
  HRESULT LoadCommParams(VariantReader& reader) override;
  std::span<const ErrorRow> LinkErrors() const override;
  Expected<SerialParams> GetSerialParams() const override { return params().line; }
  // E_INVALIDARG for a rate that the model's line has not.
  HRESULT SetSerialParams(const SerialParams& line) override;
  std::span<const std::uint32_t> BaudRates() const override { return profile_.baud_rates; }
  Expected<std::optional<NetworkAddress>> GetNetworkAddress() const override;
  HRESULT SetNetworkAddress(const std::optional<NetworkAddress>& network) override;
  std::optional<TextId> Description(HRESULT code) const override;

 protected:
  struct Params {
    bool on_network = false;
    SerialParams line;
    NetworkAddress network;
  };
  // The words said on a way that was just opened, with the exchange lock held; not by Exchange, which says them. A
  // failure fails the exchange, and closes the link again at a connection.
  virtual HRESULT Greet() = 0;
  // The slave's address, at the moment the link is opened.
  virtual std::uint8_t Slave() const = 0;

  // What `body` makes of the client, with the lock held and the way and the instrument there.
  template <typename Body>
  auto Exchange(Body&& body) {
    using Result = std::invoke_result_t<Body, ModbusClient&>;
    const std::lock_guard exchange(exchange_mutex_);
    const HRESULT ready = MakeReady();
    if constexpr (std::is_same_v<Result, HRESULT>) {
      return Failed(ready) ? ready : body(*client_);
    } else {
      return Failed(ready) ? Result(Failure(ready)) : body(*client_);
    }
  }
  // Brings back a way that was lost. Every exchange begins so.
  HRESULT MakeReady();

  Params params() const;
  // With the exchange lock held. Closed before OpenLink and after Disconnect.
  ModbusClient& client() { return *client_; }
  DriverServices& services() { return services_; }

 private:
  std::unique_ptr<ModbusClient> MakeClient() const;
  Params Defaults() const;
  void SetParams(const Params& params);

  ModbusProfile profile_;
  DriverServices services_;
  mutable std::mutex params_mutex_;
  Params params_;                         // guarded by params_mutex_
  std::unique_ptr<ModbusClient> client_;  // guarded by exchange_mutex_, and so are the next two
  bool connected_ = false;                // as the host left it
  bool greeted_ = false;                  // on the way as it is open now
  std::atomic<bool> open_ = false;
  std::atomic<int> interruptions_ = 0;
};

}  // namespace ulix
