#include "platform/port_list.h"

#include <unistd.h>

#include <algorithm>
#include <array>
#include <charconv>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <mutex>
#include <set>

#include "base/text.h"
#include "platform/posix/port_numbers.h"

namespace ulix::platform {
namespace {

namespace fs = std::filesystem;

// PortOfDevice gives devices without a number one from here up.
constexpr int kFirstFreeNumber = 200;
constexpr int kLastNumber = 32767;  // the largest number in a saved configuration

std::mutex session_mutex;
PortNumbers& SessionPorts() {
  static PortNumbers ports;  // guarded by session_mutex
  return ports;
}

std::optional<int> PositiveNumber(std::string_view text) {
  int number = 0;
  const auto [end, error] = std::from_chars(text.data(), text.data() + text.size(), number);
  if (error != std::errc() || end != text.data() + text.size() || number < 0) return std::nullopt;
  return number;
}

// Takes an entry "<prefix>5=/dev/ttyS0".
void AddEntry(PortNumbers& ports, std::string_view line, std::string_view prefix) {
  line = Trimmed(line);
  const std::size_t equals = line.find('=');
  if (!line.starts_with(prefix) || equals == std::string_view::npos) return;
  const auto number = PositiveNumber(Trimmed(line.substr(prefix.size(), equals - prefix.size())));
  const std::string_view device = Trimmed(line.substr(equals + 1));
  if (number && *number > 0 && *number <= kLastNumber && !device.empty()) ports.emplace(*number, device);
}

fs::path PortFile() {
  if (const char* config = std::getenv("XDG_CONFIG_HOME"); config && *config) return fs::path(config) / "ulix/ports";
  const char* home = std::getenv("HOME");
  return fs::path(home ? home : "") / ".config/ulix/ports";
}

// The environment wins over the file.
PortNumbers ExplicitPorts() {
  PortNumbers ports;
  for (char** entry = environ; entry && *entry; ++entry) AddEntry(ports, *entry, "ULIX_COM");
  std::ifstream file(PortFile());
  for (std::string line; std::getline(file, line);) AddEntry(ports, line, "COM");
  return ports;
}

// The kernel also lists lines without hardware; their type is 0.
bool IsPhantom(const std::string& name) {
  std::ifstream type("/sys/class/tty/" + name + "/type");
  int number = 0;
  return (type >> number) && number == 0;
}

// Devices /dev/<stem>0, /dev/<stem>1, ... in the order of their numbers.
std::vector<std::string> DevicesNamed(std::string_view stem) {
  std::map<int, std::string> found;
  std::error_code error;
  for (const auto& entry : fs::directory_iterator("/dev", error)) {
    const std::string name = entry.path().filename();
    if (!name.starts_with(stem)) continue;
    const auto number = PositiveNumber(std::string_view(name).substr(stem.size()));
    if (number && !IsPhantom(name)) found.emplace(*number, entry.path());
  }
  std::vector<std::string> devices;
  devices.reserve(found.size());
  for (auto& [number, device] : found) devices.push_back(std::move(device));
  return devices;
}

// The machine's serial devices in their fixed order.
std::vector<std::string> MachineDevices() {
  std::vector<std::string> devices;
  for (const std::string_view stem : {"ttyS", "ttyUSB", "ttyACM"}) {
    for (auto& device : DevicesNamed(stem)) devices.push_back(std::move(device));
  }
  return devices;
}

// The device behind a path, with symbolic links followed. A path that leads nowhere, or a URL, is returned unchanged.
std::string DeviceBehind(const std::string& path) {
  std::error_code error;
  const fs::path device = fs::canonical(path, error);
  return error ? path : device.string();
}

PortNumbers AllPorts() { return NumberedPorts(ExplicitPorts(), MachineDevices()); }

}  // namespace

PortNumbers NumberedPorts(PortNumbers ports, const std::vector<std::string>& devices) {
  std::set<std::string> named;
  for (const auto& [number, device] : ports) named.insert(DeviceBehind(device));
  std::vector<std::string> displaced;
  for (int place = 1; place <= static_cast<int>(devices.size()); ++place) {
    const std::string& device = devices[static_cast<std::size_t>(place - 1)];
    if (!named.contains(device) && !ports.emplace(place, device).second) displaced.push_back(device);
  }
  int number = static_cast<int>(devices.size()) + 1;
  for (const std::string& device : displaced) {
    while (!ports.emplace(number, device).second) ++number;
  }
  return ports;
}

std::vector<PortEntry> ListSerialPorts() {
  std::vector<PortEntry> entries;
  for (auto& [number, device] : AllPorts()) {
    if (entries.size() < kMaxListedPorts) entries.push_back({number, device});
  }
  return entries;
}

std::optional<std::string> DeviceOfPort(int port) {
  {
    const std::lock_guard lock(session_mutex);
    if (const auto found = SessionPorts().find(port); found != SessionPorts().end()) return found->second;
  }
  const PortNumbers ports = AllPorts();
  const auto found = ports.find(port);
  if (found == ports.end()) return std::nullopt;
  return found->second;
}

int PortOfDevice(const std::string& device) {
  const std::string wanted = DeviceBehind(device);
  const auto is_device = [&](const auto& entry) {
    return entry.second == device || DeviceBehind(entry.second) == wanted;
  };
  const PortNumbers ports = AllPorts();
  if (const auto found = std::find_if(ports.begin(), ports.end(), is_device); found != ports.end()) return found->first;
  const std::lock_guard lock(session_mutex);
  PortNumbers& session = SessionPorts();
  if (const auto found = std::find_if(session.begin(), session.end(), is_device); found != session.end()) {
    return found->first;
  }
  for (int number = kFirstFreeNumber; number <= kLastNumber; ++number) {
    if (!ports.contains(number) && session.emplace(number, device).second) return number;
  }
  return 0;
}

}  // namespace ulix::platform
