// A measurement read back from its CSV file alone, so that plots and reports can be made of it afterwards.
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
  std::vector<std::pair<std::string, std::string>> notes;  // the lines of '#', in their order
  Recording recording{{}};
  std::map<HRESULT, std::string> error_texts;  // of the codes in the file

  // Of the last note with this key; empty where there is none.
  std::string Note(std::string_view key) const;
};

// Of a scan ("time,IN (V),IN error") or of a memory block ("time,channel,value,error"), with whichever of the three
// separators its header has. Times of another offset from UTC than the first are put on the first one's.
// OperationFailed when the file cannot be read, UsageError naming the line that is no part of such a file.
CsvMeasurement ReadCsvMeasurement(const std::string& path);

}  // namespace ulix::cli
