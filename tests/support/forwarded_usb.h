// The entry that the test's helper library has in addition to the seven entries of every helper library.
#pragma once

#include "links/usb_library.h"

extern "C" void ForwardUsbTo(ulix::UsbLibrary* library);
