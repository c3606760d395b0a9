// The cost of a serial port over a network: an exchange through a session on a raw TCP port and on an RFC 2217 port, at
// a server of the loopback that answers each line at once. For comparison a bare socket loop writes the query and its
// terminator, as the loop of serial_exchange does, and reads until the end of the line, at such a server. The library
// sends both as one packet; another row compares it with a loop that does so too. The exit code is 1 above a bound.
#include <arpa/inet.h>
#include <netinet/in.h>
#include <netinet/tcp.h>
#include <sys/socket.h>

#include <algorithm>
#include <array>
#include <cstdio>
#include <cstdlib>
#include <memory>
#include <string>

#include "bench/exchange.h"
#include "links/rfc2217_endpoint.h"
#include "links/serial_link.h"
#include "platform/byte_endpoint.h"

namespace ulix::bench {
namespace {

constexpr double kRawBound = 1.15;
constexpr double kRfc2217Bound = 1.25;
constexpr int kBatches = 201;  // of a round
constexpr int kExchangesInBatch = 20;

// Answers each line at once, until it is killed.
void AnswerLines(platform::ByteEndpoint& endpoint) {
  std::array<char, 256> buffer;
  for (;;) {
    const std::size_t count = endpoint.Read(buffer, std::chrono::milliseconds(1000));
    const auto lines = std::count(buffer.data(), buffer.data() + count, '\n');
    for (std::ptrdiff_t i = 0; i < lines; ++i) endpoint.Write(kReply);
  }
}

// A server in a separate process, and the address where it listens.
class LineServerProcess {
 public:
  explicit LineServerProcess(bool rfc2217) : endpoint_(Listen(rfc2217)), address_(endpoint_->address()) {
    server_.emplace([this] { AnswerLines(*endpoint_); });
    endpoint_.reset();
  }
  const std::string& address() const { return address_; }

 private:
  static std::unique_ptr<platform::ByteEndpoint> Listen(bool rfc2217) {
    auto endpoint = platform::ListenOnTcp(0);
    if (!endpoint) std::exit(2);
    return rfc2217 ? MakeRfc2217Endpoint(std::move(*endpoint), {}) : std::move(*endpoint);
  }

  std::unique_ptr<platform::ByteEndpoint> endpoint_;
  std::string address_;
  std::optional<ChildProcess> server_;
};

class BareSocket {
 public:
  explicit BareSocket(const std::string& address) : fd_(socket(AF_INET, SOCK_STREAM | SOCK_CLOEXEC, 0)) {
    sockaddr_in to{};
    to.sin_family = AF_INET;
    to.sin_port = htons(static_cast<std::uint16_t>(std::stoi(address.substr(address.find(':') + 1))));
    to.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
    const int on = 1;
    setsockopt(fd_.get(), IPPROTO_TCP, TCP_NODELAY, &on, sizeof on);
    if (connect(fd_.get(), reinterpret_cast<sockaddr*>(&to), sizeof to) != 0) std::exit(2);
  }

  // The query and its terminator as two writes, as in the loop on a terminal (bench/exchange.h), or as one.
  enum class Writes { kOne, kTwo };
  bool Exchange(Writes writes) const {
    constexpr std::string_view kLine = "MEAS?\n";
    constexpr char terminator = '\n';
    const std::size_t first = writes == Writes::kOne ? kLine.size() : kLine.size() - 1;
    std::array<char, kReplySize> line;
    std::size_t count = 0;
    if (send(fd_.get(), kLine.data(), first, 0) < 0) return false;
    if (writes == Writes::kTwo && send(fd_.get(), &terminator, 1, 0) != 1) return false;
    while (count < line.size()) {
      const ssize_t got = recv(fd_.get(), line.data() + count, line.size() - count, 0);
      if (got <= 0) return false;
      count += static_cast<std::size_t>(got);
      if (line[count - 1] == terminator) return true;
    }
    return false;
  }

 private:
  platform::FileDescriptor fd_;
};

// An instrument on a serial port at a URL, as drivers use it.
class RemoteLine : private SessionPeer {
 public:
  explicit RemoteLine(const std::string& url) {
    link_.SetParams({.baudRate = 115200, .location = url});
    if (Failed(link_.Open())) {
      std::fprintf(stderr, "%s cannot be opened\n", url.c_str());
      std::exit(2);
    }
  }
  bool Exchange() {
    return session_.Exchange([](Conversation& talk) { return talk.Query(kQuery, kReplyPlan); }).has_value();
  }

 private:
  Expected<bool> StartSession(Conversation&) override { return true; }

  SerialLink link_;
  Session session_{
      link_, std::make_unique<LineFramer>(link_, SystemClock(), LineFramer::Options{'\n', kReplySize, {}}), *this, {}};
};

int Run() {
  const LineServerProcess bare_server(false);
  const LineServerProcess raw_server(false);
  const LineServerProcess rfc2217_server(true);
  const BareSocket bare_socket(bare_server.address());
  RemoteLine raw_line("tcp://" + raw_server.address());
  RemoteLine rfc2217_line("rfc2217://" + rfc2217_server.address());
  using Writes = BareSocket::Writes;
  const auto bare = [&] { return Batch(kExchangesInBatch, [&] { return bare_socket.Exchange(Writes::kTwo); }); };
  const auto bare_in_one = [&] { return Batch(kExchangesInBatch, [&] { return bare_socket.Exchange(Writes::kOne); }); };
  const auto by_raw = [&] { return Batch(kExchangesInBatch, [&] { return raw_line.Exchange(); }); };
  const auto by_rfc2217 = [&] { return Batch(kExchangesInBatch, [&] { return rfc2217_line.Exchange(); }); };
  bare();
  ComparedRounds raw, rfc2217, raw_in_one;
  for (int round = 0; round < kRounds; ++round) {
    raw.Add(Compare(kBatches, by_raw, bare));
    rfc2217.Add(Compare(kBatches, by_rfc2217, bare));
    raw_in_one.Add(Compare(kBatches, by_raw, bare_in_one));
  }
  const bool raw_held =
      Show({"exchange over raw TCP, over a bare socket", raw.ratio(), "of bare", kRawBound, false, raw.Details()});
  const bool rfc2217_held = Show({"exchange over RFC 2217, over a bare socket", rfc2217.ratio(), "of bare",
                                  kRfc2217Bound, false, rfc2217.Details()});
  Show({"exchange over raw TCP, over a bare socket with one write", raw_in_one.ratio(), "of bare", 0, false,
        raw_in_one.Details()});
  return raw_held && rfc2217_held ? 0 : 1;
}

}  // namespace
}  // namespace ulix::bench

int main() {
  ulix::bench::StayOnThisProcessor();
  return ulix::bench::Run();
}
