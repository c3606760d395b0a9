#include <gmock/gmock.h>

#include <filesystem>
#include <fstream>

#include "core/error_info.h"
#include "core/user_interface.h"
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

TEST(MemologProtocol, FramesAreWrittenFromTheirEnd) {
  const auto sizes = [](std::size_t words) {
    std::vector<std::pair<std::size_t, std::size_t>> blocks;
    for (const FrameBlock& block : FrameBlocks(words)) blocks.emplace_back(block.first, block.count);
    return blocks;
  };
  using Pair = std::pair<std::size_t, std::size_t>;
  EXPECT_THAT(sizes(60), ElementsAre(Pair(0, 60)));
  EXPECT_THAT(sizes(61), ElementsAre(Pair(60, 1), Pair(0, 60)));
  EXPECT_THAT(sizes(198), ElementsAre(Pair(180, 18), Pair(120, 60), Pair(60, 60), Pair(0, 60)));
}

TEST(MemologProtocol, TextsFillWholeRegisters) {
  EXPECT_THAT(TextRegisters("ABC"), ElementsAre(0x4142, 0x4300));
  EXPECT_THAT(TextRegisters("AB"), ElementsAre(0x4142, 0x0000));
  EXPECT_THAT(TextRegisters("\xE9"), ElementsAre(0x8200));  // an accent in the OEM code page
  EXPECT_EQ(TextRegisters(std::string(300, 'x')).size(), 50U);
  EXPECT_EQ(TextIn(std::array<std::uint16_t, 3>{0x4142, 0x4300, 0x4445}), "ABC");
  EXPECT_EQ(VersionText("ID", "OVEN 3"), "ID (\"OVEN 3\")");
  for (const char* none : {"OK", "INCONNUE", "Illegal", "OK\r\n"}) EXPECT_EQ(VersionText("ID", none), "ID");
}

TEST(MemologProtocol, RepliesAreOfTheirRequest) {
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
  EXPECT_EQ(ReadRecordsReply(48), 198U);
  EXPECT_EQ(ReadRecordsReply(17), 74U);
  EXPECT_THAT(ClearData(0, 65535), ElementsAre(22, 1, 2, 65535));
  EXPECT_THAT(ClearData(0, 65536), ElementsAre(22, 1, 2, 0));
}

