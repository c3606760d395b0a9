#include "platform/serial_port.h"

#include <fcntl.h>
#include <grp.h>
#include <poll.h>
#include <sys/eventfd.h>
#include <sys/ioctl.h>
#include <sys/stat.h>
#include <termios.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <cerrno>
#include <chrono>
#include <filesystem>
#include <mutex>
#include <optional>
#include <string>
#include <utility>

#include "platform/port_binding.h"
#include "platform/port_list.h"
#include "platform/posix/bound_terminal.h"
#include "platform/posix/custom_baud.h"
#include "platform/posix/device_identity.h"
#include "platform/posix/file_descriptor.h"
#include "platform/posix/file_lock.h"

namespace ulix::platform {
namespace {

using std::chrono::steady_clock;

struct SpeedRow {
  std::uint32_t rate;
  speed_t speed;
};

constexpr std::array kSpeeds = {SpeedRow{300, B300},      SpeedRow{600, B600},     SpeedRow{1200, B1200},
                                SpeedRow{2400, B2400},    SpeedRow{4800, B4800},   SpeedRow{9600, B9600},
                                SpeedRow{19200, B19200},  SpeedRow{38400, B38400}, SpeedRow{57600, B57600},
                                SpeedRow{115200, B115200}};

// With PARMRK a byte with an error comes as kMark, a zero and the byte. A received 0xFF comes twice.
constexpr char kMark = '\xFF';
// The bytes after a mark come together with it, so this wait is long enough.
constexpr std::uint32_t kMarkWaitMs = 50;

// Uses the name of the terminal, not the path, which may be a link.
bool IsPseudoTerminal(int fd) {
  std::array<char, 64> name{};
  return ttyname_r(fd, name.data(), name.size()) == 0 && std::string_view(name.data()).starts_with("/dev/pts/");
}

// The time limit of one read or write. It starts at the first wait. Most bytes of a reply are there already, and for
// these the clock is not asked.
class TransferTime {
 public:
  explicit TransferTime(std::uint32_t ms) : ms_(ms) {}
  bool limited() const { return ms_ != 0; }
  timespec Left() {
    const auto now = steady_clock::now();
    if (!std::exchange(started_, true)) end_ = now + std::chrono::milliseconds(ms_);
    const auto ns = std::max<std::int64_t>(0, std::chrono::nanoseconds(end_ - now).count());
    return {.tv_sec = ns / 1'000'000'000, .tv_nsec = ns % 1'000'000'000};
  }

 private:
  std::uint32_t ms_;
  bool started_ = false;
  steady_clock::time_point end_{};
};

// An event that ends all waits while it is set.
class Interruption {
 public:
  Interruption() : event_(eventfd(0, EFD_CLOEXEC | EFD_NONBLOCK)) {}
  int fd() const { return event_.get(); }
  void Set(bool on) {
    eventfd_t ignored = 0;
    if (on) {
      eventfd_write(event_.get(), 1);
    } else {
      eventfd_read(event_.get(), &ignored);
    }
  }

 private:
  FileDescriptor event_;
};

// A pseudo terminal carries whole bytes only. It must not be asked for parity or 7 data bits: depending on its present
// settings, it refuses that or applies only the other settings.
void SetWholeBytes(termios& settings) {
  settings.c_cflag &= ~static_cast<tcflag_t>(CSIZE | PARENB | PARODD);
  settings.c_cflag |= CS8;
}

void SetCharacterFormat(termios& settings, const LineSettings& line) {
  settings.c_cflag &= ~static_cast<tcflag_t>(CSIZE | CSTOPB | PARENB | PARODD | CRTSCTS);
  settings.c_cflag |= CREAD | CLOCAL | static_cast<tcflag_t>(line.data_bits == 8 ? CS8 : CS7);
  if (line.stop_bits == 2) settings.c_cflag |= CSTOPB;
  if (line.parity != Parity::kNone) settings.c_cflag |= PARENB;
  if (line.parity == Parity::kOdd) settings.c_cflag |= PARODD;
}

// The kernel has no DTR/DSR flow control. With that setting both outputs are raised and data flows without control.
void SetFlowControl(termios& settings, FlowControl flow) {
  settings.c_iflag &= ~static_cast<tcflag_t>(IXON | IXOFF | IXANY);
  if (flow != FlowControl::kXonXoff) return;
  settings.c_iflag |= IXON | IXOFF;
  settings.c_cc[VSTART] = 0x11;
  settings.c_cc[VSTOP] = 0x13;
}

void SetBinary(termios& settings, bool parity_checked) {
  settings.c_iflag &= ~static_cast<tcflag_t>(BRKINT | PARMRK | ISTRIP | INLCR | IGNCR | ICRNL | INPCK | IGNPAR);
  if (parity_checked) settings.c_iflag |= INPCK | PARMRK;
  settings.c_oflag &= ~static_cast<tcflag_t>(OPOST);
  settings.c_lflag &= ~static_cast<tcflag_t>(ECHO | ECHONL | ICANON | ISIG | IEXTEN);
  settings.c_cc[VMIN] = 1;
  settings.c_cc[VTIME] = 0;
}

class TerminalPort final : public SerialPort {
 public:
  TerminalPort(FileDescriptor fd, FileLock lock, bool exclusive_mark)
      : fd_(std::move(fd)), lock_(std::move(lock)), exclusive_mark_(exclusive_mark) {}

