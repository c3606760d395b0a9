// The instruments of a plan as the library drives them.
#pragma once

#include <memory>
#include <string>
#include <vector>

#include <tl/expected.hpp>

#include "calibration/plan.h"
#include "core/instrument.h"

namespace ulix::calibration {

// What went wrong, in a sentence for a person, UTF-8.
template <typename T>
using Outcome = tl::expected<T, std::string>;

// An instrument as the plan has it: configuration, settings, line or address. Nothing is opened. Reads the
// configuration file where the plan names one.
Outcome<std::unique_ptr<Instrument>> MakeInstrument(const PlannedInstrument& planned, const std::string& folder,
                                                    DriverServices services, Instrument::Options options);

// A channel by its name, in any case, or by its id.
Outcome<ChannelId> FindChannel(Instrument& instrument, const std::string& name_or_id);

// What a code means, in the instrument's language.
std::string ErrorTextOf(Instrument& instrument, HRESULT code);

// The step between two values of a channel, from its decimals; 0 where they are not known.
double ResolutionOf(Instrument& instrument, ChannelId channel);

// A file that the plan names: relative ones are in the plan's folder.
std::string PathInPlan(const std::string& folder, const std::string& file);

}  // namespace ulix::calibration
