// Makes the library's instruments from those of a plan.
#pragma once

#include <memory>
#include <string>
#include <vector>

#include "calibration/plan.h"
#include "core/instrument.h"

namespace ulix::calibration {

// Makes an instrument with the configuration, settings, and line or address of the plan. Reads the configuration file
// if the plan names one. Does not open the link.
Result<std::unique_ptr<Instrument>> MakeInstrument(const PlannedInstrument& planned, const std::string& folder,
                                                   DriverServices services, Instrument::Options options);

// Finds a channel by its name, in upper or lower case, or by its id.
Result<ChannelId> FindChannel(Instrument& instrument, const std::string& name_or_id);

// A code and its text, in the instrument's language: "0x80044403 Unable to read answer".
std::string ErrorTextOf(Instrument& instrument, HRESULT code);
// A code and its text, as ErrorTextOf, in both languages.
BilingualText ErrorTextsOf(const Instrument& instrument, HRESULT code);

// The step between two values of a channel, from its decimals; 0 if these are not known.
double ResolutionOf(Instrument& instrument, ChannelId channel);

// The path of a file that the plan names. A relative name is in the plan's folder.
std::string PathInPlan(const std::string& folder, const std::string& file);

}  // namespace ulix::calibration
