#include "platform/mutex.h"

#include <gtest/gtest.h>

#include <chrono>
#include <thread>

namespace ulix::platform {
namespace {

using std::chrono::milliseconds, std::chrono::steady_clock;

TEST(Mutex, Locked_IsNotLockedByAnother) {
  Mutex mutex;
  std::unique_lock lock(mutex);
  bool locked = true;
  std::thread([&] { locked = mutex.try_lock(); }).join();
  EXPECT_FALSE(locked);
  lock.unlock();
  std::thread([&] {
    locked = mutex.try_lock();
    if (locked) mutex.unlock();
  }).join();
  EXPECT_TRUE(locked);
}

TEST(ConditionVariable, NotNotified_EndsTheWaitNotBeforeItsTime) {
  Mutex mutex;
  ConditionVariable changed;
  std::unique_lock lock(mutex);
  const auto until = steady_clock::now() + milliseconds(30);
  EXPECT_FALSE(changed.wait_until(lock, until, [] { return false; }));
  EXPECT_GE(steady_clock::now(), until);
  EXPECT_TRUE(lock.owns_lock());
  EXPECT_FALSE(changed.wait_for(lock, milliseconds(-5), [] { return false; }));
}

TEST(ConditionVariable, Notified_WakesTheWaiterWithItsLock) {
  Mutex mutex;
  ConditionVariable changed;
  int turns = 0;  // guarded by mutex
  std::thread other([&] {
    for (int turn = 1; turn < 200; turn += 2) {
      std::unique_lock lock(mutex);
      changed.wait(lock, [&] { return turns == turn; });
      ++turns;
      changed.notify_one();
    }
  });
  for (int turn = 0; turn < 200; turn += 2) {
    std::unique_lock lock(mutex);
    EXPECT_TRUE(changed.wait_until(lock, steady_clock::time_point::max(), [&] { return turns == turn; }));
    ++turns;
    changed.notify_all();
  }
  other.join();
  EXPECT_EQ(turns, 200);
}

}  // namespace
}  // namespace ulix::platform
