#include "platform/named_mutex.h"

#include <gtest/gtest.h>

#include <filesystem>
#include <fstream>

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

}  // namespace
}  // namespace ulix::platform