  ~TerminalPort() override {
    if (exclusive_mark_ && lock_.is_of_this_process()) ioctl(fd_.get(), TIOCNXCL);
  }

  bool SetQueueSizes(std::uint32_t, std::uint32_t) override { return true; }

  bool SetTimeouts(const SerialTimeouts& timeouts) override {
    timeouts_ = timeouts;
    return true;
  }

  bool Configure(const LineSettings& line) override {
    termios settings{};
    if (tcgetattr(fd_.get(), &settings) != 0) return false;
    parity_checked_ = line.parity != Parity::kNone;
    SetCharacterFormat(settings, line);
    if (IsPseudoTerminal(fd_.get())) SetWholeBytes(settings);
    SetFlowControl(settings, line.flow_control);
    SetBinary(settings, parity_checked_);
    if (!ApplyWithSpeed(settings, line.baud_rate)) return false;
    int lines = TIOCM_DTR | TIOCM_RTS;
    ioctl(fd_.get(), TIOCMBIS, &lines);  // fails for a terminal without modem lines, which works all the same
    return true;
  }

  IoResult Read(std::span<char> bytes) override {
    TransferTime time(timeouts_.read_ms);
    std::size_t count = 0;
    while (count < bytes.size()) {
      const IoResult next = NextCharacter(bytes[count], time);
      if (next.outcome != IoOutcome::kComplete) return Ended(next, count);
      ++count;
    }
    return {IoOutcome::kComplete, count, 0};
  }

  IoResult Write(std::string_view bytes) override {
    TransferTime time(timeouts_.write_ms);
    reply_awaited_ = true;
    std::size_t count = 0;
    while (count < bytes.size()) {
      const ssize_t written = write(fd_.get(), bytes.data() + count, bytes.size() - count);
      if (written > 0) {
        count += static_cast<std::size_t>(written);
        continue;
      }
      const IoResult wait = WaitAfterRefusal(POLLOUT, time);
      if (wait.outcome != IoOutcome::kComplete) return Ended(wait, count);
    }
    return {IoOutcome::kComplete, count, 0};
  }

  void Purge(bool input, bool output) override {
    if (input) {
      tcflush(fd_.get(), TCIFLUSH);
      received_ = {};
    }
    if (output) tcflush(fd_.get(), TCOFLUSH);
  }

  void ClearError() override {}

  // A terminal is hung up when its device is gone, or when its other end was closed.
  bool IsPresent() override {
    pollfd entry{.fd = fd_.get(), .events = 0, .revents = 0};
    return poll(&entry, 1, 0) <= 0;
  }

  void Interrupt(bool on) override { interruption_.Set(on); }

  InputHandle input_handle() const override { return fd_.get(); }

  IoResult ReadAvailable(std::span<char> bytes) override {
    std::size_t count = 0;
    bool more = HasInput();
    while (more && count < bytes.size()) {
      TransferTime time(kMarkWaitMs);
      const IoResult next = NextCharacter(bytes[count], time);
      if (next.outcome != IoOutcome::kComplete) return Ended(next, count);
      ++count;
      more = !received_.empty();
    }
    return {IoOutcome::kComplete, count, 0};
  }

  bool SetSignal(LineSignal signal, bool on) override {
    if (signal == LineSignal::kBreak) return ioctl(fd_.get(), on ? TIOCSBRK : TIOCCBRK) == 0;
    int lines = signal == LineSignal::kDtr ? TIOCM_DTR : TIOCM_RTS;
    return ioctl(fd_.get(), on ? TIOCMBIS : TIOCMBIC, &lines) == 0;
  }

  std::optional<ModemInputs> modem_inputs() override {
    int lines = 0;
    if (ioctl(fd_.get(), TIOCMGET, &lines) != 0) return std::nullopt;
    return ModemInputs{.cts = (lines & TIOCM_CTS) != 0,
                       .dsr = (lines & TIOCM_DSR) != 0,
                       .ring = (lines & TIOCM_RI) != 0,
                       .carrier = (lines & TIOCM_CD) != 0};
  }

