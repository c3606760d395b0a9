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

// What a helper library answers where it knows the device by another identifier.
inline constexpr HRESULT kUsbBadIdentifier = static_cast<HRESULT>(0x80049302U);

// Directions of transfers that a timeout is set for.
inline constexpr std::uint32_t kUsbInput = 1;
inline constexpr std::uint32_t kUsbBothWays = 3;

// The operations, under the names of the library's entries. A negative result is a failure; what it means is the
// library's own business but for kUsbBadIdentifier. One device is used by one thread at a time.
class UsbLibrary {
 public:
  virtual ~UsbLibrary() = default;
  // Finds the instrument's device interface and stores its GUID in the device.
  virtual HRESULT GetInterfaceGuid(UsbDevice& device) = 0;
  virtual HRESULT Connect(UsbDevice& device) = 0;
  // `count` is 0 and becomes the number of bytes that went out.
  virtual HRESULT Write(UsbDevice& device, const char* text, std::uint32_t& count) = 0;
  // One reply. `size` is the room in `buffer` and becomes the number of bytes that came.
  virtual HRESULT Read(UsbDevice& device, char* buffer, std::uint32_t& size) = 0;
  virtual HRESULT SetTimeout(UsbDevice& device, std::uint32_t directions, std::uint32_t milliseconds) = 0;
  // Discards pending transfers.
  virtual HRESULT Flush(UsbDevice& device) = 0;
  virtual HRESULT Disconnect(UsbDevice& device) = 0;
};

// The library, or the system's error code that tells why there is none.
using LoadedUsbLibrary = tl::expected<std::shared_ptr<UsbLibrary>, std::uint32_t>;
using UsbLibraryLoader = std::function<LoadedUsbLibrary()>;

// Loads the helper library from a folder and finds its entries in their order; one that lacks any of them is unloaded
// again.
LoadedUsbLibrary LoadUsbLibrary(const std::filesystem::path& folder);

// The same from this module's folder, whatever the host's is: the loader of every link that is given no other.
LoadedUsbLibrary LoadOwnUsbLibrary();

}  // namespace ulix
