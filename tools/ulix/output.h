// Output: texts of the library in UTF-8, tables, JSON numbers, files.
#pragma once

#include <nlohmann/json_fwd.hpp>
#include <string>
#include <string_view>
#include <vector>

#include "base/date.h"
#include "base/result.h"
#include "base/text.h"
#include "tools/ulix/failures.h"

namespace ulix::cli {

using Json = nlohmann::ordered_json;

// Converts a text of the library, in Windows-1252, to UTF-8.
std::string Shown(std::string_view ansi);

// Whether standard output is a terminal. A terminal gets aligned columns, colour and the user's decimal separator;
// anything else gets plain lines. The system is asked once.
bool OnTerminal();

// The decimal separator of a language.
char DecimalSeparatorOf(Language language);
// A number that has a point, with the decimal separator of a language.
std::string InLanguage(std::string number, Language language);
// A time as "2026-01-31 10:11:12.345", with the decimal separator of a language.
std::string ShownTime(Date date, Language language);
// A duration such as "1:02:03", preceded by days if it is longer than a day.
std::string ClockText(double seconds);

// A number that has a point, with the user's own separator on a terminal.
std::string ShownNumber(const std::string& number);

// The columns of a text on a terminal: one for each character. The text has no escape sequences.
std::size_t DisplayWidth(std::string_view utf8);
std::string PaddedTo(std::string text, std::size_t width);
// Cuts a text to at most `width` columns. The last column shows when something was left out.
std::string Cut(const std::string& utf8, std::size_t width);
// Breaks a text at blanks into lines of at most `width` columns. A longer word stays whole.
std::vector<std::string> Wrapped(const std::string& text, std::size_t width);

// Rows in aligned columns. On a terminal with bold headers and the last column wrapped; piped with one line for each
// row and no headers.
class Table {
 public:
  explicit Table(std::vector<std::string> headers) : rows_{std::move(headers)} {}
  void Add(std::vector<std::string> row) { rows_.push_back(std::move(row)); }
  void Print() const;
  // The lines for `width` columns, the headers first.
  std::vector<std::string> Lines(std::size_t width) const;

 private:
  std::vector<std::vector<std::string>> rows_;
};

std::string Bold(const std::string& text);
std::string Red(const std::string& text);

// The shortest number that reads back as the same float; null for a value that is not finite.
Json JsonNumber(float value);
Json JsonError(HRESULT code);

// Prints a line and flushes it, so that the reader of a pipe gets it at once. OperationFailed when the output is
// closed.
void PrintLine(const std::string& line);
// Prints a JSON value as a line. Bytes that are not UTF-8 become U+FFFD.
void PrintJson(const Json& json);

// Prints a message about a success, on a terminal only.
void Tell(const std::string& text);

// The exception for a failed write or read of a file, with the cause that the system reported last.
OperationFailed CannotWrite(const std::string& path);
OperationFailed CannotRead(const std::string& path);
// The exception for a failed write to standard output.
OperationFailed CannotPrint();
// Why a file cannot be read, as ": no such file"; empty when it can.
std::string CauseOfUnreadable(const std::string& path);

// The functions below throw OperationFailed when the file cannot be written (read). The checks leave nothing behind. A
// whole file is first written under another name and then replaces the old one, so that there is never half a file;
// CheckReplaceable checks that this is possible. A pipe or a device is written to directly.
void CheckWritable(const std::string& path);
void CheckReplaceable(const std::string& path);
void WriteWholeFile(const std::string& path, std::string_view bytes);
std::string ReadWholeFile(const std::string& path);  // At most 1 MiB.

}  // namespace ulix::cli
