// Scans as comma-separated values: a header line, then one line a report.
#pragma once

#include <functional>
#include <span>
#include <string>
#include <vector>

#include "core/channel_arrays.h"
#include "tools/ulix/channels.h"

namespace ulix::cli {

// The text of a code in UTF-8, for people.
using ErrorText = std::function<std::string(HRESULT)>;

// Cells joined by commas, quoted where they must be, with the line's end.
std::string CsvLine(std::span<const std::string> cells);

// "time,IN (V),IN error": two columns a channel.
std::string CsvHeader(std::span<const Channel> channels);

// Local time to the millisecond, then value and error of each of `channels`; whichever does not apply is empty. Both
// are empty for a channel that the report does not hold.
std::string CsvRow(std::span<const Channel> channels, const ChannelArrays& report, const ErrorText& error_text);

}  // namespace ulix::cli