 private:
  bool ApplyWithSpeed(termios& settings, std::uint32_t rate) {
    const auto row = std::find_if(kSpeeds.begin(), kSpeeds.end(), [&](const SpeedRow& r) { return r.rate == rate; });
    if (row == kSpeeds.end()) return tcsetattr(fd_.get(), TCSANOW, &settings) == 0 && SetCustomBaud(fd_.get(), rate);
    cfsetispeed(&settings, row->speed);
    cfsetospeed(&settings, row->speed);
    if (tcsetattr(fd_.get(), TCSANOW, &settings) != 0) return false;
    // A driver that does not support the speed keeps another one and reports success.
    termios taken{};
    return tcgetattr(fd_.get(), &taken) == 0 && cfgetospeed(&taken) == row->speed;
  }

  // The result of a transfer that ended after `count` bytes.
  static IoResult Ended(IoResult why, std::size_t count) {
    if (why.outcome == IoOutcome::kNoFirstByte && count > 0) why.outcome = IoOutcome::kStoppedMidway;
    why.count = count;
    return why;
  }

  // Called after a read or write that transferred nothing, with its errno. Waits until the call may succeed, or returns
  // the failure.
  IoResult WaitAfterRefusal(short events, TransferTime& time) {
    return errno == EAGAIN || errno == EINTR ? WaitUntilReady(events, time) : Lost();
  }

  // Waits until the terminal is ready for `events`. Only waits for input can be interrupted.
  IoResult WaitUntilReady(short events, TransferTime& time) {
    std::array<pollfd, 2> entries{{{.fd = fd_.get(), .events = events, .revents = 0},
                                   {.fd = interruption_.fd(), .events = POLLIN, .revents = 0}}};
    const nfds_t count = events == POLLIN ? 2 : 1;
    for (;;) {
      const timespec left = time.limited() ? time.Left() : timespec{};
      const int ready = ppoll(entries.data(), count, time.limited() ? &left : nullptr, nullptr);
      if (ready < 0 && errno == EINTR) continue;
      if (ready < 0) return Lost();
      if (ready == 0) return {IoOutcome::kNoFirstByte, 0, 0};
      if (entries[0].revents & events) return {};
      if (entries[0].revents == 0) return {IoOutcome::kCancelled, 0, 0};
      errno = EIO;  // hung up with nothing left to read
      return Lost();
    }
  }

  static IoResult Lost() { return {IoOutcome::kLinkLost, 0, static_cast<std::uint32_t>(errno)}; }

  bool HasInput() const {
    pollfd entry{.fd = fd_.get(), .events = POLLIN, .revents = 0};
    return !received_.empty() || poll(&entry, 1, 0) > 0;
  }

  // The next byte that the device sent.
  IoResult NextCharacter(char& byte, TransferTime& time) {
    const IoResult next = NextByte(byte, time);
    const bool marked = next.outcome == IoOutcome::kComplete && parity_checked_ && byte == kMark;
    return marked ? ResolveMark(time) : next;
  }

  // The next byte as the terminal driver delivers it.
  IoResult NextByte(char& byte, TransferTime& time) {
    if (received_.empty()) {
      const IoResult filled = Receive(time);
      if (filled.outcome != IoOutcome::kComplete) return filled;
    }
    byte = received_.front();
    received_ = received_.subspan(1);
    return {};
  }

  // Reads at least one byte from the driver. After a write it waits first, because the reply has not come yet; later
  // bytes are mostly there.
  IoResult Receive(TransferTime& time) {
    if (std::exchange(reply_awaited_, false)) {
      const IoResult wait = WaitUntilReady(POLLIN, time);
      if (wait.outcome != IoOutcome::kComplete) return wait;
    }
    for (;;) {
      const ssize_t got = read(fd_.get(), buffer_.data(), buffer_.size());
      if (got > 0) {
        received_ = std::span(buffer_).first(static_cast<std::size_t>(got));
        return {};
      }
      if (got == 0) errno = EIO;  // the other end is gone
      const IoResult wait = WaitAfterRefusal(POLLIN, time);
      if (wait.outcome != IoOutcome::kComplete) return wait;
    }
  }

  // After a mark: a second mark stands for the byte 0xFF; anything else announces a damaged byte.
  IoResult ResolveMark(TransferTime& time) {
    char next = kMark;
    IoResult result = NextByte(next, time);
    if (result.outcome != IoOutcome::kComplete || next == kMark) return result;
    result = NextByte(next, time);
    return result.outcome == IoOutcome::kComplete ? IoResult{IoOutcome::kDamaged, 0, EILSEQ} : result;
  }

