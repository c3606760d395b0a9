// What files say of an instrument: read, and checked against what the library drives. No instrument is asked.
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

// The syntax mistake of a file, as a problem of it.
PlanProblem ProblemOf(const JsonMistake& mistake);

// Takes the keys of an instrument; other keys of the object are the caller's.
void ReadInstrument(JsonReader& from, PlannedInstrument& instrument);

// The instrument that was planned, to ask it for its channels. Null, with a problem noted, where its model, settings or
// line are wrong.
std::unique_ptr<Instrument> CheckInstrument(const PlannedInstrument& planned, const std::string& folder,
                                            PlanProblems& problems);

// Notes ports that two instruments share.
void CheckPorts(const std::vector<PlannedInstrument>& instruments, PlanProblems& problems);

enum class ChannelUse { kRead, kWrite };

// The channel of that name or id. None, with a problem noted, where the instrument has no such channel or it is not for
// that use; none without a problem where only the instrument itself knows its channels.
std::optional<ChannelId> CheckChannel(Instrument& instrument, const std::string& channel, ChannelUse use, int line,
                                      const std::string& path, PlanProblems& problems);

// Asks a connected instrument for its settings and channels, where they are its own and units hang on them. An
// instrument that does not tell them keeps the defaults: S_OK.
HRESULT AskOwnSettings(Instrument& instrument);

}  // namespace ulix::calibration
