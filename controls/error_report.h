// Sets the automation error information of the calling thread. Called before a failing member returns.
#pragma once

#include <windows.h>

#include <string>

namespace ulix::controls {

// Describes the failure of a member of `interface_id`. `source` is the ProgID of the class. `description` is in
// Windows-1252.
void ReportError(REFIID interface_id, const std::wstring& source, const std::string& description);

}  // namespace ulix::controls
