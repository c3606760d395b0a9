// The system's dialog about a file.
#pragma once

#include <windows.h>

#include <optional>
#include <string>

#include "core/file_question.h"

namespace ulix::controls {

// Modal to `owner`, which may be null. The path that was chosen; none when the person gave up, empty where no dialog
// can be shown.
std::optional<std::string> AskForFile(const FileQuestion& question, HWND owner);

}  // namespace ulix::controls
