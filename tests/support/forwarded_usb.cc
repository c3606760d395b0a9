// A helper library that forwards its calls to an object of the test that loaded it.
#include "tests/support/forwarded_usb.h"

#include <stdexcept>

#include "usb_helper/forwarding.h"

namespace ulix {
namespace {

UsbLibrary* forwarded = nullptr;

}  // namespace

UsbLibrary& TheLibrary() {
  if (!forwarded) throw std::logic_error("nothing to forward to");
  return *forwarded;
}

}  // namespace ulix

void ForwardUsbTo(ulix::UsbLibrary* library) { ulix::forwarded = library; }
