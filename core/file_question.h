// A question to the user for a file.
#pragma once

#include <string>

namespace ulix {

// Texts are Windows-1252, in the user's language.
struct FileQuestion {
  std::string title;
  std::string files;      // The name of such files: "Memolog Files (*.p90)".
  std::string pattern;    // "*.p90"
  std::string suggested;  // A path; may be empty.
  bool to_write = false;  // The file will be written: it need not exist, and an existing one is replaced.
};

}  // namespace ulix
