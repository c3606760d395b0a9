#include "simulators/in_process_usb.h"

#include <algorithm>
#include <string_view>
#include <utility>

namespace ulix {
namespace {

constexpr std::uint32_t kUsbOutput = 2;

bool Matches(const UsbIdentity& wanted, const UsbIdentity& is) {
  const bool same_vendor = wanted.vendor == 0 || wanted.vendor == is.vendor;
  return same_vendor && (wanted.product == 0 || wanted.product == is.product);
}

class SimulatedUsbLibrary final : public UsbLibrary {
 public:
  SimulatedUsbLibrary(UsbLineOpener open, Clock& clock) : open_(std::move(open)), clock_(clock) {}

  HRESULT GetInterfaceGuid(UsbDevice& device) override;
  HRESULT Connect(UsbDevice& device) override;
  HRESULT Write(UsbDevice& device, const char* text, std::uint32_t& count) override;
  HRESULT Read(UsbDevice& device, char* buffer, std::uint32_t& size) override;
  HRESULT SetTimeout(UsbDevice& device, std::uint32_t directions, std::uint32_t milliseconds) override;
  HRESULT Flush(UsbDevice& device) override;
  HRESULT Disconnect(UsbDevice& device) override;

 private:
  // Reads the next byte. False if none comes before the deadline.
  bool ReadByte(char& byte, Deadline deadline);

  UsbLineOpener open_;
  Clock& clock_;
  std::unique_ptr<platform::SerialPort> port_;  // Null while closed.
  platform::SerialTimeouts timeouts_{5000, 5000};
};

// Fails for a device that has vanished.
HRESULT SimulatedUsbLibrary::GetInterfaceGuid(UsbDevice& device) {
  if (!port_ && !open_()) return E_FAIL;
  if (!Matches(device.identity, kSimulatedUsbIdentity)) return kUsbBadIdentifier;
  device.identity = kSimulatedUsbIdentity;
  return S_OK;
}

HRESULT SimulatedUsbLibrary::Connect(UsbDevice& device) {
  const bool same =
      device.identity.guid == kSimulatedUsbIdentity.guid && Matches(device.identity, kSimulatedUsbIdentity);
  if (!same) return kUsbBadIdentifier;
  port_ = open_();
  if (!port_) return E_FAIL;
  device.identity = kSimulatedUsbIdentity;
  return S_OK;
}

HRESULT SimulatedUsbLibrary::Write(UsbDevice&, const char* text, std::uint32_t& count) {
  if (!port_) return E_FAIL;
  const platform::IoResult written = port_->Write(text);
  count = static_cast<std::uint32_t>(written.count);
  return written.outcome == platform::IoOutcome::kComplete ? S_OK : E_FAIL;
}

HRESULT SimulatedUsbLibrary::Read(UsbDevice&, char* buffer, std::uint32_t& size) {
  const std::uint32_t room = std::exchange(size, 0);
  if (!port_) return E_FAIL;
  const Deadline deadline = Deadline::In(clock_, Milliseconds(timeouts_.read_ms));
  while (size < room) {
    if (!ReadByte(buffer[size], deadline)) return E_FAIL;
    if (buffer[size++] == '\n') break;
  }
  return S_OK;
}

bool SimulatedUsbLibrary::ReadByte(char& byte, Deadline deadline) {
  const auto left = std::chrono::ceil<Milliseconds>(deadline.WaitPoint(clock_) - clock_.Now()).count();
  port_->SetTimeouts({.read_ms = static_cast<std::uint32_t>(std::max<std::int64_t>(left, 1))});
  return port_->Read({&byte, 1}).outcome == platform::IoOutcome::kComplete;
}

HRESULT SimulatedUsbLibrary::SetTimeout(UsbDevice&, std::uint32_t directions, std::uint32_t milliseconds) {
  if (!port_) return E_FAIL;
  if (directions & kUsbInput) timeouts_.read_ms = milliseconds;
  if (directions & kUsbOutput) timeouts_.write_ms = milliseconds;
  return S_OK;
}

HRESULT SimulatedUsbLibrary::Flush(UsbDevice&) {
  if (!port_) return E_FAIL;
  port_->Purge(true, true);
  return S_OK;
}

HRESULT SimulatedUsbLibrary::Disconnect(UsbDevice&) {
  port_.reset();
  return S_OK;
}

}  // namespace

UsbLibraryLoader UsbLoaderOf(UsbLineOpener open, Clock& clock) {
  const auto library = std::make_shared<SimulatedUsbLibrary>(std::move(open), clock);
  return [library]() -> LoadedUsbLibrary { return library; };
}

UsbLibraryLoader UsbLoaderOf(std::shared_ptr<SimulatedBench> bench, Clock& clock) {
  return UsbLoaderOf([bench = std::move(bench)] { return OpenBench(bench).port; }, clock);
}

}  // namespace ulix
