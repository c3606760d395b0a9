// A helper library consists of the entries in forwarding.cc and the UsbLibrary object to which they forward.
#pragma once

#include "links/usb_library.h"

namespace ulix {

// Defined by each helper library. The object lives as long as the library is loaded.
UsbLibrary& TheLibrary();

}  // namespace ulix
