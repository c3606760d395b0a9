#include "core/instrument.h"

#include <gtest/gtest.h>

#include <cmath>
#include <limits>

#include "core/version.h"
#include "drivers/catalogue.h"
#include "tests/support/fake_driver.h"

namespace ulix {
namespace {

struct Rig {
  Rig() {
    auto made = std::make_unique<FakeDriver>();
    driver = made.get();
    instrument = std::make_unique<Instrument>(std::move(made));
  }
  std::uint32_t NewGroup() {
    std::uint32_t id = 0;
    EXPECT_EQ(instrument->CreateGroup(&id), S_OK);
    return id;
  }
  FakeDriver* driver;
  std::unique_ptr<Instrument> instrument;
};

TEST(Instrument, NotConnected_BadArgumentsAreInvalidAndGoodOnesUnexpected) {
  Rig rig;
  Instrument& device = *rig.instrument;
  const ChannelId unknown[] = {5};
  const Value one[] = {1.0};
  ChannelArrays arrays;
  EXPECT_EQ(device.SetChanVal(5, 1.0), E_INVALIDARG);
  EXPECT_EQ(device.SetChanVal(2, 1.0), E_UNEXPECTED);
  EXPECT_EQ(device.GetChansVals(unknown, nullptr), E_INVALIDARG);
  EXPECT_EQ(device.GetChansVals(unknown, &arrays), E_UNEXPECTED);
  EXPECT_EQ(device.SetChansVals(unknown, {}), E_INVALIDARG);
  EXPECT_EQ(device.SetChansVals(unknown, one), E_UNEXPECTED);
  const Value no_number[] = {NoNumber()};
  EXPECT_EQ(device.SetChansVals(unknown, no_number), E_INVALIDARG) << "the type of each element is checked first";
  const std::uint32_t no_group[] = {9};
  EXPECT_EQ(device.ImmediateReadGroups(no_group), E_UNEXPECTED);
}

TEST(Instrument, NotConnected_MembersThatNeedTheLinkAreUnexpected) {
  Rig rig;
  Instrument& device = *rig.instrument;
  std::string text = "before";
  EXPECT_EQ(device.Identify(&text), E_UNEXPECTED);
  EXPECT_EQ(text, "");
  for (HRESULT (Instrument::*member)() :
       {&Instrument::SendCfg, &Instrument::ReadCfg, &Instrument::Run, &Instrument::Stop}) {
    EXPECT_EQ((device.*member)(), E_UNEXPECTED);
  }
  EXPECT_EQ(TakeErrorInfo().description, "Communication not opened");
  EXPECT_EQ(device.Disconnect(), S_OK);
}

TEST(Instrument, Connected_UnknownIdsInArraysAreInvalid) {
  Rig rig;
  Instrument& device = *rig.instrument;
  const ChannelId unknown[] = {5};
  const Value one[] = {1.0};
  const std::uint32_t no_group[] = {9};
  ChannelArrays arrays;
  EXPECT_EQ(device.Connect(), S_OK);
  EXPECT_EQ(device.GetChansVals(unknown, &arrays), E_INVALIDARG);
  EXPECT_EQ(device.SetChansVals(unknown, one), E_INVALIDARG);
  EXPECT_EQ(device.ImmediateReadGroups(no_group), E_INVALIDARG);
}

TEST(Instrument, FailedCall_GivesItsErrorInfoOnce) {
  Rig rig;
  Instrument& device = *rig.instrument;
  EXPECT_EQ(device.Connect(), S_OK);
  EXPECT_EQ(device.SendCfg(), kambicCtlErrBadCmde);
  EXPECT_EQ(TakeErrorInfo().description, "Bad command");
  EXPECT_EQ(TakeErrorInfo().code, S_OK) << "the call took it";
  EXPECT_EQ(device.GetChanName(9, nullptr), E_INVALIDARG);
  EXPECT_EQ(TakeErrorInfo().description, "Invalid Argument");
}

TEST(Instrument, ExceptionInADriver_BecomesACode) {
  Rig rig;
  Instrument& device = *rig.instrument;
  EXPECT_EQ(device.Connect(), S_OK);
  EXPECT_EQ(device.ReadCfg(), kambicErrExceptionCode);
  const ErrorInfo info = TakeErrorInfo();
  EXPECT_EQ(info.code, kambicErrExceptionCode);
  EXPECT_EQ(info.description, "");
  rig.driver->writing = [](ChannelId, float) -> HRESULT { throw std::bad_alloc(); };
  EXPECT_EQ(device.SetChanVal(2, 1.0), E_OUTOFMEMORY);
}

struct ErrorSink final : EventSink {
  std::vector<HRESULT> device, system;
  void DevError(HRESULT code) override { device.push_back(code); }
  void SysError(HRESULT code) override { system.push_back(code); }
};

TEST(Instrument, MemoryReadButNotCleared_IsDeliveredWithTheFailure) {
  Rig rig;
  Instrument& device = *rig.instrument;
  const auto errors = std::make_shared<ErrorSink>();
  device.events().Advise(errors);
  EXPECT_EQ(device.Connect(), S_OK);
  FakeMemory& memory = rig.driver->memory_block;
  memory.stored.Add({.id = 0, .value = 1.0F});
  for (const HRESULT refused : {kambicCtlErrBadCmde, serialCommErrUnableToReadComm}) {
    memory.clearing = refused;
    ChannelArrays arrays;
    std::uint32_t read = 0;
    EXPECT_EQ(device.ReadMemBlock(0, 0, true, &arrays, &read), refused);
    EXPECT_EQ(read, 1U);
    EXPECT_EQ(arrays.values, std::vector<float>{1.0F});
    EXPECT_EQ(TakeErrorInfo().code, refused);
  }
  EXPECT_EQ(errors->device, std::vector<HRESULT>{kambicCtlErrBadCmde});
  EXPECT_EQ(errors->system, std::vector<HRESULT>{serialCommErrUnableToReadComm});
}

TEST(Instrument, NonFiniteValue_IsRefusedAndNothingIsSent) {
  Rig rig;
  Instrument& device = *rig.instrument;
  EXPECT_EQ(device.Connect(), S_OK);
  int sent = 0;
  rig.driver->writing = [&](ChannelId, float) {
    ++sent;
    return S_OK;
  };
  const double infinity = std::numeric_limits<double>::infinity();
  for (const Value& refused : {Value(NoNumber()), Value(infinity), Value(std::nan("")), Value(1e300)}) {
    EXPECT_EQ(device.SetChanVal(2, refused), E_INVALIDARG);
    const ChannelId ids[] = {2, 2};
    const Value values[] = {1.0, refused};
    EXPECT_EQ(device.SetChansVals(ids, values), E_INVALIDARG) << "all are checked before any is sent";
  }
  EXPECT_EQ(sent, 0);
}

TEST(Instrument, FiniteValue_IsSentToAnOutputOnly) {
  Rig rig;
  Instrument& device = *rig.instrument;
  EXPECT_EQ(device.Connect(), S_OK);
  int sent = 0;
  rig.driver->writing = [&](ChannelId, float) {
    ++sent;
    return S_OK;
  };
  EXPECT_EQ(device.SetChanVal(0, 1.0), E_INVALIDARG) << "an input";
  EXPECT_EQ(device.SetChanVal(2, std::int64_t{5}), S_OK);
  EXPECT_EQ(device.SetChanVal(1, 2.5F), S_OK) << "read and written";
  EXPECT_EQ(sent, 2);
}

TEST(Instrument, WriteThatFails_KeepsTheOldRecord) {
  Rig rig;
  Instrument& device = *rig.instrument;
  EXPECT_EQ(device.Connect(), S_OK);
  rig.driver->writing = [](ChannelId, float) { return S_OK; };
  EXPECT_EQ(device.SetChanVal(2, 5.0), S_OK);
  rig.driver->writing = [](ChannelId, float) { return serialCommErrUnableToWriteComm; };
  EXPECT_EQ(device.SetChanVal(2, 6.0), serialCommErrUnableToWriteComm);
  const ChannelId ids[] = {2};
  ChannelArrays arrays;
  EXPECT_EQ(device.GetChansVals(ids, &arrays), S_OK);
  EXPECT_EQ(arrays.values[0], 5.0F);
  EXPECT_GT(arrays.times[0], 46000.0) << "local time";
}

TEST(Instrument, ReadChan_GivesTheRecordOfItsReading) {
  Rig rig;
  Instrument& device = *rig.instrument;
  GroupChannel record;
  EXPECT_EQ(device.ReadChan(0, &record), E_UNEXPECTED) << "not connected";
  ASSERT_EQ(device.Connect(), S_OK);
  rig.driver->reading = [](ChannelId) { return Reading{S_OK, 7.5F}; };
  EXPECT_EQ(device.ReadChan(0, &record), S_OK);
  EXPECT_EQ(record.value, 7.5F);
  EXPECT_GT(record.time, 46000.0) << "local time";
  rig.driver->reading = [](ChannelId) { return Reading{serialCommErrUnableToReadComm}; };
  EXPECT_EQ(device.ReadChan(0, &record), S_OK);
  EXPECT_EQ(record.error, serialCommErrUnableToReadComm);
  EXPECT_EQ(record.value, 7.5F) << "of the reading before";
}

TEST(Instrument, ReadChanOfNoInput_IsInvalid) {
  Rig rig;
  GroupChannel record;
  ASSERT_EQ(rig.instrument->Connect(), S_OK);
  EXPECT_EQ(rig.instrument->ReadChan(2, &record), E_INVALIDARG) << "an output";
  EXPECT_EQ(rig.instrument->ReadChan(5, &record), E_INVALIDARG) << "unknown";
  EXPECT_EQ(rig.instrument->ReadChan(0, nullptr), E_INVALIDARG);
}

TEST(Instrument, RemovedGroup_ItsIdIsNotUsedAgain) {
  Rig rig;
  Instrument& device = *rig.instrument;
  EXPECT_EQ(rig.NewGroup(), 1U);
  EXPECT_EQ(rig.NewGroup(), 2U);
  EXPECT_EQ(device.RemoveGroup(2), S_OK);
  EXPECT_EQ(device.RemoveGroup(2), E_INVALIDARG);
  EXPECT_EQ(rig.NewGroup(), 3U);
  std::vector<std::uint32_t> ids;
  EXPECT_EQ(device.Groups(&ids), S_OK);
  EXPECT_EQ(ids, (std::vector<std::uint32_t>{1, 3}));
}

TEST(Instrument, Group_TakesKnownInputsOnly) {
  Rig rig;
  Instrument& device = *rig.instrument;
  EXPECT_EQ(rig.NewGroup(), 1U);
  std::vector<std::uint32_t> ids{7};
  EXPECT_EQ(device.InChans(1, &ids), S_OK);
  EXPECT_TRUE(ids.empty());
  EXPECT_EQ(device.ConnectGroupChan(1, 1), S_OK);
  constexpr ChannelId kOutput = 2, kUnknown = 3;
  for (const auto& [group, channel] : {std::pair{1U, kOutput}, {1U, kUnknown}, {2U, ChannelId{0}}}) {
    EXPECT_EQ(device.ConnectGroupChan(group, channel), E_INVALIDARG) << group << ' ' << channel;
  }
  EXPECT_EQ(device.InChans(1, &ids), S_OK);
  EXPECT_EQ(ids, (std::vector<ChannelId>{1}));
  EXPECT_EQ(device.OutChans(&ids), S_OK);
  EXPECT_EQ(ids, (std::vector<ChannelId>{1, 2}));
}

// After a load, such values would be smaller ones, or another port.
TEST(Instrument, SerialParamsThatAStreamCannotKeep_AreRefused) {
  const auto kelvo10 = std::make_unique<Instrument>(FindModel("kelvo10")->create({}));
  for (const SerialParams& refused : {SerialParams{.port = 0}, SerialParams{.port = 65541},
                                      SerialParams{.dataBitsCode = -1}, SerialParams{.parityCode = 256}}) {
    EXPECT_EQ(kelvo10->SetSerialParams(refused), E_INVALIDARG);
  }
  EXPECT_FALSE(kelvo10->IsDirty());
}

TEST(Instrument, MoreGroupsThanAStreamKeeps_AreRefused) {
  const auto kelvo10 = std::make_unique<Instrument>(FindModel("kelvo10")->create({}));
  for (int i = 0; i < 0xFFFF; ++i) {
    std::uint32_t group = 0;
    ASSERT_EQ(kelvo10->CreateGroup(&group), S_OK);
  }
  MemoryStream stream;
  EXPECT_EQ(kelvo10->Save(stream), S_OK);
  std::uint32_t group = 0;
  EXPECT_EQ(kelvo10->CreateGroup(&group), E_UNEXPECTED);
  MemoryStream kept(stream.bytes());
  EXPECT_EQ(kelvo10->Load(kept), S_OK);
  std::vector<std::uint32_t> ids;
  kelvo10->Groups(&ids);
  EXPECT_EQ(ids.size(), 0xFFFFU);
}

TEST(Instrument, UnknownChannel_HasDefaultUnitResolutionAndLimit) {
  Rig rig;
  Instrument& device = *rig.instrument;
  std::string unit = "before";
  std::int16_t resolution = 0, level = 1;
  float limit = 1;
  EXPECT_EQ(device.GetChanUnit(99, &unit), S_OK);
  EXPECT_EQ(unit, "");
  EXPECT_EQ(device.GetCfgText(&unit), S_OK);
  EXPECT_EQ(unit, "FAKE");
  EXPECT_EQ(device.GetChanResol(99, &resolution), S_OK);
  EXPECT_EQ(resolution, 6);
  EXPECT_EQ(device.GetChanLim(0, 0, &limit, &level), S_OK);
  EXPECT_EQ(std::pair(limit, int{level}), std::pair(0.0F, int{LimitNo}));
  EXPECT_EQ(device.GetChanLim(99, 0, &limit, &level), E_INVALIDARG);
  EXPECT_EQ(device.GetErrorText(0, false, nullptr, &unit), E_INVALIDARG);
}

TEST(Instrument, EditWithoutAUserInterface_IsCancelled) {
  Rig rig;
  Instrument& device = *rig.instrument;
  std::int32_t result = 0;
  EXPECT_EQ(device.EditCfg(&result), S_OK);
  EXPECT_EQ(result, 2);
  EXPECT_EQ(device.EditGroup(4, &result), E_INVALIDARG);
  EXPECT_EQ(device.EditOutChans(nullptr), E_INVALIDARG);
}

// The fields of the configuration stream, written byte by byte.
std::string BytesOf(std::initializer_list<int> bytes) {
  std::string text;
  for (const int byte : bytes) text += static_cast<char>(byte);
  return text;
}

const std::string kVersions = BytesOf({19, 0, 2, 0, 1, 0}) + BytesOf({19, 0, 4, 0, 3, 0});
// mode 0, depth 0x12; level 2.0; link byte 9.
const std::string kSettings = BytesOf({19, 0, 0x20, 0x01, 0, 0}) + BytesOf({4, 0, 0, 0, 0, 0x40}) + BytesOf({17, 0, 9});

std::string GroupBlock(char id) {
  return BytesOf({19, 0, id, 0, 0, 0}) + BytesOf({19, 0, 0xF4, 1, 0, 0}) + BytesOf({4, 0, 0, 0, 0x20, 0x41}) +
         BytesOf({4, 0, 0, 0, 0, 0x3F}) + BytesOf({19, 0, 60, 0, 0, 0}) + BytesOf({17, 0, 0}) + BytesOf({17, 0, 1});
}
const std::string kEnd =
    BytesOf({19, 0, 40, 0, 0, 0}) + BytesOf({2, 0, 255, 255}) + BytesOf({2, 0, 0, 0}) + BytesOf({2, 0, 1, 0});
const std::string kWhole = kVersions + kSettings + BytesOf({18, 0, 2, 0}) + GroupBlock(3) + GroupBlock(7) + kEnd;

TEST(Persistence, StreamCutAnywhere_LoadsWhatPrecedesTheCut) {
  for (std::size_t length = 0; length <= kWhole.size(); ++length) {
    Rig rig;
    rig.NewGroup();
    rig.driver->link_byte = 77;
    MemoryStream in(kWhole.substr(0, length));
    EXPECT_EQ(rig.instrument->Load(in), length < kVersions.size() ? E_INVALIDARG : S_OK);
    std::vector<std::uint32_t> groups;
    EXPECT_EQ(rig.instrument->Groups(&groups), S_OK);
    const std::size_t first_group = kVersions.size() + kSettings.size() + 4;
    const std::size_t whole_groups =
        length < first_group ? 0 : std::min<std::size_t>(2, (length - first_group) / GroupBlock(1).size());
    EXPECT_EQ(groups.size(), whole_groups) << length;
    EXPECT_EQ(rig.driver->link_byte, length >= kVersions.size() + kSettings.size() ? 9 : 0) << length;
    EXPECT_EQ(rig.NewGroup(), length >= kWhole.size() - 12 ? 41U
                              : whole_groups == 2          ? 8U
                              : whole_groups == 1          ? 4U
                                                           : 1U);
  }
}

// A stream with room for a number of bytes. A write beyond it fails.
class FullStream final : public ByteStream {
 public:
  explicit FullStream(std::size_t room) : room_(room) {}
  HRESULT Write(std::string_view bytes) override {
    if (bytes.size() > room_) return E_FAIL;
    room_ -= bytes.size();
    return S_OK;
  }
  HRESULT Read(std::span<char>) override { return kEndOfStream; }

