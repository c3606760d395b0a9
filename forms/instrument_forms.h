// The forms of an instrument, made from its model's tables.
#pragma once

#include <cstdint>

#include "core/instrument.h"
#include "forms/form.h"

namespace ulix {

// Each form refers to the instrument and must not outlive it.

// The link. For a serial line: the ports of the machine, the model's baud rates, bits, parity and handshake. For a
// model that can be on a network: host and TCP port. For USB: the device, and whether the helper library was found.
// Then the model's settings that belong to the link.
Form CommForm(Instrument& instrument, Language language);
// The configuration record: a page for the instrument, and a page for each channel N that has settings "channel.N...".
Form CfgForm(Instrument& instrument, Language language);
// A group's period, dead bands and max report interval, and its channels as check boxes. `group` must be known.
Form GroupForm(Instrument& instrument, std::uint32_t group, Language language);
// A value for each output channel. An empty entry leaves the output unchanged. Applying writes to the instrument.
Form OutChansForm(Instrument& instrument, Language language);
// What the instrument is; read only. Reads the identity from the instrument when it is connected.
Form AboutForm(Instrument& instrument, Language language);
// Link, configuration and the page about the instrument, in one form.
Form PropertiesForm(Instrument& instrument, Language language);

}  // namespace ulix
