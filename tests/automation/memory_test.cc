// The recorded memory of a logger, read by a host.
#include <gtest/gtest.h>

#include <algorithm>

#include "tests/automation/client.h"

namespace client {
namespace {

constexpr long kBaudRate = 9600;  // The lowest of the logger.

struct Read {
  HRESULT result = S_OK;
  Variant ids, values, errors, times;
  long count = -1;
};

void ReadBlock(IUlixInstr* logger, long block, long clear, Read& read) {
  read.result = logger->ReadMemBlock(block, 0, clear, &read.ids, &read.values, &read.errors, &read.times, &read.count);
}

TEST(Memory, ReadMemBlock_GivesFourArraysAndProgressTo100) {
  const auto logger = Create<IUlixInstr>(L"Ulix.UlixInstrMemologCtl.1");
  OnPortOfTest(logger.Get(), "ULIX_TEST_MEMOLOG", kBaudRate);
  {
    Read unconnected;
    ReadBlock(logger.Get(), 0, 0, unconnected);
    EXPECT_EQ(unconnected.result, E_UNEXPECTED);
    EXPECT_EQ(unconnected.values.vt, VT_EMPTY);
  }
  ASSERT_EQ(logger->Connect(), S_OK);
  Variant blocks;
  ASSERT_EQ(logger->get_MemBlocks(&blocks), S_OK);
  const auto ids = Elements<long>(blocks);
  ASSERT_FALSE(ids.empty());
  long size = 0, held = 0, destructive = 1, recording = 1;
  ASSERT_EQ(logger->GetMemBlockStatus(ids[0], &size, &held, &destructive, &recording), S_OK);
  EXPECT_GT(held, 0);
  EXPECT_EQ(destructive, 0);
  EXPECT_EQ(logger->GetMemBlockStatus(100, &size, &held, &destructive, &recording), E_INVALIDARG);

  Sink sink;
  const Advised advised(logger.Get(), sink);
  Read read;
  ReadBlock(logger.Get(), ids[0], 0, read);
  ASSERT_EQ(read.result, S_OK);
  ASSERT_GT(read.count, 0);
  const auto length = static_cast<std::size_t>(read.count);
  EXPECT_EQ(read.ids.vt, 0x2003);
  EXPECT_EQ(read.values.vt, 0x200C);
  EXPECT_EQ(read.errors.vt, 0x2003);
  EXPECT_EQ(read.times.vt, 0x2007);
  EXPECT_EQ(Elements<long>(read.ids).size(), length);
  EXPECT_EQ(Elements<long>(read.errors).size(), length);
  EXPECT_EQ(Elements<VARIANT>(read.values).size(), length);
  EXPECT_EQ(Elements<VARIANT>(read.values)[0].vt, VT_R4);
  const auto times = Elements<DATE>(read.times);
  EXPECT_TRUE(std::is_sorted(times.begin(), times.end()));
  const auto percents = sink.percents();
  ASSERT_FALSE(percents.empty());
  EXPECT_TRUE(std::is_sorted(percents.begin(), percents.end()));
  EXPECT_EQ(percents.back(), 100);
  EXPECT_EQ(logger->Disconnect(), S_OK);
}

// A logger that refuses to clear: what was read is delivered beside the failure, which is told in every way.
TEST(Memory, ReadMemBlockWhoseClearingFails_GivesTheRecordsAndTheFailure) {
  const auto logger = Create<IUlixInstr>(L"Ulix.UlixInstrMemologCtl.1");
  OnPortOfTest(logger.Get(), "ULIX_TEST_KEEPING_MEMOLOG", kBaudRate);
  ASSERT_EQ(logger->Connect(), S_OK);
  Variant blocks;
  ASSERT_EQ(logger->get_MemBlocks(&blocks), S_OK);
  const long block = Elements<long>(blocks)[0];
  Read kept;
  ReadBlock(logger.Get(), block, 0, kept);
  ASSERT_EQ(kept.result, S_OK);

  Sink sink;
  const Advised advised(logger.Get(), sink);
  HRESULT told = S_OK;
  sink.on_error = [&told](HRESULT code) { told = code; };
  Read read;
  ReadBlock(logger.Get(), block, 1, read);
  EXPECT_TRUE(FAILED(read.result));
  EXPECT_EQ(TakeFailure().source, L"Ulix.UlixInstrMemologCtl.1") << "a status of the logger has no text";
  EXPECT_EQ(told, read.result);
  EXPECT_EQ(read.count, kept.count);
  EXPECT_EQ(Elements<long>(read.ids), Elements<long>(kept.ids));
  EXPECT_EQ(Elements<long>(read.errors), Elements<long>(kept.errors));
  EXPECT_EQ(Elements<DATE>(read.times), Elements<DATE>(kept.times));
  EXPECT_EQ(Elements<VARIANT>(read.values).size(), Elements<VARIANT>(kept.values).size());
  EXPECT_EQ(logger->Disconnect(), S_OK);
}

}  // namespace
}  // namespace client
