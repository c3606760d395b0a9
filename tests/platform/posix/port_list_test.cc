#include "platform/port_list.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <filesystem>
#include <fstream>

#include "links/port_enumeration.h"
#include "platform/posix/port_numbers.h"
#include "tests/support/scoped_env.h"

namespace ulix {
namespace {

namespace fs = std::filesystem;

// Each test has a folder of its own for the user's port file.
class PortListTest : public testing::Test {
 protected:
  PortListTest() {
    std::string pattern = fs::temp_directory_path() / "ulix-ports-XXXXXX";
    home_ = mkdtemp(pattern.data());
    fs::create_directories(home_ / "ulix");
    config_.emplace("XDG_CONFIG_HOME", home_);
  }
  ~PortListTest() override { fs::remove_all(home_); }
  void WritePortFile(std::string_view text) { std::ofstream(home_ / "ulix/ports") << text; }

  fs::path home_;
  std::optional<ScopedEnv> config_;
};

TEST_F(PortListTest, EnvironmentThenPortFile_NameThePorts) {
  const ScopedEnv five("ULIX_COM5", "/dev/from-environment");
  WritePortFile(
      "# my ports\n COM5 = /dev/from-file\nCOM10=/dev/ten\n\nCOM1=/dev/one\nCOM0=/dev/no\nCOMx=/dev/no\nCOM3\n");
  EXPECT_EQ(platform::DeviceOfPort(5), "/dev/from-environment");
  EXPECT_EQ(platform::DeviceOfPort(10), "/dev/ten");
  EXPECT_EQ(platform::DeviceOfPort(1), "/dev/one");
  EXPECT_EQ(platform::DeviceOfPort(0), std::nullopt);
  EXPECT_EQ(platform::DeviceOfPort(31999), std::nullopt);

  std::vector<int> ports = {99};
  const int count = EnumSerialPorts(ports);
  EXPECT_EQ(count, static_cast<int>(ports.size()));
  EXPECT_TRUE(std::is_sorted(ports.begin(), ports.end()));
  for (const int port : {1, 5, 10}) EXPECT_EQ(std::count(ports.begin(), ports.end(), port), 1) << port;
}

TEST_F(PortListTest, DeviceOfAnyPath_HasANumber) {
  WritePortFile("COM10=/dev/ten\n");
  EXPECT_EQ(platform::PortOfDevice("/dev/ten"), 10);
  const int number = platform::PortOfDevice("/dev/somewhere");
  EXPECT_GT(number, 0);
  EXPECT_EQ(platform::DeviceOfPort(number), "/dev/somewhere") << "the number stays";
  WritePortFile("COM1=/dev/null\n");
  fs::create_symlink("/dev/null", home_ / "link");
  EXPECT_EQ(platform::PortOfDevice(home_ / "link"), 1) << "a link to a listed device";
}

TEST_F(PortListTest, DevicesWithoutAnEntry_GetTheFreeNumbers) {
  const std::vector<std::string> devices = {"/dev/null", "/dev/zero", "/dev/full"};
  const auto numbers = [&](const platform::PortNumbers& entries) { return platform::NumberedPorts(entries, devices); };
  using Numbers = platform::PortNumbers;
  EXPECT_EQ(numbers({}), (Numbers{{1, "/dev/null"}, {2, "/dev/zero"}, {3, "/dev/full"}}));
  EXPECT_EQ(numbers({{5, "/dev/zero"}}), (Numbers{{1, "/dev/null"}, {3, "/dev/full"}, {5, "/dev/zero"}}));
  EXPECT_EQ(numbers({{1, "tcp://bench-3:4001"}, {4, "/dev/full"}}),
            (Numbers{{1, "tcp://bench-3:4001"}, {2, "/dev/zero"}, {4, "/dev/full"}, {5, "/dev/null"}}));
  const fs::path link = home_ / "by-id";
  fs::create_symlink("/dev/zero", link);
  EXPECT_EQ(numbers({{7, link}}), (Numbers{{1, "/dev/null"}, {3, "/dev/full"}, {7, link}})) << "named by a link";
}

TEST_F(PortListTest, MoreThan256Ports_AreListedUpTo256) {
  std::string file;
  for (int i = 1; i <= 300; ++i) file += "COM" + std::to_string(i) + "=/dev/many" + std::to_string(i) + "\n";
  WritePortFile(file);
  std::vector<int> ports;
  EXPECT_EQ(EnumSerialPorts(ports), 256);
  EXPECT_EQ(ports.back(), 256);
  EXPECT_EQ(platform::DeviceOfPort(300), "/dev/many300");
}

}  // namespace
}  // namespace ulix
