// A file that a person is asked for.
#pragma once

#include <string>

namespace ulix {

// Texts are Windows-1252, in the person's language.
struct FileQuestion {
  std::string title;
  std::string files;      // what such files are called
  std::string pattern;    // "*.p90"
  std::string suggested;  // path; may be empty
  bool to_write = false;  // a file that need not be there; one that is there will be replaced
};

}  // namespace ulix
