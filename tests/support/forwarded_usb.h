// What the test's own helper library has beside the seven entries.
#pragma once

#include "links/usb_library.h"

extern "C" void ForwardUsbTo(ulix::UsbLibrary* library);
