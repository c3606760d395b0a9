#include "platform/byte_endpoint.h"

#include <fcntl.h>
#include <gtest/gtest.h>
#include <netinet/in.h>
#include <poll.h>
#include <sys/socket.h>
#include <termios.h>
#include <unistd.h>

#include <array>
#include <cerrno>
#include <thread>

#include "platform/posix/file_descriptor.h"
#include "simulators/server.h"

namespace ulix {
namespace {

using platform::ByteEndpoint;
using platform::FileDescriptor;
using std::chrono::milliseconds;

constexpr milliseconds kLong{10'000};
constexpr std::string_view kEveryKind("\x03\x11\r\n\0\x7F\xFFz", 8);

FileDescriptor ConnectToTcp(const std::string& address) {
  sockaddr_in to{};
  to.sin_family = AF_INET;
  to.sin_port = htons(static_cast<std::uint16_t>(std::stoi(address.substr(address.find(':') + 1))));
  to.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
  FileDescriptor client(socket(AF_INET, SOCK_STREAM | SOCK_CLOEXEC, 0));
  EXPECT_EQ(connect(client.get(), reinterpret_cast<sockaddr*>(&to), sizeof to), 0);
  return client;
}

FileDescriptor OpenDevice(const std::string& path) {
  return FileDescriptor(open(path.c_str(), O_RDWR | O_NOCTTY | O_CLOEXEC));
}

void Send(const FileDescriptor& client, std::string_view bytes) {
  EXPECT_EQ(write(client.get(), bytes.data(), bytes.size()), static_cast<ssize_t>(bytes.size()));
}

// Up to `count` bytes; fewer when the line ends or stays silent for 10 s.
std::string Receive(const FileDescriptor& client, std::size_t count) {
  std::string bytes;
  std::array<char, 1024> buffer;
  pollfd entry{.fd = client.get(), .events = POLLIN, .revents = 0};
  while (bytes.size() < count && poll(&entry, 1, kLong.count()) > 0) {
    const ssize_t got = read(client.get(), buffer.data(), std::min(buffer.size(), count - bytes.size()));
    if (got <= 0) break;
    bytes.append(buffer.data(), static_cast<std::size_t>(got));
  }
  return bytes;
}

std::string Take(ByteEndpoint& endpoint, std::size_t count) {
  std::string bytes;
  std::array<char, 1024> buffer;
  while (bytes.size() < count) {
    const std::size_t got = endpoint.Read(buffer, kLong);
    if (got == 0) break;
    bytes.append(buffer.data(), got);
  }
  return bytes;
}

void ExpectExchange(ByteEndpoint& endpoint, const FileDescriptor& client) {
  Send(client, kEveryKind);
  EXPECT_EQ(Take(endpoint, kEveryKind.size()), kEveryKind);
  endpoint.Write(kEveryKind);
  EXPECT_EQ(Receive(client, kEveryKind.size()), kEveryKind);
}

struct Line {
  const char* name;
  Expected<std::unique_ptr<ByteEndpoint>> (*open)();
  FileDescriptor (*connect)(const std::string& address);
};

const Line kLines[] = {{"PseudoTerminal", platform::OpenPseudoTerminal, OpenDevice},
                       {"Tcp", [] { return platform::ListenOnTcp(0); }, ConnectToTcp}};

std::string NameOf(const testing::TestParamInfo<Line>& line) { return line.param.name; }

class ByteEndpointTest : public testing::TestWithParam<Line> {
 protected:
  FileDescriptor Connect() { return GetParam().connect(endpoint_->address()); }
  std::unique_ptr<ByteEndpoint> endpoint_ = GetParam().open().value();
};

INSTANTIATE_TEST_SUITE_P(, ByteEndpointTest, testing::ValuesIn(kLines), NameOf);

TEST_P(ByteEndpointTest, ServesOneClientAfterTheOther) {
  std::array<char, 8> buffer;
  EXPECT_EQ(endpoint_->Read(buffer, milliseconds(0)), 0u);
  for (int i = 0; i < 3; ++i) {
    const FileDescriptor client = Connect();
    ASSERT_TRUE(client.valid());
    ExpectExchange(*endpoint_, client);
  }
  EXPECT_EQ(endpoint_->Read(buffer, milliseconds(1)), 0u);
}

TEST_P(ByteEndpointTest, LosesWhatNobodyTakes) {
  const std::string much(1 << 20, 'x');
  for (int i = 0; i < 20; ++i) endpoint_->Write(much);
  const FileDescriptor client = Connect();
  Send(client, "?");
  EXPECT_EQ(Take(*endpoint_, 1), "?");
  for (int i = 0; i < 20; ++i) endpoint_->Write(much);
}

TEST_P(ByteEndpointTest, LetsTheClientReadTheLastBytesAndGoesAway) {
  const FileDescriptor client = Connect();
  ExpectExchange(*endpoint_, client);
  const std::string address = endpoint_->address();
  std::string read;
  std::thread reader([&] { read = Receive(client, 1000); });
  endpoint_->Write("last words");
  endpoint_.reset();
  reader.join();
  EXPECT_EQ(read, "last words");
}

TEST(PseudoTerminalTest, IsARawTerminalThatVanishes) {
  auto endpoint = platform::OpenPseudoTerminal().value();
  const std::string path = endpoint->address();
  const FileDescriptor client = OpenDevice(path);
  termios settings{};
  ASSERT_EQ(tcgetattr(client.get(), &settings), 0);
  EXPECT_EQ(settings.c_lflag & static_cast<tcflag_t>(ICANON | ECHO | ISIG), 0u);
  endpoint.reset();
  EXPECT_NE(access(path.c_str(), F_OK), 0);
  EXPECT_EQ(write(client.get(), "x", 1), -1);
}

TEST(TcpEndpointTest, KeepsTheNextClientWaiting) {
  auto endpoint = platform::ListenOnTcp(0).value();
  FileDescriptor first = ConnectToTcp(endpoint->address());
  ExpectExchange(*endpoint, first);
  const FileDescriptor second = ConnectToTcp(endpoint->address());
  Send(second, "2");
  Send(first, "1");
  EXPECT_EQ(Take(*endpoint, 1), "1");
  first = FileDescriptor();
  EXPECT_EQ(Take(*endpoint, 1), "2");
  ExpectExchange(*endpoint, second);
}

TEST(TcpEndpointTest, RefusesPortsThatItCannotHave) {
  const auto endpoint = platform::ListenOnTcp(0).value();
  const int taken = std::stoi(endpoint->address().substr(endpoint->address().find(':') + 1));
  EXPECT_EQ(CodeOf(platform::ListenOnTcp(taken)), E_FAIL);
  EXPECT_EQ(CodeOf(platform::ListenOnTcp(65536)), E_INVALIDARG);
  EXPECT_EQ(CodeOf(platform::ListenOnTcp(-1)), E_INVALIDARG);
}

// A simulated instrument on the endpoint, served by a thread until it vanishes or the test ends.
class ServedKelvo10Test : public ByteEndpointTest {
 protected:
  ~ServedKelvo10Test() override { Finish(); }
  void Finish() {
    stop_ = true;
    if (server_.joinable()) server_.join();
  }

  FaultyInstrument instrument_{FindSimulator("kelvo10")(SystemClock())};
  std::atomic<bool> stop_ = false;
  std::atomic<ServeEnd> end_ = ServeEnd::kStopped;
  FileDescriptor client_ = Connect();
  std::thread server_{[this] {
    end_ = Serve(instrument_, *endpoint_, SystemClock(), stop_);
    endpoint_.reset();
  }};
};

INSTANTIATE_TEST_SUITE_P(, ServedKelvo10Test, testing::ValuesIn(kLines), NameOf);

TEST_P(ServedKelvo10Test, AnswersWithTheFaultsOfTheMoment) {
  Send(client_, "REM\nRANGE_IN MV50\nCFG_IN?\n");
  EXPECT_EQ(Receive(client_, 14), "RANGE_IN MV50\n");
  instrument_.SetFaults({{FaultKind::kDrip, 2}});
  const auto before = std::chrono::steady_clock::now();
  Send(client_, "CFG_IN?\n");
  EXPECT_EQ(Receive(client_, 14), "RANGE_IN MV50\n");
  EXPECT_GE(std::chrono::steady_clock::now() - before, milliseconds(26));
  Finish();
  EXPECT_EQ(end_, ServeEnd::kStopped);
}

TEST_P(ServedKelvo10Test, VanishesBehindItsLastReply) {
  instrument_.SetFaults({{FaultKind::kDrop, 2}});
  Send(client_, "CFG_IN?\nCFG_OUT?\nCFG_IN?\n");
  EXPECT_EQ(Receive(client_, 1000), "RANGE_IN V50\nRANGE_OUT V50\n");
  server_.join();
  EXPECT_EQ(end_, ServeEnd::kVanished);
}

}  // namespace
}  // namespace ulix
