#include "platform/port_list.h"

#include <windows.h>

#include <algorithm>
#include <array>
#include <charconv>
#include <cstdlib>
#include <fstream>
#include <map>

#include "base/text.h"

namespace ulix::platform {
namespace {

constexpr std::string_view kDeviceFolder = R"(\\.\)";

// The number after "COM". A text of another form gives 0 or a wrong number; hosts expect such entries in the list.
int NumberOf(std::string_view text) {
  int number = 0;
  text = Trimmed(text.substr(std::min<std::size_t>(3, text.size())));
  std::from_chars(text.data(), text.data() + text.size(), number);
  return number;
}

// The registry key with the user's entries: a value "COM5" holds a URL such as "rfc2217://bench-3:4001" or a device
// path.
constexpr const char* kPortMapKey = R"(Software\ULIX Servers\Ports)";

// The user's entries by number. The first entry for a number counts.
using PortMap = std::map<int, std::string>;

// The number in an entry's name; 0 for any other name.
int NumberOfEntry(std::string_view name, std::string_view prefix) {
  int number = 0;
  if (name.size() <= prefix.size() || !EqualIgnoringCase(name.substr(0, prefix.size()), prefix)) return 0;
  const std::string_view digits = name.substr(prefix.size());
  const auto [end, error] = std::from_chars(digits.data(), digits.data() + digits.size(), number);
  return error == std::errc() && end == digits.data() + digits.size() && number > 0 ? number : 0;
}

// Takes an entry such as "COM5=rfc2217://bench-3:4001".
void AddEntry(PortMap& ports, std::string_view line, std::string_view prefix) {
  const std::size_t equals = line.find('=');
  if (equals == std::string_view::npos) return;
  const int number = NumberOfEntry(Trimmed(line.substr(0, equals)), prefix);
  const std::string_view location = Trimmed(line.substr(equals + 1));
  if (number > 0 && !location.empty()) ports.emplace(number, location);
}

void AddEnvironment(PortMap& ports) {
  char* const block = GetEnvironmentStringsA();
  for (const char* entry = block; entry && *entry; entry += std::string_view(entry).size() + 1) {
    AddEntry(ports, entry, "ULIX_COM");
  }
  if (block) FreeEnvironmentStringsA(block);
}

void AddRegistry(PortMap& ports) {
  HKEY key = nullptr;
  if (RegOpenKeyExA(HKEY_CURRENT_USER, kPortMapKey, 0, KEY_READ, &key) != ERROR_SUCCESS) return;
  std::array<char, 256> name{};
  std::array<char, 512> data{};
  for (DWORD index = 0;; ++index) {
    DWORD name_size = name.size();
    DWORD data_size = data.size() - 1;
    DWORD type = 0;
    auto* bytes = reinterpret_cast<BYTE*>(data.data());
    const LSTATUS status = RegEnumValueA(key, index, name.data(), &name_size, nullptr, &type, bytes, &data_size);
    if (status != ERROR_SUCCESS && status != ERROR_MORE_DATA) break;
    if (status != ERROR_SUCCESS || type != REG_SZ) continue;
    data[data_size] = '\0';
    AddEntry(ports, std::string(name.data()) + "=" + data.data(), "COM");
  }
  RegCloseKey(key);
}

void AddFile(PortMap& ports) {
  const char* folder = std::getenv("APPDATA");
  std::ifstream file(std::string(folder ? folder : "") + R"(\ulix\ports)");
  for (std::string line; std::getline(file, line);) AddEntry(ports, line, "COM");
}

// All entries: from the environment (ULIX_COM5), then the registry, then the file "ulix\ports" in the user's
// application data.
PortMap MappedPorts() {
  PortMap ports;
  AddEnvironment(ports);
  AddRegistry(ports);
  AddFile(ports);
  return ports;
}

std::string DevicePath(int port) { return std::string(kDeviceFolder) + "COM" + std::to_string(port); }

// The numbers in the order of the registry. An entry that cannot be read repeats the one before it, as hosts expect.
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
  std::vector<int> numbers;
  if (RegOpenKeyExA(HKEY_LOCAL_MACHINE, R"(Hardware\DeviceMap\SerialComm)", 0, KEY_READ, &key) == ERROR_SUCCESS) {
    numbers = RegisteredPorts(key);
    RegCloseKey(key);
  }
  PortMap mapped = MappedPorts();
  std::vector<PortEntry> entries;
  for (const int number : numbers) {
    if (!mapped.contains(number)) entries.push_back({number, DevicePath(number)});
  }
  for (auto& [number, location] : mapped) entries.push_back({number, std::move(location)});
  std::stable_sort(entries.begin(), entries.end(),
                   [](const PortEntry& one, const PortEntry& other) { return one.number < other.number; });
  if (entries.size() > kMaxListedPorts) entries.resize(kMaxListedPorts);
  return entries;
}

std::optional<std::string> DeviceOfPort(int port) {
  if (port <= 0) return std::nullopt;
  const PortMap mapped = MappedPorts();
  const auto found = mapped.find(port);
  return found == mapped.end() ? DevicePath(port) : found->second;
}

int PortOfDevice(const std::string& device) {
  std::string_view name = device;
  if (name.starts_with(kDeviceFolder)) name.remove_prefix(kDeviceFolder.size());
  const int number = NumberOf(name);
  const bool is_port = number > 0 && EqualIgnoringCase(name, "COM" + std::to_string(number));
  return is_port ? number : 0;
}

}  // namespace ulix::platform
