// The Modbus master against an independent slave, on TCP and on a terminal, and against peers that are no good ones.
#include "links/modbus_master.h"

#include <gtest/gtest.h>
#include <modbus/modbus.h>

#include <atomic>
#include <numeric>

#include "links/modbus_frames.h"
#include "platform/byte_endpoint.h"
#include "simulators/in_process_port.h"
#include "tests/support/fake_serial_port.h"
#include "tests/support/manual_clock.h"
#include "tests/support/tcp_peer.h"

namespace ulix {
namespace {

constexpr ModbusRefusalCodes kExceptions = {memologCtlErrMbusFct, memologCtlErrMbusAddr, memologCtlErrMbusData};
constexpr int kFirst = 600;
constexpr int kCount = 400;

// A slave that is not ours, with registers from kFirst on, until it goes out of scope.
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

// Two terminals, wired to each other.
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

void Converse(std::unique_ptr<ModbusTransport> transport) {
  ModbusMaster master(std::move(transport), kExceptions);
  master.SetSlave(IndependentSlave::kUnit);
  master.SetTimeout(Milliseconds(5000));
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
  master.Close();
  EXPECT_NE(CodeOf(master.ReadOne(kFirst)), S_OK);
}

TEST(ModbusMaster, SpeaksWithAnIndependentSlaveOverTcp) {
  const IndependentSlave slave;
  Converse(MakeModbusTcp({{"127.0.0.1", slave.port()}}));
}

TEST(ModbusMaster, SpeaksWithAnIndependentSlaveOnALine) {
  const Cable cable;
  const IndependentSlave slave(cable.end(1));
  for (const std::uint32_t rate : {9600U, 19200U, 56000U}) {
    SerialParams params;
    params.location = cable.end(0);
    params.baudRate = rate;
    Converse(MakeModbusRtu({.params = params}));
  }
}

std::unique_ptr<ModbusMaster> OpenMaster(const TcpPeer& peer, int timeout_ms) {
  auto master = std::make_unique<ModbusMaster>(MakeModbusTcp({{"127.0.0.1", peer.port()}}), kExceptions);
  master->SetTimeout(Milliseconds(timeout_ms));
  EXPECT_EQ(master->Open(), S_OK);
  return master;
}

std::string Reply(std::string_view request, std::uint16_t value, int transaction_off = 0, std::uint8_t slave = 1) {
  std::string pdu = {3, 2};
  modbus::AppendWord(pdu, value);
  return modbus::NetworkFrame(static_cast<std::uint16_t>(modbus::WordAt(request, 0) + transaction_off), slave, pdu);
}

TEST(ModbusMaster, ALateReplyIsNobodys) {
  TcpPeer peer([](TcpPeer& p) {
    const std::string first = p.Take(12);
    const std::string second = p.Take(12);
    p.Localized(Reply(first, 1) + Reply(second, 9, 1) + Reply(second, 8, 0, 2) + Reply(second, 2));
    p.AwaitEnd();
  });
  const auto master = OpenMaster(peer, 300);
  EXPECT_EQ(CodeOf(master->ReadOne(5)), networkCommErrUnableToReadComm);
  EXPECT_EQ(master->ReadOne(6).value_or(0), 2);
}

TEST(ModbusMaster, WhatIsNoModbusEndsTheConnectionUntilItIsRestored) {
  const auto spoil = [](std::string request, int kind) {
    std::string reply = Reply(request, 7);
    if (kind == 0) reply[2] = 1;                       // another protocol
    if (kind == 1) reply[4] = 0x7F;                    // longer than any frame
    if (kind == 2) reply = std::string(3000, '\xFF');  // noise
    if (kind == 3) reply = reply.substr(0, 8);         // short, and then the end
    if (kind == 4) reply = {};                         // the end
    return reply;
  };
  for (int kind = 0; kind < 5; ++kind) {
    std::atomic<int> connections = 0;
    TcpPeer peer([&](TcpPeer& p) {
      const std::string request = p.Take(12);
      p.Localized(++connections == 1 ? spoil(request, kind) : Reply(request, 7));
      if (connections > 1) p.AwaitEnd();
    });
    const auto master = OpenMaster(peer, 2000);
    const HRESULT result = CodeOf(master->ReadOne(5));
    EXPECT_TRUE(result == networkCommErrUnableToReadComm || result == networkCommErrConnexClosed) << kind;
    EXPECT_EQ(CodeOf(master->ReadOne(5)), networkCommErrConnexClosed) << kind;
    const bool peer_left = kind > 2;
    EXPECT_EQ(master->Restore().value_or(!peer_left), peer_left) << kind;
    EXPECT_EQ(master->ReadOne(5).value_or(0), 7) << kind;
  }
}

TEST(ModbusMaster, RepliesOfAnotherFormAreNoAnswers) {
  const std::string forms[] = {{3, 4, 0, 1, 0, 2}, {3, 2, 0}, {6, 0, 5, 0, 1}, {'\x84', 2}, {'\x83', 11}, {3, 0}};
  for (const std::string& form : forms) {
    TcpPeer peer([&](TcpPeer& p) {
      p.Localized(modbus::NetworkFrame(modbus::WordAt(p.Take(12), 0), 1, form));
      p.AwaitEnd();
    });
    EXPECT_EQ(CodeOf(OpenMaster(peer, 2000)->ReadOne(5)), networkCommErrUnableToReadComm);
  }
  TcpPeer stubborn([](TcpPeer& p) {
    for (std::string request = p.Take(12); !request.empty(); request = p.Take(12)) p.Localized(Reply(request, 1, 1));
  });
  EXPECT_EQ(CodeOf(OpenMaster(stubborn, 200)->ReadOne(5)), networkCommErrUnableToReadComm);
}

// A peer that says, every ten milliseconds, what nobody asked for; for a minute.
class FloodingPeer final : public platform::StreamSocket {
 public:
  explicit FloodingPeer(ManualClock& clock) : clock_(clock) {}
  bool Connect(platform::Ipv4Address, std::uint16_t, std::optional<std::chrono::milliseconds>) override { return true; }
  platform::SocketWait AwaitReadable(std::chrono::milliseconds) override { return platform::SocketWait::kReady; }
  platform::SocketWait AwaitWritable(std::chrono::milliseconds) override { return platform::SocketWait::kReady; }
  int Send(std::string_view bytes) override { return static_cast<int>(bytes.size()); }
  int Receive(std::span<char> bytes) override {
    clock_.SleepFor(Milliseconds(10));
    return ++said_ > 6000 ? 0 : static_cast<int>(Reply("\x77\x77", 1).copy(bytes.data(), bytes.size()));
  }
  bool WouldWait() const override { return false; }

