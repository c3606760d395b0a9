// The TCP endpoint through which a simulated instrument is served. The terminal endpoint is tested by every test of the
// command line.
#include "platform/byte_endpoint.h"

#include <gtest/gtest.h>
#include <netinet/in.h>
#include <poll.h>
#include <sys/socket.h>
#include <unistd.h>

#include <array>
#include <atomic>
#include <thread>

#include "platform/posix/file_descriptor.h"
#include "simulators/server.h"

namespace ulix {
namespace {

using platform::ByteEndpoint;
using platform::FileDescriptor;
using std::chrono::milliseconds;

constexpr milliseconds kLongWait{10'000};
constexpr std::string_view kEveryKind("\x03\x11\r\n\0\x7F\xFFz", 8);

class TcpEndpoint : public testing::Test {
 protected:
  FileDescriptor Connect() const {
    sockaddr_in to{};
    to.sin_family = AF_INET;
    to.sin_port = htons(static_cast<std::uint16_t>(port_));
    to.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
    FileDescriptor client(socket(AF_INET, SOCK_STREAM | SOCK_CLOEXEC, 0));
    EXPECT_EQ(connect(client.get(), reinterpret_cast<sockaddr*>(&to), sizeof to), 0);
    return client;
  }
  static void Send(const FileDescriptor& client, std::string_view bytes) {
    EXPECT_EQ(write(client.get(), bytes.data(), bytes.size()), static_cast<ssize_t>(bytes.size()));
  }
  // Reads up to `count` bytes; fewer when the connection ends or is silent for 10 s.
  static std::string Receive(const FileDescriptor& client, std::size_t count) {
    std::string bytes;
    std::array<char, 1024> buffer;
    pollfd entry{.fd = client.get(), .events = POLLIN, .revents = 0};
    while (bytes.size() < count && poll(&entry, 1, kLongWait.count()) > 0) {
      const ssize_t got = read(client.get(), buffer.data(), std::min(buffer.size(), count - bytes.size()));
      if (got <= 0) break;
      bytes.append(buffer.data(), static_cast<std::size_t>(got));
    }
    return bytes;
  }
  std::string Take(std::size_t count) {
    std::string bytes;
    std::array<char, 1024> buffer;
    while (bytes.size() < count) {
      const std::size_t got = endpoint_->Read(buffer, kLongWait);
      if (got == 0) break;
      bytes.append(buffer.data(), got);
    }
    return bytes;
  }

  std::unique_ptr<ByteEndpoint> endpoint_ = platform::ListenOnTcp(0).value();
  const int port_ = std::stoi(endpoint_->address().substr(endpoint_->address().find(':') + 1));
};

TEST_F(TcpEndpoint, SecondClient_IsServedAfterTheFirst) {
  for (int i = 0; i < 20; ++i) endpoint_->Write(std::string(1 << 20, 'x'));  // lost: there is no client
  FileDescriptor first = Connect();
  Send(first, kEveryKind);
  EXPECT_EQ(Take(kEveryKind.size()), kEveryKind);
  endpoint_->Write(kEveryKind);
  EXPECT_EQ(Receive(first, kEveryKind.size()), kEveryKind);
  const FileDescriptor second = Connect();
  Send(second, "2");
  Send(first, "1");
  EXPECT_EQ(Take(1), "1");
  first = FileDescriptor();
  EXPECT_EQ(Take(1), "2");
}

TEST_F(TcpEndpoint, PortInUseOrOutOfRange_IsRefused) {
  EXPECT_EQ(CodeOf(platform::ListenOnTcp(port_)), E_FAIL);
  for (const int none : {-1, 65536}) EXPECT_EQ(CodeOf(platform::ListenOnTcp(none)), E_INVALIDARG);
}

TEST_F(TcpEndpoint, SimulatorThatVanishes_EndsTheConnection) {
  FaultyInstrument instrument(FindSimulator("kelvo10")(SystemClock()));
  instrument.SetFaults({{FaultKind::kDrop, 2}});
  const std::atomic<bool> stop = false;
  const FileDescriptor client = Connect();
  std::thread server([&] {
    EXPECT_EQ(Serve(instrument, *endpoint_, SystemClock(), stop), ServeEnd::kVanished);
    endpoint_.reset();
  });
  Send(client, "CFG_IN?\nCFG_OUT?\nCFG_IN?\n");
  EXPECT_EQ(Receive(client, 1000), "RANGE_IN V50\nRANGE_OUT V50\n");
  server.join();
}

}  // namespace
}  // namespace ulix
