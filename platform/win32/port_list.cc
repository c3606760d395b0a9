#include "platform/port_list.h"

#include <windows.h>

#include <algorithm>
#include <array>
#include <charconv>
#include <cstdlib>
#include <fstream>

#include "base/text.h"

namespace ulix::platform {
namespace {

constexpr std::string_view kDeviceFolder = R"(\\.\)";

// The number behind "COM". A text of another form gives 0 or a number that is none: entries are not sifted.
int NumberOf(std::string_view text) {
  int number = 0;
  text = Trimmed(text.substr(std::min<std::size_t>(3, text.size())));
  std::from_chars(text.data(), text.data() + text.size(), number);
  return number;
}

// Where the user put ports of his own: values "COM5" = "rfc2217://bench-3:4001", or a device path.
constexpr const char* kPortMapKey = R"(Software\ULIX Servers\Ports)";

// The location that the user gave a number: in the environment (ULIX_COM5), the registry, or the file "ulix\ports" in
// his application data, in this order.
std::optional<std::string> MappedPort(int port) {
  const std::string name = "COM" + std::to_string(port);
  if (const char* text = std::getenv(("ULIX_" + name).c_str()); text && *text) return text;
  std::array<char, 512> data{};
  DWORD size = static_cast<DWORD>(data.size() - 1);
  if (RegGetValueA(HKEY_CURRENT_USER, kPortMapKey, name.c_str(), RRF_RT_REG_SZ, nullptr, data.data(), &size) ==
      ERROR_SUCCESS) {
    return std::string(data.data());
  }
  const char* folder = std::getenv("APPDATA");
  std::ifstream file(std::string(folder ? folder : "") + R"(\ulix\ports)");
  for (std::string line; std::getline(file, line);) {
    const std::size_t equals = line.find('=');
    if (equals != std::string::npos && EqualIgnoringCase(Trimmed(std::string_view(line).substr(0, equals)), name)) {
      return std::string(Trimmed(std::string_view(line).substr(equals + 1)));
    }
  }
  return std::nullopt;
}

std::string DevicePath(int port) { return std::string(kDeviceFolder) + "COM" + std::to_string(port); }

// The numbers in the registry's order. What cannot be read of an entry stays as the one before left it.
std::vector<int> RegisteredPorts(HKEY key) {
  constexpr DWORD kBufferSize = 256;
  std::array<char, kBufferSize> name{};
  std::array<char, kBufferSize + 1> data{};
  std::vector<int> numbers;
  for (DWORD index = 0; index < kMaxListedPorts; ++index) {
    DWORD name_size = kBufferSize;
    DWORD data_size = kBufferSize;
    auto* bytes = reinterpret_cast<BYTE*>(data.data());
    const LSTATUS status = RegEnumValueA(key, index, name.data(), &name_size, nullptr, nullptr, bytes, &data_size);
    if (status == ERROR_NO_MORE_ITEMS) break;
    if (status == ERROR_SUCCESS) data[data_size] = '\0';
    numbers.push_back(NumberOf(data.data()));
  }
  return numbers;
}

}  // namespace

std::vector<PortEntry> ListSerialPorts() {
  HKEY key = nullptr;
  if (RegOpenKeyExA(HKEY_LOCAL_MACHINE, R"(Hardware\DeviceMap\SerialComm)", 0, KEY_READ, &key) != ERROR_SUCCESS) {
    return {};
  }
  std::vector<int> numbers = RegisteredPorts(key);
  RegCloseKey(key);
  std::sort(numbers.begin(), numbers.end());
  std::vector<PortEntry> entries;
  for (const int number : numbers) entries.push_back({number, DevicePath(number)});
  return entries;
}

std::optional<std::string> DeviceOfPort(int port) {
  if (port <= 0) return std::nullopt;
  auto mapped = MappedPort(port);
  return mapped ? std::move(mapped) : DevicePath(port);
}

int PortOfDevice(const std::string& device) {
  std::string_view name = device;
  if (name.starts_with(kDeviceFolder)) name.remove_prefix(kDeviceFolder.size());
  const int number = NumberOf(name);
  const bool is_port = number > 0 && EqualIgnoringCase(name, "COM" + std::to_string(number));
  return is_port ? number : 0;
}

}  // namespace ulix::platform