  FileDescriptor fd_;
  FileLock lock_;
  Interruption interruption_;
  bool exclusive_mark_;
  bool parity_checked_ = false;
  bool reply_awaited_ = false;  // whether nothing was read since the last write
  // The link asks for single bytes, but the port reads all bytes that have come at once. No other program has the port
  // open, so no program misses them.
  std::array<char, 256> buffer_;
  std::span<const char> received_;  // the rest of buffer_
  SerialTimeouts timeouts_;
};

OpenFailureCause CauseOf(int error) {
  switch (error) {
    case ENOENT:
    case ENXIO:
    case ENODEV:
      return OpenFailureCause::kNoSuchDevice;
    case EBUSY:
    case EWOULDBLOCK:
      return OpenFailureCause::kInUse;
    case EACCES:
    case EPERM:
      return OpenFailureCause::kPermission;
    case ENOTTY:
    case EISDIR:
      return OpenFailureCause::kNotSerial;
    default:
      return OpenFailureCause::kSystem;
  }
}

// The group whose members may read and write the file; empty when they may not.
std::string GroupThatMayOpen(const std::string& path) {
  struct stat file {};
  constexpr mode_t kBoth = S_IRGRP | S_IWGRP;
  if (stat(path.c_str(), &file) != 0 || (file.st_mode & kBoth) != kBoth) return {};
  std::array<char, 1024> buffer{};
  group entry{};
  group* found = nullptr;
  getgrgid_r(file.st_gid, &entry, buffer.data(), buffer.size(), &found);
  return found ? found->gr_name : std::to_string(file.st_gid);
}

OpenFailure FailureOf(int error, const std::string& path) {
  OpenFailure failure{.cause = CauseOf(error), .os_error = static_cast<std::uint32_t>(error)};
  if (failure.cause == OpenFailureCause::kInUse) failure.holder = HolderOf(path);
  if (failure.cause == OpenFailureCause::kPermission) failure.detail = GroupThatMayOpen(path);
  return failure;
}

dev_t DeviceNumber(int fd) {
  struct stat file {};
  return fstat(fd, &file) == 0 ? file.st_rdev : 0;
}

class BoundTerminal final : public BoundPort {
 public:
  BoundTerminal(std::string path, std::filesystem::path sysfs) : path_(std::move(path)), sysfs_(std::move(sysfs)) {}

  const std::string& location() const override { return path_; }

  OpenResult Open() override {
    FileDescriptor fd(open(path_.c_str(), O_RDWR | O_NOCTTY | O_NONBLOCK | O_CLOEXEC));
    if (!fd.valid() || !isatty(fd.get())) return {nullptr, FailureOf(errno, path_)};
    const std::string identity = UsbIdentity(DeviceNumber(fd.get()), sysfs_);
    if (!IsBoundDevice(identity)) return {nullptr, {.cause = OpenFailureCause::kAnotherDevice}};
    FileLock lock(fd.get(), LOCK_EX);
    if (!lock.held()) return {nullptr, FailureOf(errno, path_)};
    RememberDevice(identity);
    // Pseudo terminals are not marked: they would keep the mark as long as their instrument lives, even after this
    // program is killed.
    const bool mark = !IsPseudoTerminal(fd.get()) && ioctl(fd.get(), TIOCEXCL) == 0;
    return {std::make_unique<TerminalPort>(std::move(fd), std::move(lock), mark), {}};
  }

 private:
  bool IsBoundDevice(const std::string& identity) {
    const std::lock_guard lock(mutex_);
    return identity_.value_or(identity) == identity;
  }
  void RememberDevice(const std::string& identity) {
    const std::lock_guard lock(mutex_);
    identity_ = identity;
  }

  const std::string path_;
  const std::filesystem::path sysfs_;
  std::mutex mutex_;
  std::optional<std::string> identity_;  // of the device that was opened first; guarded by mutex_
};

}  // namespace

std::shared_ptr<BoundPort> BindTerminal(const std::string& path, const std::filesystem::path& sysfs) {
  return std::make_shared<BoundTerminal>(path, sysfs);
}

PortResolution ResolvePort(const PortAddress& address) {
  const auto device = address.location.empty() ? DeviceOfPort(address.number) : address.location;
  if (!device) return {nullptr, {.cause = OpenFailureCause::kNoSuchDevice, .os_error = ENOENT}};
  return {BindTerminal(*device), {}};
}

}  // namespace ulix::platform
