#include "links/usb_library.h"

#include <string>
#include <utility>

#include "base/trace.h"
#include "platform/shared_library.h"

namespace ulix {
namespace {

constexpr const char* kLibraryName = "UlixWinUsb";

// The entry points, in the order in which they are looked up. All have the C calling convention.
struct Entries {
  HRESULT (*get_interface_guid)(UsbDevice*) = nullptr;
  HRESULT (*connect)(UsbDevice*) = nullptr;
  HRESULT (*write)(UsbDevice*, const char*, std::uint32_t*) = nullptr;
  HRESULT (*read)(UsbDevice*, char*, std::uint32_t*) = nullptr;
  HRESULT (*set_timeout)(UsbDevice*, std::uint32_t, std::uint32_t) = nullptr;
  HRESULT (*flush)(UsbDevice*) = nullptr;
  HRESULT (*disconnect)(UsbDevice*) = nullptr;
};

class BoundUsbLibrary final : public UsbLibrary {
 public:
  explicit BoundUsbLibrary(std::unique_ptr<platform::SharedLibrary> library) : library_(std::move(library)) {}

  // Looks up all entry points. 0, or the system's error code for the first one that is missing.
  std::uint32_t Bind();

  HRESULT GetInterfaceGuid(UsbDevice& device) override { return entries_.get_interface_guid(&device); }
  HRESULT Connect(UsbDevice& device) override { return entries_.connect(&device); }
  HRESULT Write(UsbDevice& device, const char* text, std::uint32_t& count) override {
    return entries_.write(&device, text, &count);
  }
  HRESULT Read(UsbDevice& device, char* buffer, std::uint32_t& size) override {
    return entries_.read(&device, buffer, &size);
  }
  HRESULT SetTimeout(UsbDevice& device, std::uint32_t directions, std::uint32_t timeout_ms) override {
    return entries_.set_timeout(&device, directions, timeout_ms);
  }
  HRESULT Flush(UsbDevice& device) override { return entries_.flush(&device); }
  HRESULT Disconnect(UsbDevice& device) override { return entries_.disconnect(&device); }

 private:
  template <typename Entry>
  std::uint32_t Find(const char* name, Entry& entry) const {
    const auto found = library_->Find(name);
    if (!found) return found.error();
    entry = reinterpret_cast<Entry>(*found);
    return 0;
  }

  std::unique_ptr<platform::SharedLibrary> library_;
  Entries entries_;
};

std::uint32_t BoundUsbLibrary::Bind() {
  std::uint32_t code = Find("WinUsbGetInterfaceGuid", entries_.get_interface_guid);
  if (code == 0) code = Find("WinUsbConnect", entries_.connect);
  if (code == 0) code = Find("WinUsbWrite", entries_.write);
  if (code == 0) code = Find("WinUsbRead", entries_.read);
  if (code == 0) code = Find("WinUsbSetTimeout", entries_.set_timeout);
  if (code == 0) code = Find("WinUsbFlush", entries_.flush);
  if (code == 0) code = Find("WinUsbDisconnect", entries_.disconnect);
  return code;
}

tl::unexpected<std::uint32_t> NotLoaded(std::uint32_t code) {
  TraceLine("UlixWinUsb: not loaded, system error " + std::to_string(code) + "\n");
  return tl::unexpected(code);
}

}  // namespace

LoadedUsbLibrary LoadUsbLibrary(const std::filesystem::path& folder) {
  auto library = platform::LoadSharedLibrary(folder / platform::SharedLibraryFile(kLibraryName));
  if (!library) return NotLoaded(library.error());
  auto bound = std::make_shared<BoundUsbLibrary>(std::move(*library));
  if (const std::uint32_t code = bound->Bind(); code != 0) return NotLoaded(code);
  return bound;
}

LoadedUsbLibrary LoadOwnUsbLibrary() {
  const auto folder = platform::OwnModuleFolder();
  return folder ? LoadUsbLibrary(*folder) : NotLoaded(folder.error());
}

}  // namespace ulix
