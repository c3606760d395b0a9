// The helper library for instruments on the USB of this machine, with libusb-1.0.
//
// An instrument is a device with a vendor-specific interface that has a bulk endpoint in each direction. Linux has no
// interface GUIDs, so the library makes one from the device's vendor and product id.
#include <libusb.h>

#include <algorithm>
#include <array>
#include <cstring>
#include <filesystem>
#include <fstream>
#include <memory>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

#include "usb_helper/forwarding.h"

namespace ulix {
namespace {

constexpr std::uint32_t kUsbOutput = 2;
constexpr std::uint32_t kTimeoutMs = 5000;  // The timeout until one is set.
constexpr Guid kGuidForm = {0, 0x554C, 0x4958, {'L', 'i', 'n', 'u', 'x', 'U', 'S', 'B'}};

Guid GuidOf(std::uint16_t vendor, std::uint16_t product) {
  Guid guid = kGuidForm;
  guid.data1 = std::uint32_t{vendor} << 16 | product;
  return guid;
}

struct ContextEnd {
  void operator()(libusb_context* context) const { libusb_exit(context); }
};
using Context = std::unique_ptr<libusb_context, ContextEnd>;

struct HandleEnd {
  void operator()(libusb_device_handle* handle) const { libusb_close(handle); }
};
using Handle = std::unique_ptr<libusb_device_handle, HandleEnd>;

Context NewContext() {
  libusb_context* context = nullptr;
  return libusb_init(&context) == 0 ? Context(context) : nullptr;
}

// The interface and the endpoints of an instrument.
struct Pipes {
  int interface = -1;
  unsigned char in = 0;
  unsigned char out = 0;
  int packet = 0;  // Size of the largest packet that comes in, bytes.
};

Pipes PipesOf(const libusb_interface_descriptor& interface) {
  Pipes pipes{.interface = interface.bInterfaceNumber};
  for (int i = 0; i < interface.bNumEndpoints; ++i) {
    const libusb_endpoint_descriptor& endpoint = interface.endpoint[i];
    if ((endpoint.bmAttributes & LIBUSB_TRANSFER_TYPE_MASK) != LIBUSB_TRANSFER_TYPE_BULK) continue;
    const bool in = (endpoint.bEndpointAddress & LIBUSB_ENDPOINT_DIR_MASK) == LIBUSB_ENDPOINT_IN;
    (in ? pipes.in : pipes.out) = endpoint.bEndpointAddress;
    if (in) pipes.packet = endpoint.wMaxPacketSize;
  }
  return pipes;
}

// The endpoints of the device's first interface that an instrument could have; empty when it has none.
Pipes FindPipes(libusb_device* device) {
  libusb_config_descriptor* found = nullptr;
  if (libusb_get_active_config_descriptor(device, &found) != 0) return {};
  const std::unique_ptr<libusb_config_descriptor, decltype(&libusb_free_config_descriptor)> config(
      found, libusb_free_config_descriptor);
  for (int i = 0; i < config->bNumInterfaces; ++i) {
    if (config->interface[i].num_altsetting == 0) continue;
    const libusb_interface_descriptor& interface = config->interface[i].altsetting[0];
    if (interface.bInterfaceClass != LIBUSB_CLASS_VENDOR_SPEC) continue;
    const Pipes pipes = PipesOf(interface);
    if (pipes.in != 0 && pipes.out != 0 && pipes.packet > 0) return pipes;
  }
  return {};
}

// Tells a device from others of its kind: its serial number, or the USB port where it is plugged in. The system read
// the serial number when the device was plugged in; nothing is asked of the device here.
std::string NameOf(libusb_device* device) {
  std::array<std::uint8_t, 7> ports{};
  const int depth = libusb_get_port_numbers(device, ports.data(), static_cast<int>(ports.size()));
  std::string place = std::to_string(libusb_get_bus_number(device));
  for (int i = 0; i < depth; ++i) {
    place += (i == 0 ? "-" : ".") + std::to_string(ports[static_cast<std::size_t>(i)]);
  }
  std::ifstream file(std::filesystem::path("/sys/bus/usb/devices") / place / "serial");
  std::string serial;
  std::getline(file, serial);
  return serial.empty() ? "at " + place : "serial " + serial;
}

struct Candidate {
  std::uint16_t vendor;
  std::uint16_t product;
  Pipes pipes;
  std::shared_ptr<libusb_device> device;
  std::string name;
};

// The instruments that are plugged in. A vendor or product of 0 matches any.
std::vector<Candidate> FindCandidates(libusb_context* context, std::uint16_t vendor, std::uint16_t product) {
  std::vector<Candidate> candidates;
  libusb_device** list = nullptr;
  const auto count = libusb_get_device_list(context, &list);
  for (int i = 0; i < count; ++i) {
    libusb_device_descriptor is{};
    if (libusb_get_device_descriptor(list[i], &is) != 0) continue;
    if ((vendor != 0 && is.idVendor != vendor) || (product != 0 && is.idProduct != product)) continue;
    const Pipes pipes = FindPipes(list[i]);
    if (pipes.interface < 0) continue;
    candidates.push_back(
        {is.idVendor, is.idProduct, pipes, {libusb_ref_device(list[i]), libusb_unref_device}, NameOf(list[i])});
  }
  if (count >= 0) libusb_free_device_list(list, 1);
  return candidates;
}

// An open instrument.
class UsbInstrument {
 public:
  // Null when the device cannot be opened or another program uses it. Takes over the context only on success.
  static std::unique_ptr<UsbInstrument> Open(Context& context, const Candidate& candidate);
  ~UsbInstrument() { libusb_release_interface(handle_.get(), pipes_.interface); }
  UsbInstrument(const UsbInstrument&) = delete;
  UsbInstrument& operator=(const UsbInstrument&) = delete;

