// The recorded memory of a logger, read by a host.
#include <gtest/gtest.h>

#include <algorithm>
#include <cstdlib>

#include "tests/automation/client.h"

namespace client {
namespace {

TEST(Memory, IsReadIntoFourArraysWithProgressToTheEnd) {
  const char* port = std::getenv("ULIX_TEST_MEMOLOG");
  ASSERT_TRUE(port);
  const auto logger = Create<IUlixInstr>(L"Ulix.UlixInstrMemologCtl.1");
  const auto setup = Create<IUlixSetup>(L"Ulix.UlixSetup.1");
  ASSERT_TRUE(logger && setup);
  ASSERT_EQ(setup->Attach(logger.Get()), S_OK);
  ASSERT_EQ(setup->put_Serial(Text(L"port"), std::atol(port)), S_OK);
  Variant blocks, ids, values, errors, times;
  long count = -1;
  const auto read = [&] { return logger->ReadMemBlock(0, 0, 0, &ids, &values, &errors, &times, &count); };
  EXPECT_EQ(read(), E_UNEXPECTED);
  EXPECT_EQ(values.vt, VT_EMPTY);
  ASSERT_EQ(logger->Connect(), S_OK);
  ASSERT_EQ(logger->get_MemBlocks(&blocks), S_OK);
  EXPECT_EQ(Elements<long>(blocks)[0], 0);
  long size = 0, held = 0, destructive = 1, recording = 1;
  ASSERT_EQ(logger->GetMemBlockStatus(0, &size, &held, &destructive, &recording), S_OK);
  EXPECT_GT(held, 0);
  EXPECT_EQ(destructive, 0);
  EXPECT_EQ(logger->GetMemBlockStatus(100, &size, &held, &destructive, &recording), E_INVALIDARG);

  Sink sink;
  const Advised advised(logger.Get(), sink);
  ASSERT_EQ(read(), S_OK);
  ASSERT_GT(count, 0);
  EXPECT_EQ((std::array{ids.vt, values.vt, errors.vt, times.vt}),
            (std::array<VARTYPE, 4>{0x2003, 0x200C, 0x2003, 0x2007}));
  const auto length = static_cast<std::size_t>(count);
  EXPECT_EQ(Elements<long>(ids).size(), length);
  EXPECT_EQ(Elements<long>(errors).size(), length);
  EXPECT_EQ(Elements<VARIANT>(values).size(), length);
  EXPECT_EQ(Elements<VARIANT>(values)[0].vt, VT_R4);
  const auto dates = Elements<DATE>(times);
  EXPECT_TRUE(std::is_sorted(dates.begin(), dates.end()));
  const auto percents = sink.percents();
  ASSERT_FALSE(percents.empty());
  EXPECT_TRUE(std::is_sorted(percents.begin(), percents.end()));
  EXPECT_EQ(percents.back(), 100);
  EXPECT_EQ(logger->Disconnect(), S_OK);
}

}  // namespace
}  // namespace client
