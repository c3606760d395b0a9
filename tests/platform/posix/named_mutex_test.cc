#include "platform/named_mutex.h"

#include <gtest/gtest.h>

#include <atomic>
#include <filesystem>
#include <fstream>
#include <future>
#include <thread>

#include "tests/support/unique_name.h"

namespace ulix::platform {
namespace {

TEST(NamedMutexPageTest, ADamagedPageIsRefused) {
  for (const std::size_t size : {0u, 7u, 48u, 4096u}) {
    const std::string name = UniqueName("UlixTest");
    const std::filesystem::path page = "/dev/shm/ulix." + name;
    std::ofstream(page) << std::string(size, '\xA5');
    NamedMutex mutex(name);
    EXPECT_FALSE(mutex.LockFor(std::chrono::milliseconds(1))) << size;
    std::filesystem::remove(page);
  }
}

// A thread that gives it back and wants it again at once, as a group does that reads a mute instrument.
TEST(NamedMutexTest, WhoWaitsIsNotOvertaken) {
  constexpr std::chrono::milliseconds kLong{20'000};
  constexpr int kTurns = 20;
  const std::string name = UniqueName("UlixTest");
  std::atomic<bool> stop = false;
  std::atomic<int> holds = 0;
  auto greedy = std::async(std::launch::async, [&] {
    for (NamedMutex mutex(name); !stop; mutex.Unlock()) {
      if (!mutex.LockFor(kLong)) return;
      ++holds;
      std::this_thread::sleep_for(std::chrono::milliseconds(2));
    }
  });
  NamedMutex mutex(name);
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
  greedy.wait();
  std::filesystem::remove("/dev/shm/ulix." + name);
}

}  // namespace
}  // namespace ulix::platform
