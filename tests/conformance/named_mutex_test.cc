#include "platform/named_mutex.h"

#include <gtest/gtest.h>

#include "tests/conformance/mutex_holder.h"

namespace ulix {
namespace {

using std::chrono::milliseconds;

constexpr milliseconds kLong{20'000};

// One that no other run of the program uses.
std::string NewName() {
  return "UlixConformance" + std::to_string(std::chrono::steady_clock::now().time_since_epoch().count());
}

TEST(NamedMutexConformance, ShutsOutOtherProcesses) {
  const std::string name = NewName();
  MutexHolder holder(name, HoldersEnd::kUnlocks);
  ASSERT_TRUE(holder.holding());
  platform::NamedMutex mutex(name);
  EXPECT_FALSE(mutex.LockFor(milliseconds(50)));
  holder.Release();
  ASSERT_TRUE(mutex.LockFor(kLong));
  EXPECT_TRUE(mutex.LockFor(milliseconds(0)));
  mutex.Unlock();
  mutex.Unlock();
}

TEST(NamedMutexConformance, AHolderThatDiesBlocksNobody) {
  const std::string name = NewName();
  MutexHolder holder(name, HoldersEnd::kDies);
  ASSERT_TRUE(holder.holding());
  platform::NamedMutex mutex(name);
  EXPECT_FALSE(mutex.LockFor(milliseconds(0)));
  holder.Release();
  ASSERT_TRUE(mutex.LockFor(kLong));
  mutex.Unlock();
}

}  // namespace
}  // namespace ulix
