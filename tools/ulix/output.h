// What goes to standard output: texts of the library turned into UTF-8, tables, JSON numbers, files.
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

// Everything the library says is Windows-1252 and passes here before it is shown or written to a file.
std::string Shown(std::string_view ansi);

// A terminal gets aligned columns, colour and the user's decimal separator; anything else gets plain lines. Asked of
// the system once.
bool OnTerminal();

// What a language puts between units and decimals.
char DecimalSeparatorOf(Language language);
// A number with a point, as people write it in a language.
std::string InLanguage(std::string number, Language language);
// "2026-01-31 10:11:12.345", likewise.
std::string ShownTime(Date date, Language language);

// A number with a point, as it is to be shown: with the user's own separator on a terminal.
std::string ShownNumber(const std::string& number);

// Columns that a terminal gives a text without escape sequences: one a character.
std::size_t DisplayWidth(std::string_view utf8);
std::string PaddedTo(std::string text, std::size_t width);
// In at most `width` columns, the last of which says whether something was left out.
std::string Cut(const std::string& utf8, std::size_t width);
// In lines of at most `width` columns, broken at blanks; a word longer than that stays whole.
std::vector<std::string> Wrapped(const std::string& text, std::size_t width);

// Rows in aligned columns. On a terminal: under bold headers, the last column wrapped. Piped: a line a row, no headers.
class Table {
 public:
  explicit Table(std::vector<std::string> headers) : rows_{std::move(headers)} {}
  void Add(std::vector<std::string> row) { rows_.push_back(std::move(row)); }
  void Print() const;
  // The lines for an output of `width` columns, the headers first.
  std::vector<std::string> Lines(std::size_t width) const;

 private:
  std::vector<std::vector<std::string>> rows_;
};

std::string Bold(const std::string& text);
std::string Red(const std::string& text);

// The shortest number that reads back as the same float; null when there is none.
Json JsonNumber(float value);
Json JsonError(HRESULT code);

// A line, out at once: whoever reads the other end of a pipe gets it now. OperationFailed when nobody takes it any
// more.
void PrintLine(const std::string& line);
// The same of a JSON value; bytes that are no UTF-8 become U+FFFD.
void PrintJson(const Json& json);

// What a person wants to hear when it went well, and a script does not.
void Tell(const std::string& text);

// What a failed write (reading) of a file is reported as, with the cause that the system gave last.
OperationFailed CannotWrite(const std::string& path);
OperationFailed CannotRead(const std::string& path);

// Each is an OperationFailed when the file cannot be written (read). The checks leave nothing behind. A whole file is
// written beside the old one and takes its place, so that there is never half of it; CheckReplaceable is for that. What
// is no file, such as a pipe or a device, is written to and stays what it is.
void CheckWritable(const std::string& path);
void CheckReplaceable(const std::string& path);
void WriteWholeFile(const std::string& path, std::string_view bytes);
std::string ReadWholeFile(const std::string& path);  // of 1 MiB at most

}  // namespace ulix::cli
