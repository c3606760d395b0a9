// Reads the description of an instrument in a file, and checks it against the supported models. Sends nothing to any
// instrument.
#pragma once

#include <map>
#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "calibration/instruments.h"
#include "calibration/json_document.h"
#include "calibration/json_reader.h"
#include "calibration/plan.h"

namespace ulix::calibration {

// A syntax error of a file as a problem.
PlanProblem ProblemOf(const JsonMistake& mistake);

// Reads the keys of an instrument. The caller reads the other keys of the object.
void ReadInstrument(JsonReader& from, PlannedInstrument& instrument);

// Makes the planned instrument, so that its channels can be looked up. If model, settings or line are wrong, adds a
// problem and returns null.
std::unique_ptr<Instrument> CheckInstrument(const PlannedInstrument& planned, const std::string& folder,
                                            PlanProblems& problems);

// Adds a problem for each port that two instruments use.
void CheckPorts(const std::vector<PlannedInstrument>& instruments, PlanProblems& problems);

enum class ChannelUse { kRead, kWrite };

// Looks up a channel by name or id. If the instrument has no such channel, or not for this use, adds a problem and
// returns none. Returns none without a problem if only the connected instrument knows its channels.
std::optional<ChannelId> CheckChannel(Instrument& instrument, const std::string& channel, ChannelUse use, int line,
                                      const std::string& path, PlanProblems& problems);

// Reads the settings and channels of a connected instrument, if they are stored there and units depend on them. S_OK
// without a change for an instrument that cannot be asked.
HRESULT AskOwnSettings(Instrument& instrument);

}  // namespace ulix::calibration
