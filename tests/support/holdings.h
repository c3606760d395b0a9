// The handles, threads and memory of this process. They must not grow in a long run.
#pragma once

#ifdef _WIN32
#include <windows.h>

#include <psapi.h>
#include <tlhelp32.h>
#else
#include <unistd.h>

#include <filesystem>
#include <fstream>
#include <iterator>
#endif

namespace ulix {

struct Holdings {
  long handles = 0;
  long threads = 0;
  double megabytes = 0;  // Resident memory; on Windows private memory.
};

#ifdef _WIN32
// The runtime makes a lock's handle at the first wait for it.
inline constexpr long kHandlesOfLocks = 16;

inline Holdings HoldingsNow() {
  Holdings now;
  DWORD handles = 0;
  GetProcessHandleCount(GetCurrentProcess(), &handles);
  now.handles = static_cast<long>(handles);
  const HANDLE snapshot = CreateToolhelp32Snapshot(TH32CS_SNAPTHREAD, 0);
  THREADENTRY32 thread{};
  thread.dwSize = sizeof(thread);
  for (BOOL more = Thread32First(snapshot, &thread); more; more = Thread32Next(snapshot, &thread)) {
    now.threads += thread.th32OwnerProcessID == GetCurrentProcessId();
  }
  CloseHandle(snapshot);
  PROCESS_MEMORY_COUNTERS_EX memory{};
  GetProcessMemoryInfo(GetCurrentProcess(), reinterpret_cast<PROCESS_MEMORY_COUNTERS*>(&memory), sizeof(memory));
  now.megabytes = static_cast<double>(memory.PrivateUsage) / (1 << 20);
  return now;
}
#else
inline constexpr long kHandlesOfLocks = 0;

inline long EntriesOf(const char* folder) {
  std::error_code none;
  return static_cast<long>(std::distance(std::filesystem::directory_iterator(folder, none), {}));
}

inline Holdings HoldingsNow() {
  Holdings now{.handles = EntriesOf("/proc/self/fd"), .threads = EntriesOf("/proc/self/task")};
  long size = 0;
  long resident = 0;
  std::ifstream("/proc/self/statm") >> size >> resident;
  now.megabytes = static_cast<double>(resident) * static_cast<double>(sysconf(_SC_PAGESIZE)) / (1 << 20);
  return now;
}
#endif

}  // namespace ulix
