#include "links/network_comm.h"

#include <gtest/gtest.h>
#include <signal.h>
#include <sys/time.h>

#include <chrono>
#include <limits>

#include "tests/support/tcp_peer.h"

namespace ulix {
namespace {

using std::chrono::steady_clock;

struct Line {
  HRESULT result;
  std::int32_t count = -7;
  std::string text;
};

Line ReceiveLine(CNetworkComm& link) {
  char buffer[256] = "before";
  Line line{};
  line.result = link.ReceiveString(buffer, &line.count);
  line.text = buffer;
  return line;
}

TEST(NetworkComm, ReceivedLines_ComeOneByOneWithTheirTerminator) {
  TcpPeer peer([](TcpPeer& p) {
    p.Send("OK\r\nnext\n" + p.Take(6));
    p.AwaitEnd();
  });
  CNetworkComm link("127.1", peer.port() + 65536, 60);  // A short dotted address; only the port's low 16 bits count.
  ASSERT_EQ(link.Connect(), S_OK);
  std::int32_t length = 6;
  EXPECT_EQ(link.Send("*IDN?\n", &length), S_OK);
  EXPECT_EQ(length, 6);
  Line line = ReceiveLine(link);
  EXPECT_EQ(line.text, "OK\r\n");
  EXPECT_EQ(line.count, 4);
  EXPECT_EQ(ReceiveLine(link).text, "next\n");
  EXPECT_EQ(ReceiveLine(link).text, "*IDN?\n");
  EXPECT_EQ(link.lastErrorText(), "");
}

TEST(NetworkComm, EndOfTheConnection_KeepsWhatCameAndCanConnectAgain) {
  TcpPeer peer([](TcpPeer& p) { p.Send("half"); });
  CNetworkComm link("127.0.0.1", peer.port(), 60);
  ASSERT_EQ(link.Connect(), S_OK);
  const Line line = ReceiveLine(link);
  EXPECT_EQ(line.result, networkCommErrConnexClosed);
  EXPECT_EQ(line.text, "half");
  EXPECT_EQ(line.count, -7);
  EXPECT_EQ(link.lastErrorText(), "Connexion closed");
  EXPECT_TRUE(link.IsConnected());
  ASSERT_EQ(link.Connect(), S_OK) << "connects again";
}

TEST(NetworkComm, SilentPeer_TimesOutOnceDespiteSignals) {
  TcpPeer peer([](TcpPeer& p) {
    p.Send("ab");
    p.AwaitEnd();
  });
  CNetworkComm link("localhost", peer.port(), 1);
  ASSERT_EQ(link.Connect(), S_OK);
  struct sigaction before = {}, interrupt = {};
  interrupt.sa_handler = [](int) {};
  sigaction(SIGALRM, &interrupt, &before);
  const itimerval often{{0, 20'000}, {0, 20'000}}, never{};
  setitimer(ITIMER_REAL, &often, nullptr);
  const auto start = steady_clock::now();
  const Line line = ReceiveLine(link);
  const auto waited = steady_clock::now() - start;
  setitimer(ITIMER_REAL, &never, nullptr);
  sigaction(SIGALRM, &before, nullptr);
  EXPECT_EQ(line.result, networkCommErrUnableToReadComm);
  EXPECT_EQ(line.text, "ab");
  EXPECT_EQ(link.lastErrorText(), "Reception TimeOut");
  EXPECT_GE(waited, std::chrono::milliseconds(990));
}

TEST(NetworkComm, ReceivedBlock_IsReadUpToTheLengthAskedFor) {
  TcpPeer peer([](TcpPeer& p) { p.Send("0123456789"); });
  CNetworkComm link("127.0.0.1", peer.port(), 60);
  ASSERT_EQ(link.Connect(), S_OK);
  char buffer[20] = {};
  EXPECT_EQ(link.Receive(buffer, 4), 4);
  EXPECT_EQ(link.Receive(buffer + 4, 10), 6);
  EXPECT_STREQ(buffer, "0123456789");
}

TEST(NetworkComm, PartialSend_SucceedsWithTheCountSent) {
  TcpPeer peer([](TcpPeer& p) { p.Take(1'000'000'000); });
  CNetworkComm link("127.0.0.1", peer.port(), 1);
  ASSERT_EQ(link.Connect(), S_OK);
  const std::string much(200'000'000, 'x');
  auto length = static_cast<std::int32_t>(much.size());
  EXPECT_EQ(link.Send(much.data(), &length), S_OK);
  EXPECT_GT(length, 0);
  EXPECT_LT(length, static_cast<std::int32_t>(much.size()));
  EXPECT_EQ(link.lastErrorText(), "");
  link.Disconnect();
}

TEST(NetworkComm, NoPeer_IsUnableToConnect) {
  int port = 0;
  {
    TcpPeer gone([](TcpPeer&) {});
    port = gone.port();
  }
  for (const char* host : {"127.0.0.1", "no-such-host.invalid", ""}) {
    CNetworkComm link(host, port, 1);
    EXPECT_EQ(link.Connect(), networkCommErrUnableToConnect);
    EXPECT_EQ(link.lastErrorText(), "Can't Establish connexion with following parameters:\r\nIP Address: " +
                                        std::string(host) + "\r\nPort: " + std::to_string(port));
    std::int32_t length = 1;
    EXPECT_EQ(link.Send("x", &length), networkCommErrConnexClosed);
    EXPECT_EQ(ReceiveLine(link).result, networkCommErrConnexClosed);
    EXPECT_EQ(link.lastErrorText(), "Connexion closed");
  }
}

TEST(NetworkComm, NegativeLength_IsRefusedAndSendsNothing) {
  TcpPeer peer([](TcpPeer& p) { p.Send(p.Take(3)); });
  CNetworkComm link("127.0.0.1", peer.port(), 60);
  ASSERT_EQ(link.Connect(), S_OK);
  for (const std::int32_t refused : {-1, std::numeric_limits<std::int32_t>::min()}) {
    std::int32_t length = refused;
    EXPECT_EQ(link.Send("abc\n", &length), E_INVALIDARG);
    EXPECT_EQ(length, refused);
  }
  std::int32_t length = 3;
  EXPECT_EQ(link.Send("ok\n", &length), S_OK);
  EXPECT_EQ(ReceiveLine(link).text, "ok\n");
}

TEST(NetworkComm, NegativeTimeout_DoesNotWait) {
  TcpPeer peer([](TcpPeer& p) {
    p.Send("x\n");
    p.AwaitEnd();
  });
  CNetworkComm link("127.0.0.1", peer.port(), -1);
  ASSERT_EQ(link.Connect(), S_OK);
  std::int32_t length = 1;
  EXPECT_EQ(link.Send("x", &length), networkCommErrConnexClosed);
  EXPECT_EQ(ReceiveLine(link).result, networkCommErrConnexClosed);
}

TEST(NetworkComm, CopyOfAConnection_IsNotConnected) {
  TcpPeer peer([](TcpPeer& p) { p.AwaitEnd(); });
  CNetworkComm link("127.0.0.1", peer.port(), 1);
  ASSERT_EQ(link.Connect(), S_OK);
  CNetworkComm copy(link);
  EXPECT_FALSE(copy.IsConnected());
  link.Disconnect();
  EXPECT_EQ(copy.Connect(), S_OK);
}

}  // namespace
}  // namespace ulix
