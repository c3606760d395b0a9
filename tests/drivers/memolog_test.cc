#include <gmock/gmock.h>

#include <filesystem>
#include <fstream>

#include "core/error_info.h"
#include "drivers/loggers/memolog/program_file.h"
#include "drivers/loggers/memolog/program_model.h"
#include "drivers/loggers/memolog/protocol.h"
#include "drivers/loggers/memolog/tables.h"
#include "simulators/memolog.h"
#include "tests/support/line_bench.h"
#include "tests/support/unique_name.h"

namespace ulix::memolog {
namespace {

using testing::ElementsAre;
using testing::IsEmpty;

using Pair = std::pair<std::size_t, std::size_t>;

TEST(MemologProtocol, Text_FillsWholeRegisters) {
  EXPECT_THAT(TextRegisters("ABC"), ElementsAre(0x4142, 0x4300));
  EXPECT_THAT(TextRegisters("AB"), ElementsAre(0x4142, 0x0000));
  EXPECT_THAT(TextRegisters("\xE9"), ElementsAre(0x8200));  // an accent in the OEM code page
  EXPECT_EQ(TextRegisters(std::string(300, 'x')).size(), 50U);
  EXPECT_EQ(TextIn(std::array<std::uint16_t, 3>{0x4142, 0x4300, 0x4445}), "ABC");
  EXPECT_EQ(VersionText("ID", "OVEN 3"), "ID (\"OVEN 3\")");
  for (const char* none : {"OK", "INCONNUE", "Illegal", "OK\r\n"}) EXPECT_EQ(VersionText("ID", none), "ID");
}

TEST(MemologProtocol, ReplyThatRepeatsAnotherRequest_IsRefused) {
  const Words request = ReadRecordsData(4, 9, 1);
  EXPECT_THAT(request, ElementsAre(21, 5, 9, 1));
  Words reply = {10, 8, 21, 5, 9, 1, 0xA, 0xB, 0xC, 0xD};
  ASSERT_TRUE(RecordsIn(reply, request));
  EXPECT_THAT(*RecordsIn(reply, request), ElementsAre(0xA, 0xB, 0xC, 0xD));
  for (std::size_t word = 1; word < 6; ++word) {
    Words other = reply;
    other[word] = word == 1 ? 7 : 77;
    EXPECT_FALSE(RecordsIn(other, request)) << word;
  }
  EXPECT_FALSE(RecordsIn(std::span(reply).first(9), request));
  EXPECT_FALSE(ParseBlockState(std::span(reply).first(7)));
  EXPECT_THAT(ClearData(0, 65535), ElementsAre(22, 1, 2, 65535));
  EXPECT_THAT(ClearData(0, 65536), ElementsAre(22, 1, 2, 0));
}

TEST(MemologProgram, CycleOfABlock_IsThatOfItsOnlySequence) {
  Program program;
  for (ChannelId id = 0; id < 10; ++id) program.channels[id].measuring_time = id + 1;
  program.sequences = {{.block = 3, .mode = 1, .period = 7, .channels = {-3, 5, -7}},
                       {.block = 3, .mode = 32, .period = 1, .channels = {1}}};
  const auto cycle = [&] {
    const MemBlockCycle found = CycleOf(program, 2);
    return Pair(found.records, found.period);
  };
  EXPECT_EQ(cycle(), Pair(7, 1 + 2 + 3 + 5 + 6 + 7));
  program.sequences[0].mode = 2;
  EXPECT_EQ(cycle(), Pair(7, 24 * 7));
  program.sequences[0].mode = 4;
  EXPECT_EQ(cycle(), Pair(7, 7000));
  for (const unsigned mode : {8U, 16U}) {
    program.sequences[0].mode = static_cast<std::uint8_t>(mode);
    EXPECT_EQ(cycle(), Pair(7, 24));
  }
  program.sequences[0].channels = {8, -4};  // runs to a channel before its start
  EXPECT_EQ(cycle(), Pair(2, 8));
  program.sequences[1].mode = 4;
  EXPECT_EQ(cycle(), Pair(0, 0));
}

TEST(MemologProgram, ChannelTypeAndLimitBits_AreDecoded) {
  for (unsigned category = 0; category < 8; ++category) {
    for (unsigned sub = 0; sub < 8; ++sub) {
      const bool listed = category == 0 ? sub != 2 : category == 7 && (sub == 1 || sub == 2);
      EXPECT_EQ(IsListed({.type = static_cast<std::uint8_t>(category << 5U | sub)}), listed) << category << ' ' << sub;
    }
  }
  for (const auto& [flags, level] : {std::pair{9, LimitHigh}, {1, LimitLow}, {8, LimitNo}, {13, LimitNo}}) {
    EXPECT_EQ(LimitOf({static_cast<std::uint8_t>(flags), 2.5F}).level, level) << flags;
  }
  EXPECT_EQ(LimitOf({9, 2.5F}).value, 2.5F);
}

struct ProgressSink final : EventSink {
  std::vector<int> percents;
  std::function<void()> once;  // Called at the next step of the progress.
  void Progress(int percent) override {
    percents.push_back(percent);
    if (const auto act = std::exchange(once, nullptr)) act();
  }
};

class MemologTest : public LineBench {
 protected:
  MemologTest() : LineBench("memolog") { device->events().Advise(progress); }
  ~MemologTest() override {
    std::filesystem::remove(path);
    EXPECT_THAT(UnknownRequests(), IsEmpty());
  }
  template <typename Body>
  auto WithLogger(Body&& body) {
    return bench->WithSimulator([&](Simulator& s) { return body(dynamic_cast<MemologSimulator&>(s)); });
  }
  // Another control of the same logger, with a user interface.
  Instrument WithPerson(UserInterface& person) {
    DriverServices services;
    services.clock = &clock;
    services.resolve_port = ResolverOf(bench);
    return Instrument(FindModel("memolog")->create(services), {.clock = &clock, .user_interface = &person});
  }
  HRESULT ReadBlock(std::int32_t block, std::uint32_t max_records = 0, bool clear = false) {
    arrays = {};
    return device->ReadMemBlock(block, max_records, clear, &arrays, &read);
  }
  // Writes a file with the logger's program, changed so that the first channel measures the second one's value.
  void WriteOtherProgram() {
    std::ofstream file(path, std::ios::binary);
    file << ProgramFileHead("ULIX,MEMOLOG90");
    for (auto record : WithLogger([](MemologSimulator& s) { return s.program(); })) {
      if (record[0] == 4 && record[1] == 1) record.back() = static_cast<std::uint16_t>(record.back() + 2);
      file << ProgramFileRecord(record);
    }
  }
  void ExpectTheOtherProgram() { EXPECT_NEAR(driver->ReadChannel(0).value, driver->ReadChannel(1).value, 0.1F); }
  bool LoggerIsFree() {
    return WithLogger([](MemologSimulator& s) { return !s.frozen(1) && !s.frozen(2) && s.lock() == 0; });
  }

