// Saved configurations. A file has the published stream, and after it, where hosts do not read, one trailer line:
//
//   ULIX {"model":"kelvo10","location":"/dev/serial/by-id/usb-..."}
//
// The line has the model, which the stream lacks, and the location of the instrument when a port number would not be
// enough to find it again.
#pragma once

#include <string>

#include "core/instrument.h"

namespace ulix::cli {

// The trailer line of an instrument.
std::string ConfigTrailer(Instrument& instrument);

// Loads a file into an instrument. OperationFailed when the file cannot be read, is no configuration, or is one of
// another model: the instrument then has its defaults. A file without the trailer line counts as one of this model.
void LoadConfigFile(Instrument& instrument, const std::string& path);

}  // namespace ulix::cli
