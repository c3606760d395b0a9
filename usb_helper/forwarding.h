// Each helper library of ours is the entries of forwarding.cc and the one library that they lead to.
#pragma once

#include "links/usb_library.h"

namespace ulix {

// Defined by each helper library; lives as long as it is loaded.
UsbLibrary& TheLibrary();

}  // namespace ulix