  HRESULT Write(std::string_view text, std::uint32_t& count);
  HRESULT Read(char* buffer, std::uint32_t& size);
  void SetTimeout(std::uint32_t directions, std::uint32_t milliseconds);
  void Flush() { received_.clear(); }

 private:
  UsbInstrument(Context context, Handle handle, Pipes pipes)
      : context_(std::move(context)), handle_(std::move(handle)), pipes_(pipes) {}

  Context context_;
  Handle handle_;
  Pipes pipes_;
  std::uint32_t read_ms_ = kTimeoutMs;
  std::uint32_t write_ms_ = kTimeoutMs;
  std::string received_;  // Received bytes that were not read yet.
};

std::unique_ptr<UsbInstrument> UsbInstrument::Open(Context& context, const Candidate& candidate) {
  libusb_device_handle* opened = nullptr;
  if (libusb_open(candidate.device.get(), &opened) != 0) return nullptr;
  Handle handle(opened);
  if (libusb_claim_interface(opened, candidate.pipes.interface) != 0) return nullptr;
  return std::unique_ptr<UsbInstrument>(new UsbInstrument(std::move(context), std::move(handle), candidate.pipes));
}

HRESULT UsbInstrument::Write(std::string_view text, std::uint32_t& count) {
  std::string bytes(text);
  int sent = 0;
  const int failed = libusb_bulk_transfer(handle_.get(), pipes_.out, reinterpret_cast<unsigned char*>(bytes.data()),
                                          static_cast<int>(bytes.size()), &sent, write_ms_);
  count = static_cast<std::uint32_t>(sent);
  return failed == 0 && count == bytes.size() ? S_OK : E_FAIL;
}

// A reply ends with a line feed, with a packet that is not full, or when the buffer is full. After a full last packet a
// device need not send an empty one.
HRESULT UsbInstrument::Read(char* buffer, std::uint32_t& size) {
  const std::uint32_t room = std::exchange(size, 0);
  bool ended = !received_.empty();
  while (!ended && received_.size() < room) {
    std::vector<unsigned char> packet(static_cast<std::size_t>(pipes_.packet));
    int came = 0;
    const int failed = libusb_bulk_transfer(handle_.get(), pipes_.in, packet.data(), pipes_.packet, &came, read_ms_);
    received_.append(packet.begin(), packet.begin() + came);
    if (failed != 0) received_.clear();  // A part of a reply is discarded.
    if (failed != 0) return E_FAIL;
    ended = came < pipes_.packet || received_.ends_with('\n');
  }
  size = static_cast<std::uint32_t>(received_.copy(buffer, room));
  received_.erase(0, size);
  return S_OK;
}

// For libusb a timeout of 0 means no limit.
void UsbInstrument::SetTimeout(std::uint32_t directions, std::uint32_t milliseconds) {
  const std::uint32_t limit = std::max(milliseconds, 1U);
  if (directions & kUsbInput) read_ms_ = limit;
  if (directions & kUsbOutput) write_ms_ = limit;
}

// The library's data in a device record. The record is not aligned.
struct Kept {
  UsbInstrument* open;  // Null while closed.
  // Tells the device that was opened from others of its kind. It is kept after the close: only that one is reopened.
  std::array<char, 256> name;
};

Kept KeptIn(const UsbDevice& device) {
  Kept kept{};
  std::memcpy(&kept, device.library.data(), sizeof kept);
  return kept;
}

UsbInstrument* OpenIn(const UsbDevice& device) { return KeptIn(device).open; }

void PutIn(UsbDevice& device, const Kept& kept) { std::memcpy(device.library.data(), &kept, sizeof kept); }

// Opens the first of the devices that nothing else has open. A record that had a device before takes only that one.
HRESULT OpenFirst(UsbDevice& device, Context& context, const std::vector<Candidate>& found) {
  const std::string bound = KeptIn(device).name.data();
  for (const Candidate& candidate : found) {
    if (!bound.empty() && candidate.name != bound) continue;
    auto opened = UsbInstrument::Open(context, candidate);
    if (!opened) continue;
    Kept kept{opened.release(), {}};
    candidate.name.copy(kept.name.data(), kept.name.size() - 1);
    PutIn(device, kept);
    return S_OK;
  }
  return E_FAIL;
}

class LibusbLibrary final : public UsbLibrary {
 public:
  HRESULT GetInterfaceGuid(UsbDevice& device) override;
  HRESULT Connect(UsbDevice& device) override;
  HRESULT Write(UsbDevice& device, const char* text, std::uint32_t& count) override {
    return WhenOpen(device, [&](UsbInstrument& open) { return open.Write(text, count); });
  }
  HRESULT Read(UsbDevice& device, char* buffer, std::uint32_t& size) override {
    return WhenOpen(device, [&](UsbInstrument& open) { return open.Read(buffer, size); });
  }
  HRESULT SetTimeout(UsbDevice& device, std::uint32_t directions, std::uint32_t milliseconds) override {
    return WhenOpen(device, [&](UsbInstrument& open) { return open.SetTimeout(directions, milliseconds), S_OK; });
  }
  HRESULT Flush(UsbDevice& device) override {
    return WhenOpen(device, [](UsbInstrument& open) { return open.Flush(), S_OK; });
  }
  HRESULT Disconnect(UsbDevice& device) override {
    Kept kept = KeptIn(device);
    delete std::exchange(kept.open, nullptr);
    PutIn(device, kept);
    return S_OK;
  }

