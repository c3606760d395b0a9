// What is known of a measurement besides its readings: who made it and why, which instrument, and how that was set. A
// CSV file carries it in lines that begin with '#', so that plots and reports can be made of the file alone.
#pragma once

#include <span>
#include <string>
#include <string_view>

#include "base/date.h"
#include "tools/ulix/channels.h"
#include "tools/ulix/connection.h"

namespace ulix::cli {

// What the person says of it, in UTF-8; each empty when nothing is said.
struct MeasurementNotes {
  std::string title;
  std::string operator_name;
  std::string note;
};

// --title, --operator, --note; `notes` outlives the parsing.
void AddNotes(CLI::App& verb, MeasurementNotes& notes);

// The serial number in an identification: the third of four fields between commas, or what follows "SN"; empty where
// there is neither.
std::string SerialNumberIn(std::string_view identification);

// How far local time is ahead of UTC now: "+01:00".
std::string UtcOffset();

// The lines at the head of a CSV file, each with its end: "# model: kelvo10". Asks the instrument of a connected
// session for its identification. Keys: ulix, model, instrument, identification, serial-number, started, utc-offset,
// title, operator, note, "channel ID" with its name, "unit NAME" and "decimals NAME" of each channel that has one,
// "setting KEY" of each setting where they are known.
std::string NotesForCsv(Session& session, std::span<const Channel> channels, const MeasurementNotes& notes);

}  // namespace ulix::cli
