// The seven entries of a USB helper library, as the link loads them. links/usb_library.h is the contract of each.
#pragma once

#include <cstdint>

#include "base/result.h"
#include "links/usb_device.h"

extern "C" {
ulix::HRESULT WinUsbGetInterfaceGuid(ulix::UsbDevice* device);
ulix::HRESULT WinUsbConnect(ulix::UsbDevice* device);
ulix::HRESULT WinUsbWrite(ulix::UsbDevice* device, const char* text, std::uint32_t* count);
ulix::HRESULT WinUsbRead(ulix::UsbDevice* device, char* buffer, std::uint32_t* size);
ulix::HRESULT WinUsbSetTimeout(ulix::UsbDevice* device, std::uint32_t directions, std::uint32_t milliseconds);
ulix::HRESULT WinUsbFlush(ulix::UsbDevice* device);
ulix::HRESULT WinUsbDisconnect(ulix::UsbDevice* device);
}
