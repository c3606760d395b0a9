// Saved configurations. A file has the published stream, and after it, where hosts do not read, one trailer line:
//
//   ULIX {"model":"kelvo10","location":"/dev/serial/by-id/usb-..."}
//
// The line has the model, which the stream lacks. It has "port":true when a serial port was named, and its location
// when a port number would not be enough to find it again.
#pragma once

#include <string>

#include "core/instrument.h"

namespace ulix::cli {

// The trailer line of an instrument. `port_named`: whether the user has named the stream's port, so that it is not the
// default.
std::string ConfigTrailer(Instrument& instrument, bool port_named);

// Loads a file into an instrument. OperationFailed when the file cannot be read, is not a configuration, or is one of
// another model; the instrument then has its defaults. A host's file has no trailer line. It counts as one of this
// model unless its stream is incomplete or its values do not fit the model. Returns whether the file gives the
// instrument's port or address; a file without the trailer line always does.
bool LoadConfigFile(Instrument& instrument, const std::string& path);

}  // namespace ulix::cli
