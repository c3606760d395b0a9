// The notes of a measurement: who made it and why, the instrument and its settings. A CSV file has them in lines that
// begin with '#', so that plots and reports can be made from the file alone.
#pragma once

#include <span>
#include <string>
#include <string_view>

#include "base/date.h"
#include "tools/ulix/channels.h"
#include "tools/ulix/connection.h"

namespace ulix::cli {

// The user's notes, in UTF-8. Each may be empty.
struct MeasurementNotes {
  std::string title;
  std::string operator_name;
  std::string note;
};

// The key of the CSV line which says that settings not listed in the file are unknown.
inline constexpr char kOtherSettingsNote[] = "other settings";

// Adds --title, --operator and --note. `notes` must outlive the parsing.
void AddNotes(CLI::App& verb, MeasurementNotes& notes);

// The present offset of local time from UTC: "+01:00".
std::string UtcOffset();

// The header lines of a CSV file, such as "# model: kelvo10", each with its line end. The session must be connected:
// the instrument is asked for its identification. Keys: ulix, model, instrument, identification, serial-number,
// started, utc-offset, title, operator, note; "channel ID" with the name of each channel; "unit NAME" and "decimals
// NAME" of each channel that has them; "setting KEY" of each setting, when the settings are known.
std::string NotesForCsv(Session& session, std::span<const Channel> channels, const MeasurementNotes& notes);

}  // namespace ulix::cli
