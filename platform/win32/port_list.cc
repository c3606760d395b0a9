#include "platform/port_list.h"

#include <windows.h>

#include <algorithm>
#include <array>
#include <charconv>

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

std::optional<std::string> DeviceOfPort(int port) { return port > 0 ? std::optional(DevicePath(port)) : std::nullopt; }

int PortOfDevice(const std::string& device) {
  std::string_view name = device;
  if (name.starts_with(kDeviceFolder)) name.remove_prefix(kDeviceFolder.size());
  const int number = NumberOf(name);
  const bool is_port = number > 0 && EqualIgnoringCase(name, "COM" + std::to_string(number));
  return is_port ? number : 0;
}

}  // namespace ulix::platform
