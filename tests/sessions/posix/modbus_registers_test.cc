// Modbus registers against an independent slave, on TCP and on a terminal, and against peers that break the protocol.
#include "sessions/modbus_registers.h"

#include <gtest/gtest.h>
#include <modbus/modbus.h>

#include <atomic>
#include <numeric>

#include "links/modbus_frames.h"
#include "platform/byte_endpoint.h"
#include "platform/port_list.h"
#include "sessions/modbus_framer.h"
#include "simulators/in_process_port.h"
#include "tests/support/fake_serial_port.h"
#include "tests/support/manual_clock.h"
#include "tests/support/tcp_peer.h"

namespace ulix {
namespace {

constexpr ModbusRefusalCodes kExceptions = {memologCtlErrMbusFct, memologCtlErrMbusAddr, memologCtlErrMbusData};
constexpr int kFirst = 600;
constexpr int kCount = 400;

// A slave of an independent implementation, with registers from kFirst on. It runs until it goes out of scope.
class IndependentSlave {
 public:
  static constexpr int kUnit = 17;

  IndependentSlave() : context_(modbus_new_tcp("127.0.0.1", 0)) {
    socket_ = modbus_tcp_listen(context_, 1);
    sockaddr_in address{};
    socklen_t size = sizeof address;
    getsockname(socket_, reinterpret_cast<sockaddr*>(&address), &size);
    port_ = ntohs(address.sin_port);
    Start([this] { modbus_tcp_accept(context_, &socket_); });
  }
  explicit IndependentSlave(const std::string& device) : context_(modbus_new_rtu(device.c_str(), 19200, 'N', 8, 1)) {
    EXPECT_EQ(modbus_connect(context_), 0);
    Start([] {});
  }
  ~IndependentSlave() {
    stop_ = true;
    if (socket_ >= 0) shutdown(socket_, SHUT_RDWR);
    thread_.join();
    modbus_mapping_free(registers_);
    modbus_close(context_);
    modbus_free(context_);
    if (socket_ >= 0) close(socket_);
  }
  IndependentSlave(const IndependentSlave&) = delete;
  IndependentSlave& operator=(const IndependentSlave&) = delete;
  int port() const { return port_; }

 private:
  template <typename Accept>
  void Start(Accept&& accept) {
    registers_ = modbus_mapping_new_start_address(0, 0, 0, 0, kFirst, kCount, 0, 0);
    modbus_set_slave(context_, kUnit);
    modbus_set_indication_timeout(context_, 0, 50'000);
    thread_ = std::thread([this, accept] {
      accept();
      std::array<std::uint8_t, MODBUS_MAX_ADU_LENGTH> query;
      while (!stop_) {
        const int count = modbus_receive(context_, query.data());
        if (count > 0) modbus_reply(context_, query.data(), count, registers_);
        if (count < 0 && errno != ETIMEDOUT && errno != EMBBADCRC) break;
      }
    });
  }
  modbus_t* context_;
  modbus_mapping_t* registers_ = nullptr;
  int socket_ = -1;
  int port_ = 0;
  std::atomic<bool> stop_ = false;
  std::thread thread_;
};

// Two terminals connected to each other.
class Cable {
 public:
  Cable() : ends_{*platform::OpenPseudoTerminal(), *platform::OpenPseudoTerminal()} {
    for (std::size_t k = 0; k < 2; ++k) {
      threads_[k] = std::thread([this, k] {
        std::array<char, 512> buffer;
        while (!stop_) {
          const std::size_t count = ends_[k]->Read(buffer, std::chrono::milliseconds(20));
          if (count > 0) ends_[1 - k]->Write({buffer.data(), count});
        }
      });
    }
  }
  ~Cable() {
    stop_ = true;
    for (std::thread& thread : threads_) thread.join();
  }
  Cable(const Cable&) = delete;
  Cable& operator=(const Cable&) = delete;
  const std::string& end(std::size_t k) const { return ends_[k]->address(); }

 private:
  std::array<std::unique_ptr<platform::ByteEndpoint>, 2> ends_;
  std::array<std::thread, 2> threads_;
  std::atomic<bool> stop_ = false;
};

// A session with one slave, as a driver has it, without a handshake.
class Master : public SessionPeer {
 public:
  Master(ModbusLink::Options options, std::uint8_t slave, std::uint32_t timeout_ms = 1000)
      : clock_(*options.line.clock),
        link_(std::move(options)),
        session_(link_,
                 std::make_unique<ModbusFramer>(
                     link_, clock_, [slave] { return slave; }, kFirst),
                 *this, {.clock = &clock_, .timeout_ms = timeout_ms}) {}

