// The recorded memory of a logger, read by a host.
#include <gtest/gtest.h>

#include <algorithm>

#include "tests/automation/client.h"

namespace client {
namespace {

constexpr long kBaudRate = 9600;  // The lowest of the logger.

class LoggerMemory : public testing::Test {
 protected:
  struct Read {
    HRESULT result = S_OK;
    Variant ids, values, errors, times;
    long count = -1;

    std::array<VARTYPE, 4> types() const { return {ids.vt, values.vt, errors.vt, times.vt}; }
    std::array<std::size_t, 4> lengths() const {
      return {Elements<long>(ids).size(), Elements<VARIANT>(values).size(), Elements<long>(errors).size(),
              Elements<DATE>(times).size()};
    }
  };
  // Connects to the logger whose port the variable names.
  void Connect(const char* variable) {
    OnPortOfTest(logger.Get(), variable, kBaudRate);
    ASSERT_EQ(logger->Connect(), S_OK);
    const auto blocks = ElementsOf<long>(logger.Get(), &IUlixInstr::get_MemBlocks);
    ASSERT_FALSE(blocks.empty());
    block = blocks[0];
  }
  void TearDown() override { EXPECT_EQ(logger->Disconnect(), S_OK); }
  Read ReadBlock(long clear) {
    Read read;
    read.result =
        logger->ReadMemBlock(block, 0, clear, &read.ids, &read.values, &read.errors, &read.times, &read.count);
    return read;
  }

  const ComPtr<IUlixInstr> logger = Create<IUlixInstr>(L"Ulix.UlixInstrMemologCtl.1");
  long block = 0;
};

TEST_F(LoggerMemory, NotConnected_GivesNoRecords) {
  const Read read = ReadBlock(0);
  EXPECT_EQ(read.result, E_UNEXPECTED);
  EXPECT_EQ(read.values.vt, VT_EMPTY);
}

TEST_F(LoggerMemory, GetMemBlockStatus_TellsHowMuchABlockHolds) {
  Connect("ULIX_TEST_MEMOLOG");
  long size = 0, held = 0, destructive = 1, recording = 1;
  ASSERT_EQ(logger->GetMemBlockStatus(block, &size, &held, &destructive, &recording), S_OK);
  EXPECT_GT(held, 0);
  EXPECT_EQ(destructive, 0);
  EXPECT_EQ(logger->GetMemBlockStatus(100, &size, &held, &destructive, &recording), E_INVALIDARG);
}

TEST_F(LoggerMemory, ReadMemBlock_GivesFourArraysAndProgressTo100) {
  Connect("ULIX_TEST_MEMOLOG");
  Sink sink;
  const Advised advised(logger.Get(), sink);
  const Read read = ReadBlock(0);
  ASSERT_EQ(read.result, S_OK);
  ASSERT_GT(read.count, 0);
  const auto length = static_cast<std::size_t>(read.count);
  EXPECT_EQ(read.types(), (std::array<VARTYPE, 4>{0x2003, 0x200C, 0x2003, 0x2007}));
  EXPECT_EQ(read.lengths(), (std::array{length, length, length, length}));
  EXPECT_EQ(Elements<VARIANT>(read.values)[0].vt, VT_R4);
  const auto times = Elements<DATE>(read.times);
  EXPECT_TRUE(std::is_sorted(times.begin(), times.end()));
  const auto percents = sink.percents();
  EXPECT_TRUE(std::is_sorted(percents.begin(), percents.end()));
  ASSERT_FALSE(percents.empty());
  EXPECT_EQ(percents.back(), 100);
}

// The logger refuses to clear. The host gets the records that were read, and the failure as result, error and event.
TEST_F(LoggerMemory, ReadMemBlockWhoseClearingFails_GivesTheRecordsAndTheFailure) {
  Connect("ULIX_TEST_KEEPING_MEMOLOG");
  const Read kept = ReadBlock(0);
  ASSERT_EQ(kept.result, S_OK);
  Sink sink;
  const Advised advised(logger.Get(), sink);
  HRESULT reported = S_OK;
  sink.on_error = [&reported](HRESULT code) { reported = code; };
  const Read read = ReadBlock(1);
  EXPECT_TRUE(FAILED(read.result));
  EXPECT_EQ(TakeFailure().source, L"Ulix.UlixInstrMemologCtl.1") << "a status of the logger has no text";
  EXPECT_EQ(reported, read.result);
  EXPECT_EQ(read.count, kept.count);
  EXPECT_EQ(read.lengths(), kept.lengths());
  EXPECT_EQ(Elements<long>(read.ids), Elements<long>(kept.ids));
  EXPECT_EQ(Elements<long>(read.errors), Elements<long>(kept.errors));
  EXPECT_EQ(Elements<DATE>(read.times), Elements<DATE>(kept.times));
}

}  // namespace
}  // namespace client
