// The named mutex between processes, and after the death of one that held it.
#include <fcntl.h>
#include <gtest/gtest.h>
#include <signal.h>
#include <sys/wait.h>
#include <unistd.h>

#include <array>
#include <fstream>
#include <future>

#include "platform/named_mutex.h"
#include "platform/posix/file_descriptor.h"

namespace ulix::platform {
namespace {

using std::chrono::milliseconds;
using std::chrono::steady_clock;

constexpr milliseconds kLong{20'000};

std::string OwnName(const char* what) { return "UlixTest" + std::to_string(getpid()) + what; }
std::string FileOf(const std::string& name) { return "/dev/shm/ulix." + name; }

struct Pipe {
  Pipe() {
    std::array<int, 2> ends{};
    EXPECT_EQ(pipe2(ends.data(), O_CLOEXEC), 0);
    out = FileDescriptor(ends[0]);
    in = FileDescriptor(ends[1]);
  }
  void Put() const { EXPECT_EQ(write(in.get(), "x", 1), 1); }
  bool Take() const {
    char byte = 0;
    return read(out.get(), &byte, 1) == 1;
  }
  FileDescriptor out, in;
};

// A process that takes the mutex, says so, and gives it back when told. Made while the test has one thread.
class Holder {
 public:
  explicit Holder(const std::string& name) : pid_(fork()) {
    if (pid_ == 0) {
      NamedMutex mutex(name);
      if (!mutex.LockFor(kLong)) _exit(1);
      held_.Put();
      release_.Take();
      mutex.Unlock();
      _exit(0);
    }
    EXPECT_TRUE(held_.Take());
  }
  ~Holder() {
    Kill();
    waitpid(pid_, nullptr, 0);
  }
  void Release() { release_.Put(); }
  void Kill() { kill(pid_, SIGKILL); }

 private:
  Pipe held_, release_;
  pid_t pid_;
};

class NamedMutexProcessTest : public testing::Test {
 protected:
  ~NamedMutexProcessTest() override { unlink(FileOf(name_).c_str()); }
  const std::string name_ = OwnName("P");
};

TEST_F(NamedMutexProcessTest, ShutsOutOtherProcesses) {
  Holder holder(name_);
  NamedMutex mutex(name_);
  EXPECT_FALSE(mutex.LockFor(milliseconds(20)));
  holder.Release();
  EXPECT_TRUE(mutex.LockFor(kLong));
  mutex.Unlock();
}

TEST_F(NamedMutexProcessTest, AKilledHolderBlocksNobody) {
  constexpr int kRounds = 100;
  constexpr milliseconds kBound{100};
  steady_clock::duration worst{};
  for (int round = 0; round < kRounds; ++round) {
    Holder holder(name_);
    NamedMutex mutex(name_);
    // Every other time somebody waits already when the holder dies.
    const auto got_at = [&] {
      EXPECT_TRUE(mutex.LockFor(kLong));
      const auto at = steady_clock::now();
      mutex.Unlock();
      return at;
    };
    auto waiter = round % 2 == 0 ? std::async(std::launch::async, got_at) : std::future<steady_clock::time_point>();
    const auto killed = steady_clock::now();
    holder.Kill();
    worst = std::max(worst, (waiter.valid() ? waiter.get() : got_at()) - killed);
    ASSERT_LT(worst, kBound) << round;
  }
  RecordProperty("worst_us", static_cast<int>(std::chrono::duration_cast<std::chrono::microseconds>(worst).count()));
}

TEST_F(NamedMutexProcessTest, ADamagedPageIsRefused) {
  for (const std::size_t size : {0u, 7u, 48u, 4096u}) {
    const std::string name = OwnName("D") + std::to_string(size);
    std::ofstream(FileOf(name)) << std::string(size, '\xA5');
    NamedMutex mutex(name);
    EXPECT_FALSE(mutex.LockFor(milliseconds(1))) << size;
    unlink(FileOf(name).c_str());
  }
}

}  // namespace
}  // namespace ulix::platform