TEST(MemologProgram, ACycleIsWhatItsOneSequenceMakesIt) {
  Program program;
  for (ChannelId id = 0; id < 10; ++id) program.channels[id].measuring_time = id + 1;
  program.sequences = {{.block = 3, .mode = 1, .period = 7, .channels = {-3, 5, -7}},
                       {.block = 3, .mode = 32, .period = 1, .channels = {1}}};
  const auto cycle = [&] {
    const MemBlockCycle found = CycleOf(program, 2);
    return std::pair(found.records, found.period);
  };
  using Pair = std::pair<std::uint32_t, std::uint32_t>;
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

TEST(MemologProgram, ChannelsAndLimitsByTheirBits) {
  const auto listed = [](unsigned category, unsigned sub_type) {
    return IsListed({.type = static_cast<std::uint8_t>(category << 5U | sub_type)});
  };
  for (unsigned category = 0; category < 8; ++category) {
    for (unsigned sub = 0; sub < 8; ++sub) {
      EXPECT_EQ(listed(category, sub), category == 0 ? sub != 2 : category == 7 && (sub == 1 || sub == 2));
    }
  }
  EXPECT_EQ(LimitOf({9, 2.5F}).level, LimitHigh);
  EXPECT_EQ(LimitOf({1, 2.5F}).level, LimitLow);
  EXPECT_EQ(LimitOf({9, 2.5F}).value, 2.5F);
  EXPECT_EQ(LimitOf({8, 2.5F}).level, LimitNo);
  EXPECT_EQ(LimitOf({13, 2.5F}).level, LimitNo);
}

// Any record of a hostile program is passed over or taken.
TEST(MemologProgram, RecordsOfAnyLengthAreTaken) {
  Program program;
  for (std::uint16_t kind = 0; kind < 6; ++kind) {
    for (std::size_t length = 0; length <= kMostRecordWords; ++length) {
      ProgramRecord record(length, 0xFFFF);
      if (length > 0) record[0] = kind;
      if (length > 1) record[1] = 1;
      PresentLayout().Add(record, program);
    }
  }
  for (std::uint32_t block = 0; block <= 100; ++block) CycleOf(program, block);
  EXPECT_EQ(program.blocks.at(0), 0xFFFF);
}

struct ProgressSink final : EventSink {
  std::vector<int> percents;
  std::function<void()> once;  // in the next step
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
  // Another control of the same logger, with somebody in front of it.
  Instrument WithPerson(UserInterface& person) {
    DriverServices services;
    services.clock = &clock;
    services.open_serial_port = OpenerOf(bench);
    return Instrument(FindModel("memolog")->create(services), {.clock = &clock, .user_interface = &person});
  }
  HRESULT ReadBlock(std::int32_t block, std::uint32_t most = 0, bool clear = false) {
    arrays = {};
    return device->ReadMemBlock(block, most, clear, &arrays, &read);
  }
  bool LoggerIsFree() {
    return WithLogger([](MemologSimulator& s) { return !s.frozen(1) && !s.frozen(2) && s.lock() == 0; });
  }

  std::shared_ptr<ProgressSink> progress = std::make_shared<ProgressSink>();
  ChannelArrays arrays;
  std::uint32_t read = 0;
  std::string path = (std::filesystem::temp_directory_path() / (UniqueName("ulix-memolog-") + ".p90")).string();
};

TEST_F(MemologTest, OnlyAMemologIsConnectedTo) {
  for (const char* identity : {"ULIX,MEMOLOG20,1", "MEMOLOG90", "x MEMOLOG140 y"}) {
    SetBench("identity", identity);
    EXPECT_EQ(device->Connect(), S_OK);
    std::string said;
    EXPECT_EQ(device->Identify(&said), S_OK);
    EXPECT_EQ(said, identity);
    device->Disconnect();
  }
  SetBench("identity", "ULIX,MEMOLOG30");
  EXPECT_EQ(device->Connect(), memologCtlErrNotMemolog);
  EXPECT_FALSE(IsConnected());
  EXPECT_FALSE(driver->LinkIsOpen());
  bench->SetFaults({{FaultKind::kDrop, 0}});
  EXPECT_EQ(device->Connect(), serialCommErrUnableToOpenComm);
  EXPECT_EQ(TakeErrorInfo().description, "Unable to open Local Serial Port");
  ASSERT_EQ(device->SetNetworkAddress(NetworkAddress{"127.0.0.1", 1}), S_OK);
  EXPECT_EQ(device->Connect(), networkCommErrUnableToConnect);
  EXPECT_EQ(TakeErrorInfo().description, "Unable to open IP Port");
}

TEST_F(MemologTest, TellsItsVersionAndItsWay) {
  ASSERT_EQ(device->Connect(), S_OK);
  std::string text;
  EXPECT_EQ(device->GetDevVersion(&text), S_OK);
  EXPECT_EQ(text, "ULIX,MEMOLOG90,1234567,V2.10 (\"FURNACE\")");
  SetBench("program-name", "");
  EXPECT_EQ(device->GetDevVersion(&text), S_OK);
  EXPECT_EQ(text, "ULIX,MEMOLOG90,1234567,V2.10");
  EXPECT_EQ(device->GetCommInfo(&text), S_OK);
  EXPECT_EQ(text, "COM 1:MEMOLOG#1 (9600 bds)");
  Set("slave", "255");
  ASSERT_EQ(device->SetNetworkAddress(NetworkAddress{"logger.lan", 502}), S_OK);
  EXPECT_EQ(device->GetCommInfo(&text), S_OK);
  EXPECT_EQ(text, "Ethernet:MEMOLOG@logger.lan#255");
}

TEST_F(MemologTest, EveryCodeHasItsTexts) {
  for (const ErrorRow& row : kErrors) {
    EXPECT_NE(ErrorText(row.code, false), "");
    EXPECT_NE(ErrorText(row.code, true), "");
    EXPECT_NE(FrenchErrorText(row.code), ErrorText(row.code, false));
  }
  EXPECT_EQ(ErrorText(memologErrExceptionCode + 5, false), "");
  EXPECT_EQ(ErrorText(networkCommErrUnableToReadComm, false), "Unable to read answer");
  EXPECT_EQ(ErrorText(serialCommErrUnableToReadComm, true), "UNABLE_TO_READ_COMM");
}

TEST_F(MemologTest, BlocksComeFromTheProgram) {
  std::vector<std::uint32_t> blocks;
  std::uint32_t size = 7;
  EXPECT_EQ(device->MemBlocks(&blocks), S_OK);
  EXPECT_THAT(blocks, IsEmpty());
  EXPECT_EQ(device->GetMemBlockSize(1, &size), S_OK);
  EXPECT_EQ(size, 0U);
  ASSERT_EQ(device->Connect(), S_OK);
  EXPECT_EQ(device->MemBlocks(&blocks), S_OK);
  EXPECT_THAT(blocks, ElementsAre(0, 1));
  std::int32_t has = 0;
  EXPECT_EQ(device->CfgHasMemBlocks(&has), S_OK);
  EXPECT_EQ(has, 1);
  device->Disconnect();
  EXPECT_EQ(device->GetMemBlockSize(1, &size), S_OK);
  EXPECT_EQ(size, 60000U);
  std::uint32_t records = 0;
  std::uint32_t period = 0;
  EXPECT_EQ(device->GetMemBlockCyclePeriod(0, &records, &period), S_OK);
  EXPECT_EQ(std::pair(records, period), std::pair(4U, 10000U));
  EXPECT_EQ(device->GetMemBlockCyclePeriod(1, &records, &period), S_OK);
  EXPECT_EQ(std::pair(records, period), std::pair(4U, 3000U));
  EXPECT_EQ(device->GetMemBlockCyclePeriod(100, &records, &period), S_OK);
  EXPECT_EQ(std::pair(records, period), std::pair(0U, 0U));
}

TEST_F(MemologTest, ArgumentsComeBeforeTheConnection) {
  std::uint32_t number = 0;
  std::int32_t flag = 0;
  std::string name;
  for (const std::int32_t block : {-1, 100}) {
    EXPECT_EQ(device->GetMemBlockStatus(block, &number, &number, &flag, &flag), E_INVALIDARG);
    EXPECT_EQ(ReadBlock(block), E_INVALIDARG);
    EXPECT_EQ(device->ClearMemBlock(block, 0), E_INVALIDARG);
    EXPECT_EQ(device->GetMemBlockName(block, &name), E_INVALIDARG);
    EXPECT_EQ(device->GetMemBlockSize(block, &number), E_INVALIDARG);
  }
  EXPECT_EQ(device->GetMemBlockCyclePeriod(101, &number, &number), E_INVALIDARG);
  EXPECT_EQ(device->GetMemBlockStatus(0, &number, nullptr, &flag, &flag), E_INVALIDARG);
  EXPECT_EQ(device->ReadMemBlock(0, 0, false, nullptr, &read), E_INVALIDARG);
  EXPECT_EQ(device->ReadMemBlock(0, 0, false, &arrays, nullptr), E_INVALIDARG);
  EXPECT_EQ(TakeErrorInfo().description, "Invalid Argument");
  EXPECT_EQ(device->GetMemBlockStatus(0, &number, &number, &flag, &flag), E_UNEXPECTED);
  EXPECT_EQ(ReadBlock(99), E_UNEXPECTED);
  EXPECT_EQ(TakeErrorInfo().description, "Communication not opened");
  EXPECT_EQ(device->ClearMemBlock(0, 0), E_UNEXPECTED);
  EXPECT_EQ(device->GetMemBlockName(0, &name), S_OK);
  EXPECT_EQ(name, "1");
  EXPECT_THAT(progress->percents, IsEmpty());
}

TEST_F(MemologTest, ReadsAndClearsABlock) {
  SetBench("recording", "on");
  ASSERT_EQ(device->Connect(), S_OK);
  std::uint32_t size = 0;
  std::uint32_t records = 0;
  std::int32_t destructive = 7;
  std::int32_t recording = 7;
  EXPECT_EQ(device->GetMemBlockStatus(0, &size, &records, &destructive, &recording), S_OK);
  EXPECT_THAT((std::vector<std::uint32_t>{size, records}), ElementsAre(100, 12));
  EXPECT_THAT((std::vector<std::int32_t>{destructive, recording}), ElementsAre(0, 1));
  EXPECT_EQ(ReadBlock(0, 5, true), S_OK);
  EXPECT_EQ(read, 4U);
  EXPECT_EQ(ReadBlock(0, 0, true), S_OK);
  EXPECT_EQ(read, 10U);
  EXPECT_EQ(arrays.errors.back(), -3);
  EXPECT_EQ(WithLogger([](MemologSimulator& s) { return s.held(1); }), 0U);
  EXPECT_EQ(ReadBlock(0, 0, true), S_OK);
  EXPECT_EQ(read, 0U);
  progress->percents.clear();
  EXPECT_EQ(ReadBlock(1, 100), S_OK);
  EXPECT_THAT(progress->percents, ElementsAre(48, 96, 100, 100));
  EXPECT_EQ(device->ClearMemBlock(1, 501), S_OK);
  EXPECT_EQ(WithLogger([](MemologSimulator& s) { return s.held(2); }), 1000U);
  EXPECT_TRUE(LoggerIsFree());
}

TEST_F(MemologTest, AHostMayDoAnythingWhileABlockIsRead) {
  ASSERT_EQ(device->Connect(), S_OK);
  std::string said;
  HRESULT second = S_OK;
  HRESULT program_sent = S_OK;
  progress->once = [&] {
    EXPECT_EQ(device->Identify(&said), S_OK);
    ChannelArrays other;
    std::uint32_t count = 0;
    second = device->ReadMemBlock(0, 0, true, &other, &count);
    program_sent = device->SendProgram(path);
  };
  EXPECT_EQ(ReadBlock(1), S_OK);
  EXPECT_EQ(read, 1125U);
  EXPECT_EQ(second, memologCtlErrMemLocked);
  EXPECT_EQ(program_sent, memologCtlErrMemLocked);
  progress->once = [&] { device->Disconnect(); };
  EXPECT_EQ(ReadBlock(1), serialCommErrCommClosed);
  EXPECT_EQ(arrays.size(), 0U);
  EXPECT_EQ(progress->percents.back(), 100);
}

struct StoppingUi final : UserInterface {
  int at = 0;  // percent from which on it stops
  DialogResult EditGroup(Instrument&, std::uint32_t) override { return DialogResult::kCancel; }
  DialogResult EditOutChans(Instrument&) override { return DialogResult::kCancel; }
  DialogResult EditCommParams(Instrument&) override { return DialogResult::kCancel; }
  DialogResult EditCfg(Instrument&) override { return DialogResult::kCancel; }
  void ShowProperties(Instrument&) override {}
  bool Progress(int percent) override { return percent < at; }
  std::optional<std::string> ChooseFile(const FileQuestion& question) override {
    questions.push_back(question);
    return chosen;
  }
  std::optional<std::string> chosen;  // none: given up
  std::vector<FileQuestion> questions;
};

TEST_F(MemologTest, APersonMayStopALongOperation) {
  StoppingUi ui;
  ui.at = 30;
  Instrument stopped = WithPerson(ui);
  ASSERT_EQ(stopped.Connect(), S_OK);
  read = 7;
  EXPECT_EQ(stopped.ReadMemBlock(1, 0, true, &arrays, &read), S_OK);
  EXPECT_EQ(read, 0U);
  EXPECT_EQ(arrays.size(), 0U);
  EXPECT_TRUE(LoggerIsFree());
  EXPECT_EQ(WithLogger([](MemologSimulator& s) { return s.held(2); }), 1501U);
  EXPECT_EQ(stopped.ReadProgram(path), kCancelled);
  EXPECT_FALSE(std::filesystem::exists(path));
  ui.at = 1000;
  ASSERT_EQ(stopped.ReadProgram(path), S_OK);
  ui.at = 30;
  EXPECT_EQ(stopped.SendProgram(path), kCancelled);
  EXPECT_FALSE(WithLogger([](MemologSimulator& s) { return s.in_program_mode(); }));
}

TEST_F(MemologTest, APersonIsAskedForAFileThatIsNotSet) {
  StoppingUi ui;
  ui.at = 1000;
  Instrument logger = WithPerson(ui);
  const auto file_set = [&] { return logger.settings().TextOf(kSettings[kProgramFile]); };
  ASSERT_EQ(logger.Connect(), S_OK);
  EXPECT_EQ(logger.SendCfg(), kCancelled);
  EXPECT_EQ(logger.ReadCfg(), kCancelled);
  ui.chosen = path;  // not there yet
  EXPECT_EQ(logger.SendCfg(), memologCtlErrOpenFile);
  EXPECT_EQ(file_set(), "");
  EXPECT_FALSE(logger.IsDirty());
  EXPECT_EQ(logger.ReadCfg(), S_OK);
  EXPECT_EQ(file_set(), path);
  EXPECT_TRUE(logger.IsDirty());
  ASSERT_EQ(ui.questions.size(), 4U);
  EXPECT_EQ(ui.questions[0].title, "Select Memolog Program File");
  EXPECT_EQ(ui.questions[0].files, "Memolog Files (*.p90)");
  EXPECT_FALSE(ui.questions[0].to_write);
  EXPECT_TRUE(ui.questions[3].to_write);
  ui.at = 30;
  EXPECT_EQ(logger.SendCfg(), kCancelled) << "while it goes on";
  EXPECT_EQ(ui.questions.size(), 4U) << "asked although the file is set";
}

TEST_F(MemologTest, ADeviceThatGoesAtAnyExchangeIsReadRightWhenItIsBack) {
  ASSERT_EQ(device->Connect(), S_OK);
  // Gone after so many exchanges: there for the release again, or not.
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

TEST_F(MemologTest, ChannelsAreThoseOfTheProgram) {
  EXPECT_FALSE(device->OffersChannel(0));
  ASSERT_EQ(device->Connect(), S_OK);
  ASSERT_EQ(device->RefreshChannels(), S_OK);
  std::vector<ChannelId> offered;
  for (ChannelId id = 0; id < kChannelCount; ++id) {
    if (device->OffersChannel(id)) offered.push_back(id);
  }
  EXPECT_THAT(offered, ElementsAre(0, 1, 2));  // the fourth is of the other class
  std::string name;
  std::string unit;
  std::int16_t resolution = 0;
  std::int16_t level = 0;
  float limit = 0;
  EXPECT_EQ(device->GetChanName(0, &name), S_OK);
  EXPECT_EQ(device->GetChanUnit(0, &unit), S_OK);
  EXPECT_EQ(device->GetChanResol(0, &resolution), S_OK);
  EXPECT_EQ(name + ' ' + unit + ' ' + std::to_string(resolution),
            "OVEN \xB0"
            "C 2");
  EXPECT_EQ(device->GetChanLim(0, 0, &limit, &level), S_OK);
  EXPECT_EQ(std::pair(limit, int{level}), std::pair(250.0F, int{LimitHigh}));
  EXPECT_EQ(device->GetChanLim(0, 2, &limit, &level), S_OK);
  EXPECT_EQ(level, LimitNo);
  EXPECT_EQ(device->GetChanName(2, &name), S_OK);
  EXPECT_EQ(name, "CH3");
  EXPECT_EQ(device->GetChanName(1999, &name), S_OK);
  EXPECT_EQ(name, "CH2000");
  EXPECT_EQ(driver->ReadChannel(1).code, S_OK);
  EXPECT_NEAR(driver->ReadChannel(1).value, 21.5, 0.1);
  EXPECT_EQ(driver->ReadChannel(1999).code, memologCtlErrChNum);
}

TEST_F(MemologTest, TheProgramFileIsPartOfTheConfiguration) {
  EXPECT_EQ(device->SendCfg(), E_UNEXPECTED);
  ASSERT_EQ(device->Connect(), S_OK);
  EXPECT_EQ(device->ReadCfg(), S_OK);  // without a file: what is known of the channels
  EXPECT_TRUE(device->OffersChannel(0));
  EXPECT_EQ(device->SendCfg(), memologCtlErrOpenFile);
  Set("program-file", path.c_str());
  EXPECT_EQ(device->ReadCfg(), S_OK);
  const auto program = WithLogger([](MemologSimulator& s) { return s.program(); });
  EXPECT_EQ(device->SendCfg(), S_OK);
  EXPECT_EQ(WithLogger([](MemologSimulator& s) { return s.program(); }), program);

  MemoryStream saved;
  ASSERT_EQ(device->SetNetworkAddress(NetworkAddress{"10.0.0.9", 1502}), S_OK);
  Set("slave", "7");
  ASSERT_EQ(device->Save(saved), S_OK);
  Instrument loaded(FindModel("memolog")->create({}));
  ASSERT_EQ(loaded.Load(saved), S_OK);
  std::string info;
  EXPECT_EQ(loaded.GetCommInfo(&info), S_OK);
  EXPECT_EQ(info, "Ethernet:MEMOLOG@10.0.0.9#7");
  EXPECT_EQ(loaded.settings().TextOf(kSettings[kProgramFile]), path);
}

TEST_F(MemologTest, AConnectionIsMadeForATransferAndGivenUpAgain) {
  EXPECT_EQ(device->ReadProgram(path), S_OK);
  EXPECT_FALSE(IsConnected());
  EXPECT_FALSE(driver->LinkIsOpen());
  std::uint32_t records = 0;
  EXPECT_EQ(device->CheckProgram(path, &records), S_OK);
  EXPECT_EQ(records, 9U);
  EXPECT_EQ(device->ReadProgram("/no/such/folder/x.p90"), memologCtlErrOpenFile);
  SetBench("refuse-with", "33");
  EXPECT_EQ(device->SendProgram(path), memologErrExceptionCode + 33);
  EXPECT_EQ(progress->percents.back(), 100);
}

}  // namespace
}  // namespace ulix::memolog
