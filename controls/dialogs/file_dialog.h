// The file dialog of the system.
#pragma once

#include <windows.h>

#include <optional>
#include <string>

#include "core/file_question.h"

namespace ulix::controls {

// Asks for a file. The dialog is modal to `owner`, which may be null. Returns the chosen path, nullopt when the user
// cancels, and an empty path when the dialog cannot be shown.
std::optional<std::string> AskForFile(const FileQuestion& question, HWND owner);

}  // namespace ulix::controls
