// Scans as comma-separated values: a header line, then one line for each report.
#pragma once

#include <fstream>
#include <functional>
#include <span>
#include <string>
#include <vector>

#include "drivers/channel_arrays.h"
#include "tools/ulix/channels.h"

namespace CLI {
class App;
}

namespace ulix::cli {

// Gives the text of a code in UTF-8, for users.
using ErrorText = std::function<std::string(HRESULT)>;

// The path that means standard output.
inline constexpr const char* kStandardOutput = "-";

// Adds --csv-separator; the default is a comma. `separator` must outlive the parsing.
void AddCsvSeparator(CLI::App& verb, char& separator);

// A line of cells, quoted where necessary, with its line end.
std::string CsvLine(std::span<const std::string> cells, char separator = ',');

// Writes lines to a file as they come, or to standard output. OperationFailed when a line cannot be written.
class CsvStream {
 public:
  explicit CsvStream(std::string path);
  void Write(const std::string& text);

 private:
  std::string path_;
  std::ofstream file_;  // Not open for standard output.
};

// "time,IN (V),IN error": two columns for each channel.
std::string CsvHeader(std::span<const Channel> channels, char separator = ',');

// The remark about a value, in English: "no number in the reply; late 1.2 s". Empty if there is none.
std::string RemarkText(Doubt doubt, double late_s);

// Local time to the millisecond, then either the value or the error of each of `channels`; the other cell is empty.
// Both are empty for a channel that is not in the report. A doubtful or late value has its remark in place of an error.
std::string CsvRow(std::span<const Channel> channels, const ChannelArrays& report, const ErrorText& error_text,
                   char separator = ',', double late_s = 0);

}  // namespace ulix::cli
