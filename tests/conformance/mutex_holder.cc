#include "tests/conformance/mutex_holder.h"

#include <cstdlib>
#include <fstream>
#include <thread>

#include "platform/named_mutex.h"
#include "tests/support/unique_name.h"

namespace ulix {
namespace {

namespace fs = std::filesystem;
using std::chrono::steady_clock;

constexpr std::chrono::milliseconds kLong{20'000};
constexpr const char* kDies = "dies";

std::string holder_program;

// False when it did not come true in time.
template <typename Condition>
bool Await(Condition&& condition) {
  const auto end = steady_clock::now() + kLong;
  while (!condition()) {
    if (steady_clock::now() > end) return false;
    std::this_thread::sleep_for(std::chrono::milliseconds(2));
  }
  return true;
}

fs::path NewFile() { return fs::temp_directory_path() / UniqueName("ulix-holder-"); }

}  // namespace

void SetHolderProgram(const std::string& name) { holder_program = name; }

int HoldMutex(const std::vector<std::string>& arguments) {
  platform::NamedMutex mutex(arguments.at(1));
  const fs::path file = arguments.at(2);
  if (!mutex.LockFor(kLong)) return 1;
  std::ofstream(file) << "held";
  const bool told = Await([&] { return !fs::exists(file); });
  if (arguments.at(3) == kDies) std::_Exit(0);
  mutex.Unlock();
  return told ? 0 : 1;
}

MutexHolder::MutexHolder(const std::string& mutex, HoldersEnd end) : file_(NewFile()) {
  const std::string command = (fs::path(".") / holder_program).make_preferred().string() + " " + mutex + " " +
                              file_.string() + " " + (end == HoldersEnd::kDies ? kDies : "unlocks");
  process_ = std::async(std::launch::async, [command] { return std::system(command.c_str()); });
  Await([this] { return holding(); });
}

MutexHolder::~MutexHolder() { Release(); }

bool MutexHolder::holding() const { return fs::exists(file_); }

void MutexHolder::Release() {
  std::error_code ignored;
  fs::remove(file_, ignored);
}

}  // namespace ulix