 private:
  template <typename Operation>
  static HRESULT WhenOpen(UsbDevice& device, Operation&& operation) {
    UsbInstrument* const open = OpenIn(device);
    return open ? operation(*open) : E_FAIL;
  }
};

// When several devices could be the instrument, nothing is written to any of them: the user must select one.
HRESULT LibusbLibrary::GetInterfaceGuid(UsbDevice& device) {
  const Context context = NewContext();
  if (!context) return E_FAIL;
  const auto found = FindCandidates(context.get(), device.identity.vendor, device.identity.product);
  if (found.empty()) return E_FAIL;
  const auto another = [&](const Candidate& candidate) {
    return candidate.vendor != found[0].vendor || candidate.product != found[0].product;
  };
  if (std::any_of(found.begin(), found.end(), another)) return kUsbBadIdentifier;
  device.identity = {GuidOf(found[0].vendor, found[0].product), found[0].vendor, found[0].product};
  return S_OK;
}

// A GUID from another system has no meaning here. Vendor and product id then select the device.
HRESULT LibusbLibrary::Connect(UsbDevice& device) {
  UsbIdentity& identity = device.identity;
  const auto vendor = static_cast<std::uint16_t>(identity.guid.data1 >> 16);
  const auto product = static_cast<std::uint16_t>(identity.guid.data1);
  if (identity.guid == GuidOf(vendor, product)) {
    identity.vendor = vendor;
    identity.product = product;
  }
  if (identity.vendor == 0) return kUsbBadIdentifier;
  Context context = NewContext();
  if (!context) return E_FAIL;
  return OpenFirst(device, context, FindCandidates(context.get(), identity.vendor, identity.product));
}

}  // namespace

UsbLibrary& TheLibrary() {
  static LibusbLibrary library;
  return library;
}

}  // namespace ulix
