// The forms of an instrument, laid out from its model's tables.
#pragma once

#include <cstdint>

#include "core/instrument.h"
#include "forms/form.h"

namespace ulix {

// Each form keeps a reference to the instrument and applies to it; use it no longer than that lives.

// The link: the ports found, the model's speeds, bits, parity and handshake; a host and its port where the model can be
// on a network; which USB device, and whether there is a library for it; the model's settings that are about the link.
Form CommForm(Instrument& instrument, Language language);
// The configuration record: a page for the instrument, and one for each channel whose settings are keyed "channel.N.".
Form CfgForm(Instrument& instrument, Language language);
// A group's period, dead bands and silence, and its channels to tick. `group` is a known one.
Form GroupForm(Instrument& instrument, std::uint32_t group, Language language);
// A value for each output channel; an empty entry leaves the output as it is. Writes to the connected instrument.
Form OutChansForm(Instrument& instrument, Language language);
// What the instrument is, to read. Asks the instrument for its identification where it is connected.
Form AboutForm(Instrument& instrument, Language language);
// Link, configuration and the page about the instrument, in one form.
Form PropertiesForm(Instrument& instrument, Language language);

}  // namespace ulix