 private:
  ManualClock& clock_;
  int said_ = 0;
};

TEST(ModbusMaster, RepliesThatNobodyAskedForExtendNoRequest) {
  ManualClock clock(ManualClock::Mode::kAutomatic);
  const auto make = [&] { return std::make_unique<FloodingPeer>(clock); };
  ModbusMaster master(MakeModbusTcp({.address = {"127.0.0.1", 1}, .make_socket = make, .clock = &clock, .trace = {}}),
                      kExceptions);
  ASSERT_EQ(master.Open(), S_OK);
  const MonotonicTime start = clock.Now();
  EXPECT_EQ(CodeOf(master.ReadOne(5)), networkCommErrUnableToReadComm);
  EXPECT_LE(clock.Now() - start, Milliseconds(1020));
}

// A slave on a line that says what it is told to, at the times it is told.
class ScriptedSlave final : public Simulator {
 public:
  std::vector<SimulatedReply> Receive(std::string_view) override { return {{reply, true}}; }
  std::string Refusal() const override { return {}; }
  HRESULT Set(std::string_view, std::string_view) override { return E_INVALIDARG; }
  std::vector<std::pair<std::string, std::string>> Properties() const override { return {}; }
  std::string reply;
};

class ModbusLineTest : public testing::Test {
 protected:
  ModbusLineTest() {
    auto made = std::make_unique<ScriptedSlave>();
    slave = made.get();
    bench = std::make_shared<SimulatedBench>(std::move(made), clock);
    master = std::make_unique<ModbusMaster>(
        MakeModbusRtu({.params = {}, .resolve_port = ResolverOf(bench), .clock = &clock, .trace = {}}), kExceptions);
    EXPECT_EQ(master->Open(), S_OK);
  }
  static std::string Registers(std::uint16_t value, std::uint8_t unit = 1) {
    std::string pdu = {3, 2};
    modbus::AppendWord(pdu, value);
    return modbus::SerialFrame(unit, pdu);
  }
  void Localized(std::string reply) {
    bench->WithSimulator([&](Simulator&) { slave->reply = std::move(reply); });
  }