 private:
  std::size_t room_;
};

TEST(Persistence, SaveThatFails_LeavesTheInstrumentDirty) {
  Rig rig;
  rig.NewGroup();
  MemoryStream copy;
  ASSERT_EQ(rig.instrument->SaveCopy(copy), S_OK);
  EXPECT_TRUE(rig.instrument->IsDirty()) << "SaveCopy does not clear the mark";
  const std::string tail = "form";
  const std::size_t size = copy.bytes().size() + tail.size();
  for (std::size_t room = 0; room < size; ++room) {
    FullStream stream(room);
    ASSERT_EQ(rig.instrument->Save(stream, tail), E_FAIL) << room;
    ASSERT_TRUE(rig.instrument->IsDirty()) << room;
  }
  FullStream stream(size);
  EXPECT_EQ(rig.instrument->Save(stream, tail), S_OK);
  EXPECT_FALSE(rig.instrument->IsDirty());
}

TEST(Persistence, InvalidValueInAStream_EndsTheLoadThere) {
  const std::string nan = BytesOf({4, 0, 0, 0, 0xC0, 0x7F});
  std::string bad_level = kWhole, same_id = kWhole, zero_id = kWhole, bad_band = kWhole;
  bad_level.replace(kVersions.size() + 6, 6, nan);
  const std::size_t second = kVersions.size() + kSettings.size() + 4 + GroupBlock(1).size();
  same_id[second + 2] = 3;
  zero_id[second + 2] = 0;
  bad_band.replace(second + 12, 6, nan);
  const std::pair<std::string, std::size_t> cases[] = {{bad_level, 0}, {same_id, 1}, {zero_id, 1}, {bad_band, 1}};
  for (const auto& [bytes, groups_kept] : cases) {
    Rig rig;
    MemoryStream in(bytes);
    EXPECT_EQ(rig.instrument->Load(in), S_OK);
    std::vector<std::uint32_t> groups;
    EXPECT_EQ(rig.instrument->Groups(&groups), S_OK);
    EXPECT_EQ(groups.size(), groups_kept);
    EXPECT_EQ(RealIn(rig.instrument->settings().Snapshot(), kFakeSettings[2]), groups_kept ? 2.0F : 1.5F);
  }
}

TEST(Persistence, LastGroupIdInAStream_LeavesNoneForANewGroup) {
  Rig rig;
  MemoryStream in(kVersions + kSettings + BytesOf({18, 0, 0, 0}) + BytesOf({19, 0, 0xFE, 0xFF, 0xFF, 0xFF}));
  ASSERT_EQ(rig.instrument->Load(in), S_OK);
  std::uint32_t id = 0;
  EXPECT_EQ(rig.instrument->CreateGroup(&id), E_UNEXPECTED);
  EXPECT_EQ(TakeErrorInfo().description, "Group ID not available");
}

}  // namespace
}  // namespace ulix
