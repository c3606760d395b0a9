#include "platform/named_mutex.h"

#include <gtest/gtest.h>

#include <filesystem>
#include <future>
#include <string>

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
