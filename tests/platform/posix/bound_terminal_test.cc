// A serial port is bound to one USB adapter, whatever takes its path later. Terminals stand for the adapters: a device
// tree made by the test says which adapter each terminal is.
#include "platform/posix/bound_terminal.h"

#include <gtest/gtest.h>
#include <signal.h>
#include <sys/stat.h>
#include <sys/sysmacros.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cstdlib>
#include <fstream>
#include <optional>

#include "platform/byte_endpoint.h"
#include "tests/support/scoped_env.h"

namespace ulix::platform {
namespace {

namespace fs = std::filesystem;

class BoundTerminalTest : public testing::Test {
 protected:
  BoundTerminalTest() {
    fs::create_directories(sysfs_ / "dev/char");
    fs::create_directories(sysfs_ / "devices");
    std::ofstream(sysfs_ / "devices/serial") << "serial of the hub\n";
  }
  ~BoundTerminalTest() override { fs::remove_all(folder_); }

  // Makes the path lead to this terminal.
  void Plug(const ByteEndpoint& terminal) {
    Unplug();
    fs::create_symlink(terminal.address(), path_);
  }
  void Unplug() { fs::remove(path_); }

  // Makes the terminal an adapter with this serial number. With an empty number it has no serial attribute.
  void MakeAdapter(const ByteEndpoint& terminal, const std::string& serial, const std::string& interface = "00") {
    struct stat file {};
    ASSERT_EQ(stat(terminal.address().c_str(), &file), 0);
    const fs::path adapter = sysfs_ / "devices" / ("adapter" + std::to_string(++adapters_));
    const fs::path tty = adapter / interface / "tty";
    fs::create_directories(tty);
    const auto write = [](const fs::path& attribute, const std::string& text) {
      std::ofstream(attribute) << text << "\n";
    };
    write(adapter / "idVendor", "0403");
    write(adapter / "idProduct", "6001");
    if (!serial.empty()) write(adapter / "serial", serial);
    write(adapter / interface / "bInterfaceNumber", interface);
    const std::string number = std::to_string(major(file.st_rdev)) + ":" + std::to_string(minor(file.st_rdev));
    const fs::path link = sysfs_ / "dev/char" / number;
    fs::remove(link);
    fs::create_directory_symlink(tty, link);
  }

  static OpenFailureCause CauseOfOpening(BoundPort& port) {
    const OpenResult opened = port.Open();
    EXPECT_EQ(opened.port == nullptr, opened.failure.cause != OpenFailureCause::kNone);
    return opened.failure.cause;
  }

  static fs::path NewFolder() {
    std::string pattern = fs::temp_directory_path() / "ulix-bound-XXXXXX";
    return mkdtemp(pattern.data());
  }

