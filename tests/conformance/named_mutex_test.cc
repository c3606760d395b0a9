// Named mutexes between threads and between processes. The other process is this program run with arguments, so its
// main function is in this file.
#include "platform/named_mutex.h"

#include <gtest/gtest.h>

#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <future>
#include <thread>

#include "tests/support/unique_name.h"

namespace ulix {
namespace {

namespace fs = std::filesystem;
using std::chrono::milliseconds;
using std::chrono::steady_clock;

constexpr milliseconds kLong{20'000};
constexpr const char* kDies = "dies";

std::string holder_program;  // The file name of this program, which is in the current folder.

// Returns false when the condition did not come true in time.
template <typename Condition>
bool Await(Condition&& condition) {
  const auto end = steady_clock::now() + kLong;
  while (!condition()) {
    if (steady_clock::now() > end) return false;
    std::this_thread::sleep_for(milliseconds(2));
  }
  return true;
}

// The other process locks the mutex, makes a file, waits until the file is removed, and ends.
int HoldMutex(const std::string& name, const fs::path& file, const std::string& end) {
  platform::NamedMutex mutex(name);
  if (!mutex.LockFor(kLong)) return 1;
  std::ofstream(file) << "held";
  const bool released = Await([&] { return !fs::exists(file); });
  if (end == kDies) std::_Exit(0);
  mutex.Unlock();
  return released ? 0 : 1;
}

class NamedMutexConformance : public testing::Test {
 protected:
  ~NamedMutexConformance() override { platform::RemoveNamedMutex(name); }
  bool AnotherThreadGetsIt(milliseconds wait) const {
    return std::async(std::launch::async,
                      [&] {
                        platform::NamedMutex own(name);
                        const bool got = own.LockFor(wait);
                        if (got) own.Unlock();
                        return got;
                      })
        .get();
  }
  const std::string name = UniqueName("UlixConformance");
  platform::NamedMutex mutex{name};
};

TEST_F(NamedMutexConformance, LockedTwiceByOneThread_OthersTimeOutUntilBothAreUnlocked) {
  platform::NamedMutex same(name);
  ASSERT_TRUE(mutex.LockFor(kLong));
  EXPECT_TRUE(same.LockFor(milliseconds(0)));
  for (int held = 2; held > 0; --held) {
    const auto start = steady_clock::now();
    EXPECT_FALSE(AnotherThreadGetsIt(milliseconds(50)));
    EXPECT_GE(steady_clock::now() - start, milliseconds(50));
    (held == 2 ? mutex : same).Unlock();
  }
  EXPECT_TRUE(AnotherThreadGetsIt(kLong));
}

TEST_F(NamedMutexConformance, HeldByAnotherProcess_IsFreeWhenItUnlocksOrDies) {
  for (const char* end : {"unlocks", kDies}) {
    SCOPED_TRACE(end);
    const fs::path file = fs::temp_directory_path() / UniqueName("ulix-holder-");
    const std::string program = (fs::path(".") / holder_program).make_preferred().string();
    const std::string command = program + " " + name + " " + file.string() + " " + end;
    const auto process = std::async(std::launch::async, [command] { return std::system(command.c_str()); });
    ASSERT_TRUE(Await([&] { return fs::exists(file); }));
    platform::LockProblem problem;
    EXPECT_FALSE(mutex.LockFor(milliseconds(50), &problem));
    EXPECT_EQ(problem.cause, platform::LockProblem::Cause::kHeld);
    EXPECT_NE(problem.object.find(name), std::string::npos) << problem.object;
    fs::remove(file);
    ASSERT_TRUE(mutex.LockFor(kLong));
    mutex.Unlock();
  }
}

}  // namespace
}  // namespace ulix

int main(int argc, char** argv) {
  testing::InitGoogleTest(&argc, argv);
  if (argc > 3) return ulix::HoldMutex(argv[1], argv[2], argv[3]);
  // Every command interpreter takes a name without a folder. A path could contain blanks.
  const std::filesystem::path program = argv[0];
  if (program.has_parent_path()) std::filesystem::current_path(program.parent_path());
  ulix::holder_program = program.filename().string();
  return RUN_ALL_TESTS();
}
