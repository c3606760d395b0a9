// The USB helper library: seven operations on one device. It is a separate library, which is loaded at run time from
// the folder of this module.
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

// The result of an operation on a device that the helper library knows by another identifier.
inline constexpr HRESULT kUsbBadIdentifier = static_cast<HRESULT>(0x80049302U);

// The directions of transfers, for UsbLibrary::SetTimeout.
inline constexpr std::uint32_t kUsbInput = 1;
inline constexpr std::uint32_t kUsbBothWays = 3;

// The operations of the helper library. A negative result is a failure; only kUsbBadIdentifier among the codes has a
// meaning here. The caller lets one thread at a time use a device.
class UsbLibrary {
 public:
  virtual ~UsbLibrary() = default;
  // Finds the instrument's device interface and stores its GUID in the device.
  virtual HRESULT GetInterfaceGuid(UsbDevice& device) = 0;
  // Opens the device that the identity names.
  virtual HRESULT Connect(UsbDevice& device) = 0;
  // Sends `text`, which ends with a zero. `count` is 0 on entry; the library stores the number of bytes sent, or leaves
  // the 0 if it does not count.
  virtual HRESULT Write(UsbDevice& device, const char* text, std::uint32_t& count) = 0;
  // Receives one reply. `size` is the size of `buffer` in bytes on entry, and the number of received bytes on return.
  // Fails when the timeout is over; bytes that came before may then be in `buffer`, which must be zeroed and have one
  // byte more than `size`.
  virtual HRESULT Read(UsbDevice& device, char* buffer, std::uint32_t& size) = 0;
  // Sets the timeout of the transfers in one or both directions (kUsbInput, kUsbBothWays).
  virtual HRESULT SetTimeout(UsbDevice& device, std::uint32_t directions, std::uint32_t timeout_ms) = 0;
  // Discards pending transfers.
  virtual HRESULT Flush(UsbDevice& device) = 0;
  // Closes the device.
  virtual HRESULT Disconnect(UsbDevice& device) = 0;
};

// The library, or the system's error code of the failed load.
using LoadedUsbLibrary = tl::expected<std::shared_ptr<UsbLibrary>, std::uint32_t>;
using UsbLibraryLoader = std::function<LoadedUsbLibrary()>;

// Loads the helper library from a folder and looks up its entry points. A library that lacks one of them is unloaded
// again, and the load fails.
LoadedUsbLibrary LoadUsbLibrary(const std::filesystem::path& folder);

// Loads the helper library from the folder of this module, which may differ from the folder of the host program. Links
// use this loader by default.
LoadedUsbLibrary LoadOwnUsbLibrary();

}  // namespace ulix