  const fs::path folder_ = NewFolder();
  const fs::path sysfs_ = folder_ / "sys";
  const std::string path_ = folder_ / "ttyUSB0";
  std::unique_ptr<ByteEndpoint> one_ = OpenPseudoTerminal().value();
  std::unique_ptr<ByteEndpoint> two_ = OpenPseudoTerminal().value();
  int adapters_ = 0;
};

TEST_F(BoundTerminalTest, AnotherAdapterAtThePath_IsRefusedAndTheOwnOneOpensAgain) {
  struct Case {
    const char* own;
    const char* other;
    const char* other_interface;
  };
  for (const Case& c : {Case{"A1", "A2", "00"}, Case{"A1", "A1", "01"}, Case{"A1", "", "00"}, Case{"", "A1", "00"}}) {
    SCOPED_TRACE(testing::Message() << c.own << " then " << c.other << " interface " << c.other_interface);
    MakeAdapter(*one_, c.own);
    MakeAdapter(*two_, c.other, c.other_interface);
    Plug(*one_);
    const auto bound = BindTerminal(path_, sysfs_);
    EXPECT_EQ(CauseOfOpening(*bound), OpenFailureCause::kNone);
    Unplug();
    EXPECT_EQ(CauseOfOpening(*bound), OpenFailureCause::kNoSuchDevice);
    Plug(*two_);
    EXPECT_EQ(CauseOfOpening(*bound), OpenFailureCause::kAnotherDevice);
    EXPECT_EQ(CauseOfOpening(*BindTerminal(path_, sysfs_)), OpenFailureCause::kNone) << "a new binding";
    Plug(*one_);
    EXPECT_EQ(CauseOfOpening(*bound), OpenFailureCause::kNone) << "the same one is opened again";
  }
}

TEST_F(BoundTerminalTest, SameAdapterUnderAnotherNode_IsOpened) {
  MakeAdapter(*one_, "A1");
  MakeAdapter(*two_, "A1");  // The same adapter under another node, as after plugging it in again.
  Plug(*one_);
  const auto bound = BindTerminal(path_, sysfs_);
  EXPECT_EQ(CauseOfOpening(*bound), OpenFailureCause::kNone);
  Plug(*two_);
  EXPECT_EQ(CauseOfOpening(*bound), OpenFailureCause::kNone);
}

// Port numbers move when a device before them is unplugged. An open port keeps its device.
TEST_F(BoundTerminalTest, PortMapThatChanges_LeavesABoundPortItsDevice) {
  const ScopedEnv config("XDG_CONFIG_HOME", folder_.string());
  std::optional<ScopedEnv> map(std::in_place, "ULIX_COM41", one_->address());
  const auto bound = ResolvePort({.number = 41, .location = ""}).port;
  ASSERT_TRUE(bound);
  map.emplace("ULIX_COM41", two_->address());
  EXPECT_EQ(bound->location(), one_->address());
  EXPECT_EQ(ResolvePort({.number = 41, .location = ""}).port->location(), two_->address());
  EXPECT_EQ(ResolvePort({.number = 41, .location = path_}).port->location(), path_) << "a path stays a path";
}

TEST_F(BoundTerminalTest, OpenThatFails_GivesTheCause) {
  Plug(*one_);
  const OpenResult first = BindTerminal(path_)->Open();
  const OpenFailure busy = BindTerminal(path_)->Open().failure;
  EXPECT_EQ(busy.cause, OpenFailureCause::kInUse);
  EXPECT_EQ(busy.holder, getpid());
  EXPECT_EQ(BindTerminal("/dev/null")->Open().failure.cause, OpenFailureCause::kNotSerial);
  EXPECT_EQ(BindTerminal(folder_)->Open().failure.cause, OpenFailureCause::kNotSerial);
  EXPECT_EQ(BindTerminal(folder_ / "nothing")->Open().failure.cause, OpenFailureCause::kNoSuchDevice);
}

// Runs the body in a child of the process, which stays alive after it until this object is destroyed.
class LastingChild {
 public:
  template <typename Body>
  explicit LastingChild(Body&& body) {
    int done[2];
    if (pipe(done) != 0) std::abort();
    id_ = fork();
    if (id_ == 0) {
      body();
      close(done[0]);
      close(done[1]);
      for (;;) pause();
    }
    close(done[1]);
    char byte = 0;
    while (read(done[0], &byte, 1) > 0) continue;
    close(done[0]);
  }
  ~LastingChild() {
    kill(id_, SIGKILL);
    waitpid(id_, nullptr, 0);
  }

 private:
  pid_t id_ = 0;
};

// A host may fork while a port is open. Its child has the descriptor too, as long as the child lives.
TEST_F(BoundTerminalTest, ChildOfAFork_NeitherGivesBackNorKeepsThePort) {
  Plug(*one_);
  OpenResult open = BindTerminal(path_)->Open();
  const LastingChild closes([&] { open.port.reset(); });
  EXPECT_EQ(BindTerminal(path_)->Open().failure.cause, OpenFailureCause::kInUse) << "a child closed it";
  const LastingChild keeps([] {});
  open.port.reset();
  EXPECT_EQ(BindTerminal(path_)->Open().failure.cause, OpenFailureCause::kNone) << "a child has it";
}

}  // namespace
}  // namespace ulix::platform
