// Tests that are short by default and can be run for as long as wanted, ULIX_SOAK_SECONDS=3600 and the like, and what
// must not grow in them.
#pragma once

#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <iterator>

namespace ulix {

// The number in the environment variable, or the usual one where it has none above 0.
inline int LongRun(const char* variable, int usual) {
  const char* text = std::getenv(variable);
  const int number = text ? std::atoi(text) : 0;
  return number > 0 ? number : usual;
}

// Of the process; 0 where the system does not tell.
inline long ResidentPages() {
  long size = 0;
  long resident = 0;
  std::ifstream("/proc/self/statm") >> size >> resident;
  return resident;
}
inline long EntriesOf(const char* folder) {
  std::error_code none;
  return static_cast<long>(std::distance(std::filesystem::directory_iterator(folder, none), {}));
}
inline long OpenHandles() { return EntriesOf("/proc/self/fd"); }
inline long SystemThreads() { return EntriesOf("/proc/self/task"); }

}  // namespace ulix
