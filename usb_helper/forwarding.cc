// The entries of a helper library that is written as a UsbLibrary; TheLibrary gives the object. No exception leaves an
// entry, because the caller may be built by another compiler.
#include "usb_helper/forwarding.h"

#include "usb_helper/entries.h"

namespace {

template <typename Operation>
ulix::HRESULT Guarded(const void* device, Operation&& operation) {
  if (!device) return ulix::E_INVALIDARG;
  try {
    return operation(ulix::TheLibrary());
  } catch (...) {
    return ulix::E_FAIL;
  }
}

}  // namespace

ulix::HRESULT WinUsbGetInterfaceGuid(ulix::UsbDevice* device) {
  return Guarded(device, [&](ulix::UsbLibrary& library) { return library.GetInterfaceGuid(*device); });
}

ulix::HRESULT WinUsbConnect(ulix::UsbDevice* device) {
  return Guarded(device, [&](ulix::UsbLibrary& library) { return library.Connect(*device); });
}

ulix::HRESULT WinUsbWrite(ulix::UsbDevice* device, const char* text, std::uint32_t* count) {
  if (!text || !count) return ulix::E_INVALIDARG;
  return Guarded(device, [&](ulix::UsbLibrary& library) { return library.Write(*device, text, *count); });
}

ulix::HRESULT WinUsbRead(ulix::UsbDevice* device, char* buffer, std::uint32_t* size) {
  if (!buffer || !size) return ulix::E_INVALIDARG;
  return Guarded(device, [&](ulix::UsbLibrary& library) { return library.Read(*device, buffer, *size); });
}

ulix::HRESULT WinUsbSetTimeout(ulix::UsbDevice* device, std::uint32_t directions, std::uint32_t milliseconds) {
  return Guarded(device,
                 [&](ulix::UsbLibrary& library) { return library.SetTimeout(*device, directions, milliseconds); });
}

ulix::HRESULT WinUsbFlush(ulix::UsbDevice* device) {
  return Guarded(device, [&](ulix::UsbLibrary& library) { return library.Flush(*device); });
}

ulix::HRESULT WinUsbDisconnect(ulix::UsbDevice* device) {
  return Guarded(device, [&](ulix::UsbLibrary& library) { return library.Disconnect(*device); });
}
