// Reads a measurement from its CSV file, so that plots and reports can be made later.
#pragma once

#include <map>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

#include "base/result.h"
#include "tools/ulix/recording.h"

namespace ulix::cli {

struct CsvMeasurement {
  std::vector<std::pair<std::string, std::string>> notes;  // the lines that begin with '#', in their order
  Recording recording{{}};
  std::map<HRESULT, std::string> error_texts;  // texts of the codes in the file

  // The value of the last note with this key; empty if there is none.
  std::string Note(std::string_view key) const;
};

// Reads the file of a scan ("time,IN (V),IN error") or of a memory block ("time,channel,value,error"), with any of the
// three separators. If the offset from UTC changes in the file, all times are converted to the first offset.
// OperationFailed when the file cannot be read; UsageError, which names the line, when a line does not belong to such a
// file.
CsvMeasurement ReadCsvMeasurement(const std::string& path);

}  // namespace ulix::cli