  ModbusLink& link() { return link_; }
  Session& session() { return session_; }
  HRESULT Open() { return session_.Open(); }
  template <typename Body>
  auto On(Body&& body) {
    return session_.Exchange([&](Conversation& talk) {
      ModbusRegisters registers(talk, kExceptions);
      return body(registers);
    });
  }
  Expected<std::uint16_t> ReadOne(std::uint16_t address) {
    return On([=](ModbusRegisters& registers) { return registers.ReadOne(address); });
  }
  HRESULT ReadHolding(std::uint16_t address, std::span<std::uint16_t> values) {
    return On([=](ModbusRegisters& registers) { return registers.ReadHolding(address, values); });
  }
  HRESULT WriteMultiple(std::uint16_t address, std::span<const std::uint16_t> values) {
    return On([=](ModbusRegisters& registers) { return registers.WriteMultiple(address, values); });
  }
  HRESULT WriteOne(std::uint16_t address, std::uint16_t value) {
    return On([=](ModbusRegisters& registers) { return registers.WriteOne(address, value); });
  }

 private:
  Expected<bool> StartSession(Conversation&) override { return true; }

  Clock& clock_;
  ModbusLink link_;
  Session session_;
};

constexpr std::array<std::uint32_t, 3> kLineRates = {9600, 19200, 56000};

ModbusLink::Options LinkTo(platform::SocketMaker make_socket, Milliseconds timeout, Clock& clock = SystemClock(),
                           platform::PortResolver resolve = platform::ResolvePort) {
  return {.name = "SLAVE",
          .slave = [] { return std::uint8_t{1}; },
          .line = {.resolve_port = std::move(resolve),
                   .trace = {},
                   .clock = &clock,
                   .baud_rates = kLineRates,
                   .other_rates = false},
          .network = {.make_socket = std::move(make_socket), .clock = &clock, .trace = {}, .timeout = timeout}};
}

void Converse(Master& master) {
  std::uint16_t one = 0;
  EXPECT_NE(master.ReadHolding(kFirst, {&one, 1}), S_OK);  // not open
  ASSERT_EQ(master.Open(), S_OK);
  std::vector<std::uint16_t> written(modbus::kMaxWritten);
  std::iota(written.begin(), written.end(), static_cast<std::uint16_t>(0xFFC0));
  EXPECT_EQ(master.WriteMultiple(kFirst + 5, written), S_OK);
  EXPECT_EQ(master.WriteMultiple(kFirst, std::array{std::uint16_t{0x1234}}), S_OK);
  EXPECT_EQ(master.WriteOne(kFirst + 1, 0xABCD), S_OK);
  std::vector<std::uint16_t> read(modbus::kMaxRead);
  EXPECT_EQ(master.ReadHolding(kFirst + 5, read), S_OK);
  EXPECT_TRUE(std::equal(written.begin(), written.end(), read.begin()));
  EXPECT_EQ(master.ReadOne(kFirst).value_or(0), 0x1234);
  EXPECT_EQ(master.ReadOne(kFirst + 1).value_or(0), 0xABCD);
  EXPECT_EQ(CodeOf(master.ReadOne(kFirst - 1)), memologCtlErrMbusAddr);
  EXPECT_EQ(master.WriteOne(kFirst + kCount, 1), memologCtlErrMbusAddr);
  EXPECT_EQ(master.ReadOne(kFirst).value_or(0), 0x1234);
  std::vector<std::uint16_t> too_many(126);
  EXPECT_EQ(master.ReadHolding(kFirst, too_many), E_INVALIDARG);
  EXPECT_EQ(master.WriteMultiple(kFirst, std::span(too_many).first(124)), E_INVALIDARG);
  master.session().Disconnect();
  EXPECT_NE(CodeOf(master.ReadOne(kFirst)), S_OK);
}

TEST(ModbusRegistersTest, IndependentSlaveOnTcp_IsReadAndWritten) {
  const IndependentSlave slave;
  Master master(LinkTo(platform::MakeStreamSocket, Milliseconds(60'000)), IndependentSlave::kUnit);
  master.link().SetAddress(NetworkAddress{"127.0.0.1", slave.port()});
  Converse(master);
}

TEST(ModbusRegistersTest, IndependentSlaveOnALine_IsReadAndWritten) {
  const Cable cable;
  const IndependentSlave slave(cable.end(1));
  for (const std::uint32_t rate : kLineRates) {
    Master master(LinkTo(platform::MakeStreamSocket, Milliseconds(60'000)), IndependentSlave::kUnit, 60'000);
    SerialParams params;
    params.location = cable.end(0);
    params.baudRate = rate;
    ASSERT_EQ(master.link().serial()->ChooseParams(params), S_OK);
    Converse(master);
  }
}

// For a reply that comes, on however slow a machine.
constexpr int kPatientMs = 60'000;

std::unique_ptr<Master> OpenMaster(const TcpPeer& peer, int timeout_ms) {
  auto master = std::make_unique<Master>(LinkTo(platform::MakeStreamSocket, Milliseconds(timeout_ms)), 1, 0);
  master->link().SetAddress(NetworkAddress{"127.0.0.1", peer.port()});
  EXPECT_EQ(master->Open(), S_OK);
  return master;
}

std::string TcpReply(std::string_view request, std::uint16_t value, int transaction_off = 0, std::uint8_t slave = 1) {
  std::string pdu = {3, 2};
  modbus::AppendWord(pdu, value);
  return modbus::NetworkFrame(static_cast<std::uint16_t>(modbus::WordAt(request, 0) + transaction_off), slave, pdu);
}

TEST(ModbusRegistersTest, LateReplyOverTcp_IsDiscarded) {
  TcpPeer peer([](TcpPeer& p) {
    const std::string first = p.Take(12);
    const std::string second = p.Take(12);
    p.Send(TcpReply(first, 1) + TcpReply(second, 9, 1) + TcpReply(second, 2));
    p.AwaitEnd();
  });
  const auto master = OpenMaster(peer, kPatientMs);
  const auto read_impatiently = [](ModbusRegisters& registers) {
    registers.SetTimeout(50);
    return CodeOf(registers.ReadOne(5));
  };
  EXPECT_EQ(master->On(read_impatiently), networkCommErrUnableToReadComm);
  EXPECT_EQ(master->ReadOne(6).value_or(0), 2);
}

// A gateway may answer with the address of another unit. The request fails at once instead of waiting for its timeout.
TEST(ModbusRegistersTest, ReplyOfAnotherUnit_FailsAtOnce) {
  TcpPeer peer([](TcpPeer& p) {
    p.Send(TcpReply(p.Take(12), 8, 0, 2));
    p.Send(TcpReply(p.Take(12), 7));
    p.AwaitEnd();
  });
  const auto master = OpenMaster(peer, kPatientMs);
  EXPECT_EQ(CodeOf(master->ReadOne(5)), networkCommErrUnableToReadComm);
  EXPECT_EQ(master->ReadOne(5).value_or(0), 7);
}

// Bytes after a reply, and a frame whose length field is one too small, do not disturb a later exchange.
TEST(ModbusRegistersTest, BytesAfterAReply_AreDiscarded) {
  TcpPeer peer([](TcpPeer& p) {
    p.Send(TcpReply(p.Take(12), 1) + "xyz");
    std::string cut = TcpReply(p.Take(12), 2);
    cut[5] = static_cast<char>(cut[5] - 1);
    p.Send(cut);
    p.Send(TcpReply(p.Take(12), 3));
    p.AwaitEnd();
  });
  const auto master = OpenMaster(peer, kPatientMs);
  EXPECT_EQ(master->ReadOne(5).value_or(0), 1);
  EXPECT_EQ(CodeOf(master->ReadOne(5)), networkCommErrUnableToReadComm);
  EXPECT_EQ(master->ReadOne(5).value_or(0), 3);
}

TEST(ModbusRegistersTest, BytesThatAreNotModbus_EndTheConnectionAndTheNextRequestReconnects) {
  const auto damage = [](std::string request, int kind) {
    std::string reply = TcpReply(request, 7);
    if (kind == 0) reply[2] = 1;                       // another protocol
    if (kind == 1) reply[4] = 0x7F;                    // longer than any frame
    if (kind == 2) reply = std::string(3000, '\xFF');  // noise
    if (kind == 3) reply = reply.substr(0, 8);         // a part, then the end of the connection
    if (kind == 4) reply = {};                         // only the end of the connection
    return reply;
  };
  for (int kind = 0; kind < 5; ++kind) {
    std::atomic<int> connections = 0;
    TcpPeer peer([&](TcpPeer& p) {
      const std::string request = p.Take(12);
      p.Send(++connections == 1 ? damage(request, kind) : TcpReply(request, 7));
      if (connections > 1) p.AwaitEnd();
    });
    const auto master = OpenMaster(peer, kPatientMs);
    const HRESULT result = CodeOf(master->ReadOne(5));
    EXPECT_TRUE(result == networkCommErrUnableToReadComm || result == networkCommErrConnexClosed) << kind;
    EXPECT_EQ(master->session().state(), SessionState::kLost) << kind;
    EXPECT_EQ(master->ReadOne(5).value_or(0), 7) << kind;
    EXPECT_EQ(master->session().statistics().reconnections, 1U);
  }
}

TEST(ModbusRegistersTest, ReplyOfAnotherForm_IsUnableToRead) {
  const std::string forms[] = {{3, 4, 0, 1, 0, 2}, {3, 2, 0}, {6, 0, 5, 0, 1}, {'\x84', 2}, {'\x83', 11}, {3, 0}};
  for (const std::string& form : forms) {
    TcpPeer peer([&](TcpPeer& p) {
      p.Send(modbus::NetworkFrame(modbus::WordAt(p.Take(12), 0), 1, form));
      p.AwaitEnd();
    });
    EXPECT_EQ(CodeOf(OpenMaster(peer, kPatientMs)->ReadOne(5)), networkCommErrUnableToReadComm);
  }
  TcpPeer stubborn([](TcpPeer& p) {
    for (std::string request = p.Take(12); !request.empty(); request = p.Take(12)) p.Send(TcpReply(request, 1, 1));
  });
  EXPECT_EQ(CodeOf(OpenMaster(stubborn, 200)->ReadOne(5)), networkCommErrUnableToReadComm);
}

constexpr Milliseconds kBetweenReplies{10};

// A peer that sends replies without a request, for one minute.
class FloodingPeer final : public platform::StreamSocket {
 public:
  explicit FloodingPeer(ManualClock& clock) : clock_(clock) {}
  bool Connect(platform::Ipv4Address, std::uint16_t, std::optional<std::chrono::milliseconds>) override { return true; }
  platform::SocketWait AwaitReadable(std::chrono::milliseconds) override { return platform::SocketWait::kReady; }
  platform::SocketWait AwaitWritable(std::chrono::milliseconds) override { return platform::SocketWait::kReady; }
  int Send(std::string_view bytes) override { return static_cast<int>(bytes.size()); }
  int Receive(std::span<char> bytes) override {
    clock_.SleepFor(kBetweenReplies);
    return ++sent_ > 6000 ? 0 : static_cast<int>(TcpReply("\x77\x77", 1).copy(bytes.data(), bytes.size()));
  }
  bool WouldWait() const override { return false; }

 private:
  ManualClock& clock_;
  int sent_ = 0;
};

TEST(ModbusRegistersTest, UnrequestedReplies_DoNotExtendTheTimeout) {
  constexpr Milliseconds kTimeout{1000};
  ManualClock clock(ManualClock::Mode::kAutomatic);
  Master master(LinkTo([&] { return std::make_unique<FloodingPeer>(clock); }, kTimeout, clock), 1);
  master.link().SetAddress(NetworkAddress{"127.0.0.1", 1});
  ASSERT_EQ(master.Open(), S_OK);
  const MonotonicTime start = clock.Now();
  EXPECT_EQ(CodeOf(master.ReadOne(5)), networkCommErrUnableToReadComm);
  // Replies are received before the wait, when old input is discarded, and when the time has run out.
  EXPECT_LE(clock.Now() - start, kTimeout + 3 * kBetweenReplies);
}

// A slave on a line that answers each request with the registers it asks for, or always with `reply` when that is set.
class ScriptedSlave final : public Simulator {
 public:
  std::vector<SimulatedReply> Receive(std::string_view request) override {
    ++requests;
    if (!reply.empty()) return {{reply, true}};
    const std::size_t count = modbus::WordAt(request, 4);
    std::string pdu = {3, static_cast<char>(count * 2)};
    for (std::size_t i = 0; i < count; ++i) modbus::AppendWord(pdu, value);
    return {{modbus::SerialFrame(1, pdu), true}};
  }
  std::string Refusal() const override { return {}; }
  HRESULT Set(std::string_view, std::string_view) override { return E_INVALIDARG; }
  std::vector<std::pair<std::string, std::string>> Properties() const override { return {}; }
  std::string reply;
  std::uint16_t value = 0;
  int requests = 0;
};

class ModbusLineTest : public testing::Test {
 protected:
  ModbusLineTest() {
    auto made = std::make_unique<ScriptedSlave>();
    slave = made.get();
    bench = std::make_shared<SimulatedBench>(std::move(made), clock);
    master = std::make_unique<Master>(LinkTo(platform::MakeStreamSocket, Milliseconds(1000), clock, ResolverOf(bench)),
                                      std::uint8_t{1});
    EXPECT_EQ(master->Open(), S_OK);
  }
  static std::string Registers(std::uint16_t value, std::uint8_t unit = 1) {
    std::string pdu = {3, 2};
    modbus::AppendWord(pdu, value);
    return modbus::SerialFrame(unit, pdu);
  }
  void ReplyWith(std::string reply) {
    bench->WithSimulator([&](Simulator&) { slave->reply = std::move(reply); });
  }
  void Measure(std::uint16_t value) {
    bench->WithSimulator([&](Simulator&) {
      slave->value = value;
      slave->reply.clear();
    });
  }

  ManualClock clock{ManualClock::Mode::kAutomatic};
  ScriptedSlave* slave = nullptr;
  std::shared_ptr<SimulatedBench> bench;
  std::unique_ptr<Master> master;
};

// The reply is late by every delay up to five timeouts. It is never taken as the reply to a later request.
TEST_F(ModbusLineTest, LateReply_IsNeverTakenForALaterRequest) {
  std::uint16_t value = 0;
  for (int late_ms = 900; late_ms <= 5000; late_ms += 100) {
    bench->SetFaults({{FaultKind::kDelay, late_ms}});
    Measure(++value);
    const auto late = master->ReadOne(5);
    EXPECT_EQ(late.has_value(), late_ms <= 1000) << late_ms;
    bench->SetFaults({});
    for (int i = 0; i < 6; ++i) {
      Measure(++value);
      EXPECT_EQ(master->ReadOne(5).value_or(value), value) << late_ms;
    }
    Measure(++value);
    EXPECT_EQ(master->ReadOne(5), value) << late_ms << ": the line is in sync again";
  }
}

// After a lost reply, a request whose reply has another form is sent at once. A request with the same form of reply is
// sent after another one whose reply has another form.
TEST_F(ModbusLineTest, ReplyLost_RequestWithAnotherReplyFormIsSentAtOnce) {
  const auto requests_after_a_lost = [&](auto&& ask) {
    bench->SetFaults({{FaultKind::kSilent}});
    EXPECT_FALSE(master->ReadOne(5));
    bench->SetFaults({});
    Measure(3);
    const int before = bench->WithSimulator([&](Simulator&) { return slave->requests; });
    EXPECT_EQ(ask(), S_OK);
    return bench->WithSimulator([&](Simulator&) { return slave->requests; }) - before;
  };
  std::array<std::uint16_t, 2> two{};
  const MonotonicTime start = clock.Now();
  EXPECT_EQ(requests_after_a_lost([&] { return master->ReadHolding(5, two); }), 1);
  EXPECT_GE(clock.Now() - start, Milliseconds(2000)) << "the lost reply's timeout, then a quiet line for as long";
  EXPECT_EQ(requests_after_a_lost([&] { return CodeOf(master->ReadOne(5)); }), 2);
  EXPECT_EQ(master->session().state(), SessionState::kOpen);
}

TEST_F(ModbusLineTest, DamagedOrForeignReply_IsUnableToRead) {
  std::string damaged = Registers(1);
  damaged[3] ^= 1;
  for (const std::string& reply :
       {damaged, Registers(1, 2), Registers(1).substr(0, 6), std::string("\x01\x2B\x00\x00\x00\x00", 6),
        modbus::SerialFrame(1, std::string("\x06\x00\x05\x00\x01", 5)), std::string(5000, '\x03')}) {
    ReplyWith(reply);
    EXPECT_EQ(CodeOf(master->ReadOne(5)), serialCommErrUnableToReadComm);
    Measure(3);
    EXPECT_EQ(master->ReadOne(5).value_or(0), 3);
  }
  EXPECT_GE(master->session().statistics().damaged, 3U);
  ReplyWith(modbus::SerialFrame(1, "\x83\x02"));
  EXPECT_EQ(CodeOf(master->ReadOne(5)), memologCtlErrMbusAddr);
}

TEST_F(ModbusLineTest, TypedRequest_HasItsOwnReplyAlsoBehindALostOne) {
  const auto ask = [&](std::string_view typed) {
    return master->session().Exchange([&](Conversation& talk) { return talk.QueryTyped(typed); });
  };
  Measure(0x1234);
  EXPECT_EQ(ask("03 0005 0001").value_or(""), "03 02 12 34");
  EXPECT_EQ(master->session().state(), SessionState::kOpen);
  bench->SetFaults({{FaultKind::kDelay, 1500}});
  EXPECT_EQ(CodeOf(ask("03 0005 0001")), serialCommErrUnableToReadComm);
  bench->SetFaults({});
  Measure(0x5678);
  EXPECT_EQ(ask("03 0005 0001").value_or(""), "03 02 56 78");
  ReplyWith(modbus::SerialFrame(1, "\x84\x02"));
  EXPECT_EQ(ask("04 0005 0001").value_or(""), "84 02");
}

TEST_F(ModbusLineTest, TypedTextThatCannotBeSent_IsInvalidAndSendsNothing) {
  for (const char* typed : {"", "*IDN?", "03 0005", "2B 0E 01 00 00"}) {
    const auto query = [&](Conversation& talk) { return CodeOf(talk.QueryTyped(typed)); };
    EXPECT_EQ(master->session().Exchange(query), E_INVALIDARG) << typed;
    const auto command = [&](Conversation& talk) { return talk.SendTyped(typed); };
    EXPECT_EQ(master->session().Exchange(command), E_INVALIDARG) << typed;
  }
  EXPECT_EQ(bench->WithSimulator([&](Simulator&) { return slave->requests; }), 0);
}

// The reply to a typed command is not read. It is not taken for the reply to the next request.
TEST_F(ModbusLineTest, ReplyToATypedCommand_IsNoLaterRequests) {
  Measure(1);
  const auto command = [](Conversation& talk) { return talk.SendTyped("03 0005 0001"); };
  EXPECT_EQ(master->session().Exchange(command), S_OK);
  EXPECT_EQ(master->session().state(), SessionState::kOutOfSync);
  Measure(2);
  EXPECT_EQ(master->ReadOne(5).value_or(0), 2);
}

TEST_F(ModbusLineTest, LineThatIsNeverQuiet_FailsInTime) {
  bench->SetFaults({{FaultKind::kDrip, 100}});
  ReplyWith(std::string(2000, 'x'));
  EXPECT_EQ(CodeOf(master->ReadOne(5)), serialCommErrUnableToReadComm);
  const MonotonicTime start = clock.Now();
  EXPECT_EQ(CodeOf(master->ReadOne(5)), serialCommErrUnableToReadComm);
  EXPECT_LE(clock.Now() - start, Milliseconds((kMaxSilenceTimeouts + 1) * 1000)) << "no quiet line, and no reply";
}

TEST_F(ModbusLineTest, Requests_AreThreeAndAHalfCharactersApart) {
  Measure(4);
  EXPECT_TRUE(master->ReadOne(5));
  const MonotonicTime start = clock.Now();
  EXPECT_TRUE(master->ReadOne(5));
  EXPECT_EQ(clock.Now() - start, Milliseconds(5));  // 3.5 characters at 9600 bits per second take 4.01 ms
}

TEST_F(ModbusLineTest, LostPort_IsOpenedAgain) {
  Measure(4);
  bench->SetFaults({{FaultKind::kDrop, 0}});
  EXPECT_EQ(CodeOf(master->ReadOne(5)), serialCommErrUnableToWriteComm);
  EXPECT_EQ(master->session().Presence(), serialCommErrCommClosed);
  EXPECT_EQ(CodeOf(master->ReadOne(5)), serialCommErrCommClosed);
  bench->SetFaults({});
  EXPECT_EQ(master->ReadOne(5).value_or(0), 4);
  EXPECT_EQ(master->session().Presence(), S_OK);
}

TEST(ModbusFrames, Crc_MatchesTheExampleOfTheStandard) {
  EXPECT_EQ(modbus::SerialFrame(2, "\x07"), "\x02\x07\x41\x12");
  EXPECT_EQ(modbus::Crc16("\x02\x07\x41\x12"), 0);
}

}  // namespace
}  // namespace ulix
