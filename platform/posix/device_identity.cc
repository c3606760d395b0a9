#include "platform/posix/device_identity.h"

#include <sys/stat.h>
#include <sys/sysmacros.h>
#include <unistd.h>

#include <array>
#include <charconv>
#include <fstream>
#include <optional>
#include <sstream>

namespace ulix::platform {
namespace {

namespace fs = std::filesystem;

std::string FirstLine(const fs::path& file) {
  std::ifstream stream(file);
  std::string line;
  std::getline(stream, line);
  return line;
}

// `from` or the nearest folder above it that has the attribute; empty when none has.
fs::path FolderWith(const char* attribute, fs::path from) {
  for (std::error_code error; from.has_relative_path(); from = from.parent_path()) {
    if (fs::exists(from / attribute, error)) return from;
  }
  return {};
}

// The process in a line of the kernel's lock table, if the line is about this file; else 0. A line looks like "1: FLOCK
// ADVISORY WRITE 708 00:05:1123 0 EOF".
std::int64_t LockHolder(const std::string& line, const struct stat& file) {
  std::istringstream words(line);
  std::string number, kind, mode, access, place;
  std::int64_t process = 0;
  if (!(words >> number >> kind >> mode >> access >> process >> place) || process <= 0) return 0;
  std::array<char, 48> wanted{};
  std::snprintf(wanted.data(), wanted.size(), "%02x:%02x:%lu", major(file.st_dev), minor(file.st_dev),
                static_cast<unsigned long>(file.st_ino));
  return place == wanted.data() ? process : 0;
}

bool HasOpen(const fs::path& process, dev_t device) {
  std::error_code error;
  for (const auto& entry : fs::directory_iterator(process / "fd", error)) {
    struct stat open_file {};
    if (stat(entry.path().c_str(), &open_file) == 0 && S_ISCHR(open_file.st_mode) && open_file.st_rdev == device) {
      return true;
    }
  }
  return false;
}

std::optional<std::int64_t> ProcessId(const fs::path& folder) {
  const std::string name = folder.filename();
  std::int64_t id = 0;
  const auto [end, error] = std::from_chars(name.data(), name.data() + name.size(), id);
  if (error != std::errc() || end != name.data() + name.size()) return std::nullopt;
  return id;
}

}  // namespace

std::string UsbIdentity(dev_t device, const fs::path& sysfs) {
  std::error_code error;
  const std::string number = std::to_string(major(device)) + ":" + std::to_string(minor(device));
  const fs::path folder = fs::canonical(sysfs / "dev/char" / number, error);
  if (error) return {};
  // The nearest folder with a vendor id is that of the adapter; the hubs above it have serial numbers too.
  const fs::path adapter = FolderWith("idVendor", folder);
  if (adapter.empty()) return {};
  const fs::path interface = FolderWith("bInterfaceNumber", folder);
  const fs::path port = FolderWith("port_number", folder);
  return "usb " + FirstLine(adapter / "idVendor") + ":" + FirstLine(adapter / "idProduct") + " " +
         FirstLine(adapter / "serial") + " " + FirstLine(interface / "bInterfaceNumber") + " " +
         FirstLine(port / "port_number");
}

std::int64_t HolderOf(const std::string& path) {
  struct stat file {};
  if (stat(path.c_str(), &file) != 0) return 0;
  std::ifstream locks("/proc/locks");
  for (std::string line; std::getline(locks, line);) {
    if (const std::int64_t holder = LockHolder(line, file); holder != 0) return holder;
  }
  std::error_code error;
  for (const auto& entry : fs::directory_iterator("/proc", error)) {
    const auto id = ProcessId(entry.path());
    if (id && *id != getpid() && HasOpen(entry.path(), file.st_rdev)) return *id;
  }
  return 0;
}

}  // namespace ulix::platform
