// What a journal says of its run.
#pragma once

#include <optional>
#include <string>
#include <string_view>

#include <tl/expected.hpp>

#include "base/date.h"
#include "calibration/journal.h"
#include "calibration/results.h"

namespace ulix::calibration {

inline constexpr int kJournalFormat = 1;

// "2026-01-31T10:11:12.345" as a date; none for another text.
std::optional<Date> DateOfIso(std::string_view text);

// What is wrong with a journal, with its line.
BilingualText WhyUnreadable(const JournalReader::Broken& broken, const std::string& path);

// The first line, which holds the plan. A sentence where it is none.
Result<Json> HeaderOfJournal(const std::string& path);

// All that the run found, complete or not. A sentence where the journal was changed or cannot be read. `approach` gets
// the looks at the channels too, for plots, thinned to so many a channel and point; 0: none.
Result<RunResult> ReadRun(const std::string& folder, std::size_t approach = 0);

// Whether the journal ends with a run's end after every point. Only its last lines are read.
bool IsComplete(const std::string& path);

}  // namespace ulix::calibration
