// Scans as comma-separated values: a header line, then one line a report.
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

// The text of a code in UTF-8, for people.
using ErrorText = std::function<std::string(HRESULT)>;

// What a path stands for where standard output is meant.
inline constexpr const char* kStandardOutput = "-";

// --csv-separator: a comma, unless another is asked for; `separator` outlives the parsing.
void AddCsvSeparator(CLI::App& verb, char& separator);

// Cells joined by the separator, quoted where they must be, with the line's end.
std::string CsvLine(std::span<const std::string> cells, char separator = ',');

// Where lines go: a file that grows as they come, or standard output. OperationFailed when it takes no more.
class CsvStream {
 public:
  explicit CsvStream(std::string path);
  void Write(const std::string& text);

 private:
  std::string path_;
  std::ofstream file_;  // not open for standard output
};

// "time,IN (V),IN error": two columns a channel.
std::string CsvHeader(std::span<const Channel> channels, char separator = ',');

// What is to be said of a value beside it, in English: "no number in the reply; late 1.2 s", or nothing.
std::string RemarkText(Doubt doubt, double late_s);

// Local time to the millisecond, then value and error of each of `channels`; whichever does not apply is empty. Both
// are empty for a channel that the report does not hold. A doubtful or late value has its remark in place of an error.
std::string CsvRow(std::span<const Channel> channels, const ChannelArrays& report, const ErrorText& error_text,
                   char separator = ',', double late_s = 0);

}  // namespace ulix::cli