  ManualClock clock{ManualClock::Mode::kAutomatic};
  ScriptedSlave* slave = nullptr;
  std::shared_ptr<SimulatedBench> bench;
  std::unique_ptr<ModbusMaster> master;
};

TEST_F(ModbusLineTest, AReplyThatComesAfterItsTimeIsDrained) {
  bench->SetFaults({{FaultKind::kDelay, 1500}});
  Localized(Registers(1));
  EXPECT_EQ(CodeOf(master->ReadOne(5)), serialCommErrUnableToReadComm);
  // Asked of the next slave at once, as it would be: the late 1 must not be its answer.
  bench->SetFaults({});
  Localized(Registers(2));
  EXPECT_EQ(master->ReadOne(5).value_or(0), 2);
}

TEST_F(ModbusLineTest, RepliesThatAreDamagedOrAnothersAreNoAnswers) {
  std::string damaged = Registers(1);
  damaged[3] ^= 1;
  for (const std::string& reply :
       {damaged, Registers(1, 2), Registers(1).substr(0, 6), std::string("\x01\x2B\x00\x00\x00\x00", 6),
        modbus::SerialFrame(1, std::string("\x06\x00\x05\x00\x01", 5)), std::string(5000, '\x03')}) {
    Localized(reply);
    EXPECT_EQ(CodeOf(master->ReadOne(5)), serialCommErrUnableToReadComm);
    Localized(Registers(3));
    EXPECT_EQ(master->ReadOne(5).value_or(0), 3);
  }
  Localized(modbus::SerialFrame(1, "\x83\x02"));
  EXPECT_EQ(CodeOf(master->ReadOne(5)), memologCtlErrMbusAddr);
}

TEST_F(ModbusLineTest, ALineThatIsNeverQuietIsGivenUp) {
  bench->SetFaults({{FaultKind::kDrip, 100}});
  Localized(std::string(2000, 'x'));
  EXPECT_EQ(CodeOf(master->ReadOne(5)), serialCommErrUnableToReadComm);
  const MonotonicTime start = clock.Now();
  EXPECT_EQ(CodeOf(master->ReadOne(5)), serialCommErrUnableToReadComm);
  EXPECT_LE(clock.Now() - start, Milliseconds(4000));
}

TEST_F(ModbusLineTest, RequestsAreKeptApartBySilence) {
  Localized(Registers(4));
  EXPECT_TRUE(master->ReadOne(5));
  const MonotonicTime start = clock.Now();
  EXPECT_TRUE(master->ReadOne(5));
  EXPECT_EQ(clock.Now() - start, Milliseconds(5));  // three and a half characters at 9600 are 4.01 ms
}

TEST_F(ModbusLineTest, APortThatWasLostIsOpenedAgainWhenTold) {
  Localized(Registers(4));
  bench->SetFaults({{FaultKind::kDrop, 0}});
  EXPECT_EQ(CodeOf(master->ReadOne(5)), serialCommErrUnableToWriteComm);
  EXPECT_EQ(master->Presence(), serialCommErrCommClosed);
  EXPECT_EQ(CodeOf(master->Restore()), serialCommErrCommClosed);
  bench->SetFaults({});
  EXPECT_EQ(CodeOf(master->ReadOne(5)), serialCommErrCommClosed);
  EXPECT_TRUE(master->Restore().value_or(false));
  EXPECT_EQ(master->Presence(), S_OK);
  EXPECT_EQ(master->ReadOne(5).value_or(0), 4);
}

TEST(ModbusFrames, TheCheckIsTheOneOfTheStandard) {
  EXPECT_EQ(modbus::SerialFrame(2, "\x07"), "\x02\x07\x41\x12");
  EXPECT_EQ(modbus::Crc16("\x02\x07\x41\x12"), 0);
}

}  // namespace
}  // namespace ulix
