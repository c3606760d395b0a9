// The address of a serial port as its user gives it, and the device behind it.
#pragma once

#include <cstdint>
#include <functional>
#include <memory>
#include <string>

#include "platform/named_mutex.h"
#include "platform/serial_port.h"

namespace ulix::platform {

// The address of a port. A location is used as it is. Without a location the number is looked up
// (platform/port_list.h).
struct PortAddress {
  std::int32_t number = 1;  // the 5 in COM5
  std::string location;     // a device path or a URL; empty: the number counts

  bool operator==(const PortAddress&) const = default;
};

enum class OpenFailureCause {
  kNone,
  kNoSuchDevice,
  kInUse,          // another program has it open: the process `holder`, where known
  kPermission,     // `detail` names the group whose members may open it, where there is one
  kNotSerial,      // the path leads to something that is not a serial port
  kAnotherDevice,  // the path now leads to another device than the one that was opened first
  kUnknownHost,    // the host name has no address
  kRefused,        // a server does not accept the connection; `detail` is its own text, if it sends one
  kNoAnswer,       // the host or the server did not answer in time
  kSettings,       // the line settings were refused; `detail` says which, where known
  kNoTurn,         // the machine-wide lock of serial traffic was not obtained; `lock` says why
  kSystem,         // any other failure; `os_error` says which
  kNoRfc2217,      // a server accepts the connection, but does not speak RFC 2217
};

// Why a port could not be opened.
struct OpenFailure {
  OpenFailureCause cause = OpenFailureCause::kNone;
  std::uint32_t os_error = 0;  // the system's error code; 0 when no call of the system failed
  std::int64_t holder = 0;     // a process id; 0 when not known
  std::string detail;          // see the cause; empty when there is none
  LockProblem lock;            // why the lock was not obtained; used with kNoTurn only
};

struct OpenResult {
  std::unique_ptr<SerialPort> port;  // none when the port could not be opened
  OpenFailure failure;
};

// One device. It is looked up once, so that a later Open never opens another device in its place, as far as the system
// can tell devices apart. Any thread may use it.
class BoundPort {
 public:
  virtual ~BoundPort() = default;
  // Opens the device for this program alone. Fails while another program has it open, when the device is gone, or when
  // another device has taken its path.
  virtual OpenResult Open() = 0;
  // The device path or URL.
  virtual const std::string& location() const = 0;
  // Whether other programs of this machine can reach the device, so that the machine-wide lock is needed. False for a
  // simulated instrument inside this process.
  virtual bool IsOfMachine() const { return true; }
};

struct PortResolution {
  std::shared_ptr<BoundPort> port;  // none when the address stands for no device
  OpenFailure failure;
};

// Finds the device of an address on this machine. Opens nothing and waits for nothing.
//
// A number is looked up once. The result stays the device that has this number now, even if devices come or go later
// and numbers move. On Linux, if the device that was opened first has a USB identity (vendor, product, serial number,
// interface), later calls of Open accept only that identity. On Windows the system itself keeps a number for one
// device.
PortResolution ResolvePort(const PortAddress& address);

// The source of a link's ports: the system, or a simulated instrument in this process.
using PortResolver = std::function<PortResolution(const PortAddress& address)>;

// A resolver for ports inside this process. It finds every address, and `open` opens it.
PortResolver InProcessPorts(std::function<OpenResult(const PortAddress& address)> open);

}  // namespace ulix::platform