  std::shared_ptr<ProgressSink> progress = std::make_shared<ProgressSink>();
  ChannelArrays arrays;
  std::uint32_t read = 0;
  std::string path = (std::filesystem::temp_directory_path() / (UniqueName("ulix-memolog-") + ".p90")).string();
};

TEST_F(MemologTest, InstrumentOfAnotherType_IsNotMemolog) {
  SetBench("identity", "ULIX,MEMOLOG30");
  EXPECT_EQ(device->Connect(), memologCtlErrNotMemolog);
  EXPECT_FALSE(driver->LinkIsOpen());
  EXPECT_EQ(device->SendProgram(path), memologCtlErrNotMemolog);
  EXPECT_THAT(progress->percents, ElementsAre(100));
}

TEST_F(MemologTest, EachMemolog_GivesItsIdentityAndVersion) {
  std::string text;
  for (const char* identity : {"MEMOLOG90", "x MEMOLOG140 y", "ULIX,MEMOLOG20,1"}) {
    SetBench("identity", identity);
    EXPECT_EQ(device->Connect(), S_OK);
    EXPECT_EQ(device->Identify(&text), S_OK);
    EXPECT_EQ(text, identity);
    EXPECT_EQ(device->GetDevVersion(&text), S_OK);
    EXPECT_EQ(text, identity + std::string(" (\"FURNACE\")"));
    EXPECT_EQ(device->Disconnect(), S_OK);
  }
  EXPECT_EQ(device->GetCommInfo(&text), S_OK);
  EXPECT_EQ(text, "COM 1:MEMOLOG#1 (9600 bds)");
}

TEST_F(MemologTest, LinkThatCannotBeOpened_IsNamedInTheErrorInfo) {
  bench->SetFaults({{FaultKind::kDrop, 0}});
  EXPECT_EQ(device->Connect(), serialCommErrUnableToOpenComm);
  EXPECT_EQ(TakeErrorInfo().description, "Unable to open Local Serial Port");
  ASSERT_EQ(device->SetNetworkAddress(NetworkAddress{"127.0.0.1", 1}), S_OK);
  EXPECT_EQ(device->Connect(), networkCommErrUnableToConnect);
  EXPECT_EQ(TakeErrorInfo().description, "Unable to open IP Port");
}

TEST_F(MemologTest, CallsDuringAMemoryRead_AreServedOrRefused) {
  ASSERT_EQ(device->Connect(), S_OK);
  std::string said;
  HRESULT second = S_OK, program_sent = S_OK;
  progress->once = [&] {
    EXPECT_EQ(device->Identify(&said), S_OK);
    ChannelArrays other;
    std::uint32_t count = 0;
    second = device->ReadMemBlock(0, 0, true, &other, &count);
    program_sent = device->SendProgram(path);
  };
  EXPECT_EQ(ReadBlock(1), S_OK);
  EXPECT_EQ(read, 1125U);
  EXPECT_EQ(progress->percents.front(), 0);
  EXPECT_EQ(second, memologCtlErrMemLocked);
  EXPECT_EQ(program_sent, memologCtlErrMemLocked);
  progress->once = [&] { device->Disconnect(); };
  EXPECT_EQ(ReadBlock(1), serialCommErrCommClosed);
  EXPECT_EQ(arrays.size(), 0U);
  EXPECT_EQ(progress->percents.back(), 100);
}

TEST_F(MemologTest, CallsDuringASendOfAProgram_AreMemLocked) {
  ASSERT_EQ(device->Connect(), S_OK);
  WriteOtherProgram();
  HRESULT size_asked = S_OK;
  HRESULT value_asked = S_OK;
  progress->once = [&] {
    std::uint32_t size = 0;
    size_asked = device->GetMemBlockSize(0, &size);
    value_asked = driver->ReadChannel(0).code;
  };
  EXPECT_EQ(device->SendProgram(path), S_OK);
  EXPECT_EQ(size_asked, memologCtlErrMemLocked);
  EXPECT_EQ(value_asked, memologCtlErrMemLocked);
  ExpectTheOtherProgram();
}

TEST_F(MemologTest, InterruptedWait_EndsALongOperation) {
  ASSERT_EQ(device->Connect(), S_OK);
  progress->once = [&] {
    driver->InterruptWaits();
    TakeSent();
  };
  EXPECT_EQ(device->ReadProgram(path), serialCommErrUnableToReadComm);
  EXPECT_EQ(TakeSent(), "");
  driver->ResumeWaits();
  EXPECT_EQ(device->ReadProgram(path), S_OK);
}

struct StoppingUser final : UserInterface {
  int at = 0;  // The user stops the operation at this percentage.
  bool Progress(int percent) override { return percent < at; }
  std::optional<std::string> ChooseFile(const FileQuestion& question) override {
    questions.push_back(question);
    return chosen;
  }
  std::optional<std::string> chosen;  // None: the user cancels.
  std::vector<FileQuestion> questions;
};

TEST_F(MemologTest, UserStopsAMemoryRead_GivesNoRecordsAndFreesTheLogger) {
  StoppingUser ui;
  ui.at = 30;
  Instrument stopped = WithPerson(ui);
  ASSERT_EQ(stopped.Connect(), S_OK);
  read = 7;
  EXPECT_EQ(stopped.ReadMemBlock(1, 0, true, &arrays, &read), S_OK);
  EXPECT_EQ(read, 0U);
  EXPECT_EQ(arrays.size(), 0U);
  EXPECT_TRUE(LoggerIsFree());
  EXPECT_EQ(WithLogger([](MemologSimulator& s) { return s.held(2); }), 1501U);
}

TEST_F(MemologTest, UserStopsATransferOfAProgram_IsCancelled) {
  StoppingUser ui;
  ui.at = 30;
  Instrument stopped = WithPerson(ui);
  ASSERT_EQ(stopped.Connect(), S_OK);
  EXPECT_EQ(stopped.ReadProgram(path), kCancelled);
  EXPECT_FALSE(std::filesystem::exists(path));
  ui.at = 1000;
  ASSERT_EQ(stopped.ReadProgram(path), S_OK);
  ui.at = 30;
  EXPECT_EQ(stopped.SendProgram(path), kCancelled);
  EXPECT_FALSE(WithLogger([](MemologSimulator& s) { return s.in_program_mode(); }));
}

TEST_F(MemologTest, ProgramFileNotSet_UserIsAskedForIt) {
  StoppingUser ui;
  ui.at = 1000;
  Instrument logger = WithPerson(ui);
  ASSERT_EQ(logger.Connect(), S_OK);
  EXPECT_EQ(logger.SendCfg(), kCancelled);
  EXPECT_EQ(logger.ReadCfg(), kCancelled);
  ASSERT_EQ(ui.questions.size(), 2U);
  EXPECT_EQ(ui.questions[0].title, "Select Memolog Program File");
  EXPECT_EQ(ui.questions[0].files, "Memolog Files (*.p90)");
  EXPECT_FALSE(ui.questions[0].to_write);
  EXPECT_TRUE(ui.questions[1].to_write);
}

TEST_F(MemologTest, ChosenProgramFile_IsKeptOnlyWhenItWorked) {
  StoppingUser ui;
  ui.at = 1000;
  ui.chosen = path;
  Instrument logger = WithPerson(ui);
  const auto file_set = [&] { return logger.settings().TextOf(kSettings[kProgramFile]); };
  ASSERT_EQ(logger.Connect(), S_OK);
  EXPECT_EQ(logger.SendCfg(), memologCtlErrOpenFile) << "the file does not exist yet";
  EXPECT_EQ(file_set(), "");
  EXPECT_FALSE(logger.IsDirty());
  EXPECT_EQ(logger.ReadCfg(), S_OK);
  EXPECT_EQ(file_set(), path);
  EXPECT_TRUE(logger.IsDirty());
}

TEST_F(MemologTest, ProgramFileSet_UserIsNotAskedAndMayStopTheTransfer) {
  StoppingUser ui;
  ui.at = 1000;
  Instrument logger = WithPerson(ui);
  ASSERT_EQ(logger.Connect(), S_OK);
  ui.chosen = path;
  ASSERT_EQ(logger.ReadCfg(), S_OK);
  const std::size_t asked = ui.questions.size();
  ui.at = 30;
  EXPECT_EQ(logger.SendCfg(), kCancelled);
  EXPECT_EQ(ui.questions.size(), asked);
}

TEST_F(MemologTest, DeviceLostAtAnyExchange_BlockIsReadRightAfterwards) {
  ASSERT_EQ(device->Connect(), S_OK);
  // The device is lost after `exchanges` exchanges, before or after the block's release.
  for (int exchanges = 1; exchanges < 8; ++exchanges) {
    bench->SetFaults({{FaultKind::kDrop, exchanges}});
    EXPECT_NE(ReadBlock(0), S_OK);
    EXPECT_EQ(arrays.size(), 0U);
    bench->SetFaults({});
    EXPECT_EQ(ReadBlock(0), S_OK);
    EXPECT_EQ(read, 10U);
    EXPECT_TRUE(LoggerIsFree());
  }
}

TEST_F(MemologTest, LoggerReconnected_IsIdentifiedAndItsProgramReadAgain) {
  ASSERT_EQ(device->Connect(), S_OK);
  const float before = driver->ReadChannel(0).value;
  bench->SetFaults({{FaultKind::kDrop, 0}});
  EXPECT_EQ(driver->ReadChannel(0).code, serialCommErrUnableToWriteComm);
  EXPECT_EQ(driver->ReadChannel(0).code, serialCommErrCommClosed);
  bench->SetFaults({});
  WriteOtherProgram();
  StoppingUser nobody;
  nobody.at = 1000;
  EXPECT_EQ(WithPerson(nobody).SendProgram(path), S_OK);
  SetBench("identity", "ULIX,OTHER");
  std::string text;
  for (int i = 0; i < 2; ++i) EXPECT_EQ(driver->ReadChannel(0).code, memologCtlErrNotMemolog);
  SetBench("identity", "MEMOLOG20");
  ExpectTheOtherProgram();
  EXPECT_GT(std::abs(driver->ReadChannel(0).value - before), 1.0F);
  SetBench("identity", "ULIX,OTHER");
  EXPECT_EQ(device->Identify(&text), memologCtlErrNotMemolog);
}

TEST_F(MemologTest, NotConnected_HasNoBlocksAndRefusesCallsForOne) {
  std::vector<std::uint32_t> blocks;
  EXPECT_EQ(device->MemBlocks(&blocks), S_OK);
  EXPECT_THAT(blocks, IsEmpty());
  EXPECT_FALSE(device->OffersChannel(0));
  for (const auto& [block, result] : {std::pair{-1, E_INVALIDARG}, {100, E_INVALIDARG}, {0, E_UNEXPECTED}}) {
    EXPECT_EQ(ReadBlock(block), result) << block;
    EXPECT_EQ(device->ClearMemBlock(block, 0), result) << block;
  }
  EXPECT_EQ(device->ReadMemBlock(0, 0, false, &arrays, nullptr), E_INVALIDARG);
}

TEST_F(MemologTest, RecordingLogger_GivesTheStatusOfABlock) {
  SetBench("recording", "on");
  ASSERT_EQ(device->Connect(), S_OK);
  std::uint32_t held = 0, room = 0;
  std::int32_t destructive = 7, recording = 7;
  EXPECT_EQ(device->GetMemBlockStatus(0, &room, &held, &destructive, &recording), S_OK);
  EXPECT_EQ(Pair(room, held), Pair(100, 12));
  EXPECT_EQ(std::pair(destructive, recording), std::pair(0, 1));
}

TEST_F(MemologTest, Channels_AreThoseOfTheProgram) {
  ASSERT_EQ(device->Connect(), S_OK);
  ASSERT_EQ(device->RefreshChannels(), S_OK);
  for (ChannelId id = 0; id < kChannelCount; ++id) EXPECT_EQ(device->OffersChannel(id), id < 3) << id;
  EXPECT_EQ(driver->ChannelName(0) + driver->ChannelUnit(0) + std::to_string(driver->ChannelResolution(0)),
            "OVEN\260C2");
  EXPECT_EQ(driver->ChannelName(2) + driver->ChannelName(1999), "CH3CH2000");
  EXPECT_EQ(driver->Limit(0, 0).value, 250.0F);
  EXPECT_EQ(driver->Limit(0, 0).level, LimitHigh);
  EXPECT_EQ(driver->Limit(0, 2).level, LimitNo);
}

TEST_F(MemologTest, ChannelOfTheProgram_IsReadAndNoOther) {
  ASSERT_EQ(device->Connect(), S_OK);
  ASSERT_EQ(device->RefreshChannels(), S_OK);
  const Reading room = driver->ReadChannel(1);
  EXPECT_EQ(room.code, S_OK);
  EXPECT_NEAR(room.value, 21.5, 0.1);
  EXPECT_EQ(driver->ReadChannel(1999).code, memologCtlErrChNum);
}

TEST_F(MemologTest, Disconnected_KeepsTheBlocksOfTheProgram) {
  ASSERT_EQ(device->Connect(), S_OK);
  ASSERT_EQ(device->RefreshChannels(), S_OK);
  ASSERT_EQ(device->Disconnect(), S_OK);
  std::vector<std::uint32_t> blocks;
  EXPECT_EQ(device->MemBlocks(&blocks), S_OK);
  EXPECT_THAT(blocks, ElementsAre(0, 1));
  std::uint32_t size = 0;
  EXPECT_EQ(device->GetMemBlockSize(1, &size), S_OK);
  EXPECT_EQ(size, 60000U);
  for (const auto& [block, cycle] : {std::pair{0, Pair(4, 10000)}, {1, Pair(4, 3000)}, {100, Pair(0, 0)}}) {
    std::uint32_t records = 7, period = 7;
    EXPECT_EQ(device->GetMemBlockCyclePeriod(block, &records, &period), S_OK);
    EXPECT_EQ(Pair(records, period), cycle) << block;
  }
}

// The first record marks the layout of the others. Without it the channels are unknown.
TEST_F(MemologTest, ProgramWithoutTheFirstRecord_ListsNoChannels) {
  ASSERT_EQ(device->Connect(), S_OK);
  const auto program = WithLogger([](MemologSimulator& s) { return s.program(); });
  {
    std::ofstream file(path, std::ios::binary);
    file << ProgramFileHead("ULIX,MEMOLOG90");
    for (auto record = program.begin() + 1; record != program.end(); ++record) file << ProgramFileRecord(*record);
  }
  EXPECT_EQ(device->SendProgram(path), S_OK);
  EXPECT_EQ(device->ReadCfg(), S_OK);
  EXPECT_FALSE(device->OffersChannel(0));
  EXPECT_EQ(driver->ReadChannel(0).code, memologCtlErrChNum);
  std::vector<std::uint32_t> blocks;
  EXPECT_EQ(device->MemBlocks(&blocks), S_OK);
  EXPECT_THAT(blocks, IsEmpty());
}

TEST_F(MemologTest, WrongRecordCountOfTheLogger_ProgramIsReadToItsEnd) {
  ASSERT_EQ(device->Connect(), S_OK);
  for (const char* miscount : {"0", "3", "65533"}) {
    SetBench("miscount", miscount);
    EXPECT_EQ(device->ReadProgram(path), S_OK) << miscount;
    EXPECT_EQ(progress->percents.back(), 100);
    std::uint32_t records = 0;
    EXPECT_EQ(device->CheckProgram(path, &records), S_OK);
    EXPECT_EQ(records, WithLogger([](MemologSimulator& s) { return s.program().size(); })) << miscount;
  }
}

TEST_F(MemologTest, ConfigurationWithoutAProgramFile_ReadsTheChannelsAndSendsNothing) {
  EXPECT_EQ(device->SendCfg(), E_UNEXPECTED);
  ASSERT_EQ(device->Connect(), S_OK);
  EXPECT_EQ(device->ReadCfg(), S_OK);
  EXPECT_TRUE(device->OffersChannel(0));
  EXPECT_EQ(device->SendCfg(), memologCtlErrOpenFile);
}

TEST_F(MemologTest, ConfigurationWithAProgramFile_ReadsAndSendsTheFile) {
  ASSERT_EQ(device->Connect(), S_OK);
  Set("program-file", path.c_str());
  EXPECT_EQ(device->ReadCfg(), S_OK);
  const auto program = WithLogger([](MemologSimulator& s) { return s.program(); });
  EXPECT_EQ(device->SendCfg(), S_OK);
  EXPECT_EQ(WithLogger([](MemologSimulator& s) { return s.program(); }), program);
}

TEST_F(MemologTest, TransferOfAProgramWhileDisconnected_ConnectsForTheTransferOnly) {
  EXPECT_EQ(device->ReadProgram(path), S_OK);
  EXPECT_FALSE(IsConnected());
  EXPECT_FALSE(driver->LinkIsOpen());
  EXPECT_EQ(device->ReadProgram("/no/such/folder/x.p90"), memologCtlErrOpenFile);
  SetBench("refuse-with", "33");
  EXPECT_EQ(device->SendProgram(path), memologErrExceptionCode + 33);
  EXPECT_EQ(progress->percents.back(), 100);
}

}  // namespace
}  // namespace ulix::memolog
