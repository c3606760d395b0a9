// The Modbus master on TCP and on a line, against peers that are no good ones. tests/cli/memolog_logger.py is a good
// one.
#include "links/modbus_master.h"

#include <gtest/gtest.h>

#include <atomic>

#include "links/modbus_frames.h"
#include "simulators/in_process_port.h"
#include "tests/support/manual_clock.h"
#include "tests/support/tcp_peer.h"

namespace ulix {
namespace {

constexpr ModbusRefusalCodes kExceptions = {memologCtlErrMbusFct, memologCtlErrMbusAddr, memologCtlErrMbusData};

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

TEST(ModbusMaster, WhatIsNoModbusEndsTheConnectionAndTheNextRequestMakesAnother) {
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
      p.Say(++connections == 1 ? spoil(request, kind) : Reply(request, 7));
      if (connections > 1) p.AwaitEnd();
    });
    const auto master = OpenMaster(peer, 2000);
    const HRESULT result = CodeOf(master->ReadOne(5));
    EXPECT_TRUE(result == networkCommErrUnableToReadComm || result == networkCommErrConnexClosed) << kind;
    EXPECT_EQ(master->ReadOne(5).value_or(0), 7) << kind;
  }
}

TEST(ModbusMaster, RepliesOfAnotherFormAreNoAnswers) {
  const std::string forms[] = {{3, 4, 0, 1, 0, 2}, {3, 2, 0}, {6, 0, 5, 0, 1}, {'\x84', 2}, {'\x83', 11}, {3, 0}};
  for (const std::string& form : forms) {
    TcpPeer peer([&](TcpPeer& p) {
      p.Say(modbus::NetworkFrame(modbus::WordAt(p.Take(12), 0), 1, form));
      p.AwaitEnd();
    });
    EXPECT_EQ(CodeOf(OpenMaster(peer, 2000)->ReadOne(5)), networkCommErrUnableToReadComm);
  }
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
        MakeModbusRtu({.params = {}, .open = OpenerOf(bench), .clock = &clock, .trace = {}}), kExceptions);
    EXPECT_EQ(master->Open(), S_OK);
  }
  static std::string Registers(std::uint16_t value, std::uint8_t unit = 1) {
    std::string pdu = {3, 2};
    modbus::AppendWord(pdu, value);
    return modbus::SerialFrame(unit, pdu);
  }
  void Say(std::string reply) {
    bench->WithSimulator([&](Simulator&) { slave->reply = std::move(reply); });
  }

  ManualClock clock{ManualClock::Mode::kAutomatic};
  ScriptedSlave* slave = nullptr;
  std::shared_ptr<SimulatedBench> bench;
  std::unique_ptr<ModbusMaster> master;
};

TEST_F(ModbusLineTest, RepliesThatAreDamagedOrAnothersAreNoAnswers) {
  std::string damaged = Registers(1);
  damaged[3] ^= 1;
  for (const std::string& reply :
       {damaged, Registers(1, 2), Registers(1).substr(0, 6), std::string("\x01\x2B\x00\x00\x00\x00", 6),
        modbus::SerialFrame(1, std::string("\x06\x00\x05\x00\x01", 5)), std::string(5000, '\x03')}) {
    Say(reply);
    EXPECT_EQ(CodeOf(master->ReadOne(5)), serialCommErrUnableToReadComm);
    Say(Registers(3));
    EXPECT_EQ(master->ReadOne(5).value_or(0), 3);
  }
  Say(modbus::SerialFrame(1, "\x83\x02"));
  EXPECT_EQ(CodeOf(master->ReadOne(5)), memologCtlErrMbusAddr);
}

TEST_F(ModbusLineTest, ALineThatIsNeverQuietIsGivenUp) {
  bench->SetFaults({{FaultKind::kDrip, 100}});
  Say(std::string(2000, 'x'));
  EXPECT_EQ(CodeOf(master->ReadOne(5)), serialCommErrUnableToReadComm);
  const MonotonicTime start = clock.Now();
  EXPECT_EQ(CodeOf(master->ReadOne(5)), serialCommErrUnableToReadComm);
  EXPECT_LE(clock.Now() - start, Milliseconds(4000));
}

TEST_F(ModbusLineTest, RequestsAreBoundedAndKeptApartBySilence) {
  Say(Registers(4));
  EXPECT_TRUE(master->ReadOne(5));
  const MonotonicTime start = clock.Now();
  EXPECT_TRUE(master->ReadOne(5));
  EXPECT_EQ(clock.Now() - start, Milliseconds(5));  // three and a half characters at 9600 are 4.01 ms
  std::vector<std::uint16_t> too_many(126);
  EXPECT_EQ(master->ReadHolding(5, too_many), E_INVALIDARG);
  EXPECT_EQ(master->WriteMultiple(5, std::span(too_many).first(124)), E_INVALIDARG);
  Say(modbus::SerialFrame(1, std::string("\x10\x00\x05\x00\x7B", 5)));
  EXPECT_EQ(master->WriteMultiple(5, std::span(too_many).first(123)), S_OK);
  Say(modbus::SerialFrame(1, "\x06\x02\x58\xAB\xCD"));
  EXPECT_EQ(master->WriteOne(0x258, 0xABCD), S_OK);
  EXPECT_EQ(master->WriteOne(0x258, 0xABCE), serialCommErrUnableToReadComm) << "another value is confirmed";
}

TEST_F(ModbusLineTest, APortThatWasLostIsOpenedAgain) {
  Say(Registers(4));
  bench->SetFaults({{FaultKind::kDrop, 0}});
  EXPECT_EQ(CodeOf(master->ReadOne(5)), serialCommErrUnableToWriteComm);
  EXPECT_EQ(CodeOf(master->ReadOne(5)), serialCommErrUnableToOpenComm);
  bench->SetFaults({});
  EXPECT_EQ(master->ReadOne(5).value_or(0), 4);
  master->Close();
  EXPECT_NE(CodeOf(master->ReadOne(5)), S_OK);
}

}  // namespace
}  // namespace ulix
