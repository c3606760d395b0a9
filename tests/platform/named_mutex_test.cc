#include "platform/named_mutex.h"

#include <gtest/gtest.h>

#include <atomic>
#include <filesystem>
#include <future>
#include <string>
#include <thread>

#include "tests/support/unique_name.h"

namespace ulix::platform {
namespace {

using std::chrono::milliseconds;
using std::chrono::steady_clock;

constexpr milliseconds kLong{20'000};
const std::string kName = UniqueName("UlixTest");
const std::string kOtherName = UniqueName("UlixTest");

class NamedMutexTest : public testing::Test {
 protected:
  // Some systems keep a file for each name.
  ~NamedMutexTest() override {
    for (const std::string& name : {kName, kOtherName}) std::filesystem::remove("/dev/shm/ulix." + name);
  }
};

// Whether another thread gets the mutex within `wait`; it gives it back.
bool AnotherThreadGetsIt(milliseconds wait) {
  return std::async(std::launch::async,
                    [wait] {
                      NamedMutex mutex(kName);
                      const bool got = mutex.LockFor(wait);
                      if (got) mutex.Unlock();
                      return got;
                    })
      .get();
}

TEST_F(NamedMutexTest, IsRecursiveForItsThreadWhateverObjectItUses) {
  NamedMutex mutex(kName);
  NamedMutex same(kName);
  ASSERT_TRUE(mutex.LockFor(kLong));
  EXPECT_TRUE(same.LockFor(milliseconds(0)));
  EXPECT_TRUE(mutex.LockFor(milliseconds(0)));
  for (int held = 3; held > 0; --held) {
    EXPECT_FALSE(AnotherThreadGetsIt(milliseconds(1)));
    (held == 2 ? same : mutex).Unlock();
  }
  EXPECT_TRUE(AnotherThreadGetsIt(milliseconds(1)));
}

TEST_F(NamedMutexTest, WaitsItsTimeAndNoLonger) {
  NamedMutex mutex(kName);
  ASSERT_TRUE(mutex.LockFor(kLong));
  const auto start = steady_clock::now();
  EXPECT_FALSE(AnotherThreadGetsIt(milliseconds(50)));
  EXPECT_GE(steady_clock::now() - start, milliseconds(50));
  auto waiter = std::async(std::launch::async, [] { return AnotherThreadGetsIt(kLong); });
  mutex.Unlock();
  EXPECT_TRUE(waiter.get());
  EXPECT_LT(steady_clock::now() - start, milliseconds(10'000));
}

// A thread that gives it back and wants it again at once, as a group does that reads a mute instrument.
TEST_F(NamedMutexTest, WhoWaitsIsNotOvertaken) {
  constexpr int kTurns = 20;
  std::atomic<bool> stop = false;
  std::atomic<int> holds = 0;
  auto greedy = std::async(std::launch::async, [&] {
    for (NamedMutex mutex(kName); !stop; mutex.Unlock()) {
      if (!mutex.LockFor(kLong)) return;
      ++holds;
      std::this_thread::sleep_for(milliseconds(2));
    }
  });
  NamedMutex mutex(kName);
  int waited_for = 0;
  for (int turn = 0; turn < kTurns; ++turn) {
    const int before = holds;
    while (holds == before) std::this_thread::yield();
    EXPECT_TRUE(mutex.LockFor(kLong));
    waited_for += holds - before;
    mutex.Unlock();
  }
  EXPECT_LE(waited_for, 3 * kTurns) << "the hold that was there, and now and then one that began before the wait";
  stop = true;
}

TEST_F(NamedMutexTest, OtherNamesAreOtherMutexes) {
  NamedMutex mutex(kName);
  NamedMutex other(kOtherName);
  ASSERT_TRUE(mutex.LockFor(kLong));
  EXPECT_TRUE(std::async(std::launch::async, [&] {
                const bool got = other.LockFor(kLong);
                if (got) other.Unlock();
                return got;
              }).get());
  mutex.Unlock();
}

}  // namespace
}  // namespace ulix::platform
