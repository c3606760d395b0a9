// Another process that holds a named mutex: this program again, run with arguments.
#pragma once

#include <filesystem>
#include <future>
#include <string>
#include <vector>

namespace ulix {

enum class HoldersEnd { kUnlocks, kDies };

// The file name of this program, which is in the current folder.
void SetHolderProgram(const std::string& name);

// What that process does: takes the mutex, makes a file, waits until it is removed, and ends. The exit status.
int HoldMutex(const std::vector<std::string>& arguments);

class MutexHolder {
 public:
  // Returns when the process has the mutex.
  MutexHolder(const std::string& mutex, HoldersEnd end);
  ~MutexHolder();
  MutexHolder(const MutexHolder&) = delete;
  MutexHolder& operator=(const MutexHolder&) = delete;

  bool holding() const;
  // Lets it end; returns at once.
  void Release();

 private:
  std::filesystem::path file_;
  std::future<int> process_;
};

}  // namespace ulix
