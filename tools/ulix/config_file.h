// Saved configurations. A file is the published stream; behind it, where hosts do not look, stands one line of ours:
//
//   ULIX {"model":"kelvo10","location":"/dev/serial/by-id/usb-..."}
//
// It says which model the stream is of, which the stream does not, and where its instrument is when a number alone
// would not find it again.
#pragma once

#include <string>

#include "core/instrument.h"

namespace ulix::cli {

// The line to put behind the stream of an instrument.
std::string ConfigTrailer(Instrument& instrument);

// Loads a file into an instrument. OperationFailed when it cannot be read, holds no configuration, or holds that of
// another model: the instrument then keeps its defaults. A file without our line is taken for one of this model.
void LoadConfigFile(Instrument& instrument, const std::string& path);

}  // namespace ulix::cli
