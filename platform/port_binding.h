// The name of a serial port, and the device that it stands for.
#pragma once

#include <cstdint>
#include <functional>
#include <memory>
#include <string>

#include "platform/serial_port.h"

namespace ulix::platform {

// A port as its user names it. A location is used as it is; a number alone is looked up (platform/port_list.h).
struct PortAddress {
  std::int32_t number = 1;  // the 5 in COM5
  std::string location;     // a device path or a URL; empty: the device of the number

  bool operator==(const PortAddress&) const = default;
};

enum class OpenFailureCause {
  kNone,
  kNoSuchDevice,
  kInUse,       // by the process `holder`, where the system tells which
  kPermission,  // `detail` names the group whose members may open it, where there is one
  kNotSerial,
  kAnotherDevice,  // the path leads to another device than the one that was bound
  kUnknownHost,
  kRefused,  // a server does not take the connection; `detail` is what it says, if anything
  kNoAnswer,
  kSettings,   // the line settings were refused; `detail` says which, where it is known
  kNoTurn,     // the machine-wide lock of serial traffic was not had; `detail` names it and says why, in English
  kSystem,     // any other failure; `os_error` says which
  kNoRfc2217,  // a server takes the connection, but does not speak RFC 2217
};

// Why a port could not be opened.
struct OpenFailure {
  OpenFailureCause cause = OpenFailureCause::kNone;
  std::uint32_t os_error = 0;  // the system's code; 0 when no call of the system failed
  std::int64_t holder = 0;     // a process id; 0 when it is not known
  std::string detail;          // as the cause says; empty when there is none
};

struct OpenResult {
  std::unique_ptr<SerialPort> port;  // none when the port could not be opened
  OpenFailure failure;
};

// One device, found once. However often it is opened, it is never another device, as far as the system can tell devices
// apart. Any thread may use it.
class BoundPort {
 public:
  virtual ~BoundPort() = default;
  // Opens the device for this program alone. Fails when the device is gone or when another one is at its path.
  virtual OpenResult Open() = 0;
  // The device path or URL.
  virtual const std::string& location() const = 0;
  // Whether other programs of this machine can reach the device. They cannot reach a simulated instrument of this
  // process.
  virtual bool IsOfMachine() const { return true; }
};

struct PortResolution {
  std::shared_ptr<BoundPort> port;  // none when the address leads nowhere
  OpenFailure failure;
};

// Finds the device of an address on this machine and opens nothing.
//
// A number is looked up once: the result is the device that has this number now, also when other devices come or go
// later and the numbers move. A device path stays that path. If the device has a USB identity (vendor, product, serial
// number, interface), only a device with the same identity is opened again.
PortResolution ResolvePort(const PortAddress& address);

// Where a link gets its ports from: the system, or a simulated instrument in this process.
using PortResolver = std::function<PortResolution(const PortAddress& address)>;

// Ports inside this process: every address is found, and `open` opens it.
PortResolver InProcessPorts(std::function<OpenResult(const PortAddress& address)> open);

}  // namespace ulix::platform
