#include "platform/port_list.h"

#include <gtest/gtest.h>
#include <windows.h>

#include <algorithm>

#include "links/port_enumeration.h"

namespace ulix {
namespace {

struct Value {
  const char* name;
  const char* text;
};

// The values are out of order, name one port twice, and some name no port.
constexpr Value kPortValues[] = {{"UlixTest0", "COM5010"}, {"UlixTest1", "COM5002"}, {"UlixTest2", "COM5001"},
                                 {"UlixTest3", "COM5002"}, {"UlixTest4", "CO"},      {"UlixTest5", "LPT5003x"},
                                 {"UlixTest6", "COMx"}};

// Adds values to the registry's list of ports for the duration of a test.
class PortListTest : public testing::Test {
 protected:
  void SetUp() override {
    const auto opened = RegCreateKeyExA(HKEY_LOCAL_MACHINE, R"(Hardware\DeviceMap\SerialComm)", 0, nullptr,
                                        REG_OPTION_VOLATILE, KEY_ALL_ACCESS, nullptr, &key_, nullptr);
    if (opened != ERROR_SUCCESS) GTEST_SKIP() << "this user may not change the list";
    for (const Value& value : kPortValues) {
      RegSetValueExA(key_, value.name, 0, REG_SZ, reinterpret_cast<const BYTE*>(value.text),
                     static_cast<DWORD>(std::string_view(value.text).size() + 1));
    }
  }
  ~PortListTest() override {
    for (const Value& value : kPortValues) RegDeleteValueA(key_, value.name);
    RegCloseKey(key_);
  }
  HKEY key_ = nullptr;
};

TEST_F(PortListTest, RegistryValues_AreListedInOrder) {
  std::vector<int> ports;
  const int count = EnumSerialPorts(ports);
  EXPECT_EQ(count, static_cast<int>(ports.size()));
  EXPECT_TRUE(std::is_sorted(ports.begin(), ports.end()));
  const auto from_5001 = std::find(ports.begin(), ports.end(), 5001);
  EXPECT_EQ(std::vector<int>(from_5001, ports.end()), (std::vector<int>{5001, 5002, 5002, 5003, 5010}));
  EXPECT_EQ(std::count(ports.begin(), ports.end(), 0), 2);
}

// Values of the user's own port map, for the duration of a test.
class PortMapTest : public testing::Test {
 protected:
  void SetUp() override {
    ASSERT_EQ(RegCreateKeyA(HKEY_CURRENT_USER, R"(Software\ULIX Servers\Ports)", &key_), ERROR_SUCCESS);
    Map("COM5021", "rfc2217://bench-3:4001");
    Map("com5022", "tcp://[::1]:4002");
    Map("COMx", "tcp://nowhere:1");
  }
  void Map(const char* name, const char* location) {
    RegSetValueExA(key_, name, 0, REG_SZ, reinterpret_cast<const BYTE*>(location),
                   static_cast<DWORD>(std::string_view(location).size() + 1));
  }
  ~PortMapTest() override {
    for (const char* name : {"COM5021", "com5022", "COMx"}) RegDeleteValueA(key_, name);
    RegCloseKey(key_);
  }
  HKEY key_ = nullptr;
};

TEST_F(PortMapTest, MappedPorts_AreListedAndFoundByNumber) {
  std::vector<std::string> locations;
  for (const platform::PortEntry& entry : platform::ListSerialPorts()) {
    if (entry.number == 5021 || entry.number == 5022) locations.push_back(entry.device);
  }
  EXPECT_EQ(locations, (std::vector<std::string>{"rfc2217://bench-3:4001", "tcp://[::1]:4002"}));
  EXPECT_EQ(platform::DeviceOfPort(5021), "rfc2217://bench-3:4001");
  _putenv_s("ULIX_COM5021", "tcp://other:1");
  EXPECT_EQ(platform::DeviceOfPort(5021), "tcp://other:1");
  _putenv_s("ULIX_COM5021", "");
}

TEST(PortOfDeviceTest, BothFormsOfAPortName_GiveItsNumber) {
  EXPECT_EQ(platform::PortOfDevice("COM5"), 5);
  EXPECT_EQ(platform::PortOfDevice(R"(\\.\com12)"), 12);
  for (const char* none : {"", "COM", "COM0", "COM-1", "COM5x", "LPT5", R"(\\.\)", "/dev/ttyS0"}) {
    EXPECT_EQ(platform::PortOfDevice(none), 0) << none;
  }
  EXPECT_EQ(platform::DeviceOfPort(5), R"(\\.\COM5)");
  EXPECT_EQ(platform::DeviceOfPort(0), std::nullopt);
}

}  // namespace
}  // namespace ulix
