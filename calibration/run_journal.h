// Reads the results of a run from its journal.
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

// The date of a text such as "2026-01-31T10:11:12.345"; none for any other text.
std::optional<Date> DateOfIso(std::string_view text);

// The problem of a journal, with its line, as a sentence.
BilingualText WhyUnreadable(const JournalReader::Broken& broken, const std::string& path);

// The first line of a journal, which has the plan. Fails with a sentence if it is not such a line.
Result<Json> HeaderOfJournal(const std::string& path);

// The results of a run, complete or not. Fails with a sentence if the journal was changed or cannot be read. `approach`
// is the number of readings before stability to return for each channel and point, thinned out for plots; 0: none.
Result<RunResult> ReadRun(const std::string& folder, std::size_t approach = 0);

// Whether the journal ends with the end of a complete run. Reads only the last lines.
bool IsComplete(const std::string& path);

}  // namespace ulix::calibration
