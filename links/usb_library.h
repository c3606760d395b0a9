// The USB helper library: seven operations on one device, in a library of its own that is loaded while the program
// runs, from the folder of this very module.
#pragma once

#include <array>
#include <cstddef>
#include <cstdint>
#include <filesystem>
#include <functional>
#include <memory>

#include <tl/expected.hpp>

#include "base/result.h"
#include "links/usb_device.h"

namespace ulix {

// The result of an operation for a device that the helper library knows by another identifier.
inline constexpr HRESULT kUsbBadIdentifier = static_cast<HRESULT>(0x80049302U);

// Directions of transfers, for SetTimeout.
inline constexpr std::uint32_t kUsbInput = 1;
inline constexpr std::uint32_t kUsbBothWays = 3;

// The operations, under the names of the library's entry points. A negative result is a failure; of their codes only
// kUsbBadIdentifier has a meaning here. The caller lets one thread at a time use a device.
class UsbLibrary {
 public:
  virtual ~UsbLibrary() = default;
  // Finds the instrument's device interface and stores its GUID in the device.
  virtual HRESULT GetInterfaceGuid(UsbDevice& device) = 0;
  // Opens the device that the identity names.
  virtual HRESULT Connect(UsbDevice& device) = 0;
  // Sends `text`, which ends with a zero. `count` is 0 and becomes the number of bytes that were sent.
  virtual HRESULT Write(UsbDevice& device, const char* text, std::uint32_t& count) = 0;
  // Receives one reply. `size` is the size of `buffer` in bytes and becomes the number of bytes that came.
  virtual HRESULT Read(UsbDevice& device, char* buffer, std::uint32_t& size) = 0;
  virtual HRESULT SetTimeout(UsbDevice& device, std::uint32_t directions, std::uint32_t milliseconds) = 0;
  // Discards pending transfers.
  virtual HRESULT Flush(UsbDevice& device) = 0;
  virtual HRESULT Disconnect(UsbDevice& device) = 0;
};

// The library, or the system's error code that says why it was not loaded.
using LoadedUsbLibrary = tl::expected<std::shared_ptr<UsbLibrary>, std::uint32_t>;
using UsbLibraryLoader = std::function<LoadedUsbLibrary()>;

// Loads the helper library from a folder and looks up its entry points, in the order above. A library that lacks one is
// unloaded again.
LoadedUsbLibrary LoadUsbLibrary(const std::filesystem::path& folder);

// The same from the folder of this module, which need not be the host's. It is the default loader of links.
LoadedUsbLibrary LoadOwnUsbLibrary();

}  // namespace ulix
