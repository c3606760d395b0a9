// A driver without an instrument. Tests set the result of each reading and when it returns.
#pragma once

#include <array>
#include <condition_variable>
#include <functional>
#include <mutex>
#include <vector>

#include "drivers/driver.h"
#include "tests/support/plain_link.h"

namespace ulix {

inline constexpr auto kFakeChannels =
    std::array{ChannelRow{"A", ChanIn}, ChannelRow{"B", ChanIO}, ChannelRow{"C", ChanOut}};
inline constexpr auto kFakeLabels = std::array{EnumLabel{0, "off"}, EnumLabel{1, "on"}};
inline constexpr auto kFakeSettings = std::array{
    SettingRow{"mode", {"Mode", "Mode"}, 0, VariantType::kUi4, 0, 4, kFakeLabels, 1},
    SettingRow{"depth", {"Depth", "Profondeur"}, 0, VariantType::kUi4, 4, 8, {}, 2},
    SettingRow{"level", {"Level", "Niveau"}, 1, VariantType::kR4, 0, 0, {}, 1.5},
};
inline constexpr auto kFakeErrors =
    std::array{ErrorRow{kambicCtlErrBadCmde, {"Bad command", "Mauvaise commande"}, "BAD_CMDE", 1, 2}};
inline constexpr ModelCard kFakeCard = {.model_id = "fake",
                                        .class_name = "Fake",
                                        .display_name = {"Fake", "Faux"},
                                        .display_name_id = 0,
                                        .config_text = "FAKE",
                                        .link = LinkKind::kSerial,
                                        .expl_key_num = 1,
                                        .exception_code = kambicErrExceptionCode,
                                        .channels = kFakeChannels,
                                        .settings = kFakeSettings,
                                        .errors = kFakeErrors};

// A memory of one block.
class FakeMemory final : public RecordedMemory {
 public:
  ChannelArrays stored;
  HRESULT clearing = S_OK;

  Expected<std::vector<std::uint32_t>> Blocks() override { return std::vector<std::uint32_t>{0}; }
  Expected<std::uint32_t> BlockSize(std::uint32_t) override { return 100U; }
  Expected<MemBlockCycle> CyclePeriod(std::uint32_t) override { return MemBlockCycle{}; }
  bool HasBlocks() const override { return true; }
  Expected<MemBlockStatus> Status(std::uint32_t) override { return MemBlockStatus{.size = 100}; }
  Expected<MemBlockRead> Read(std::uint32_t, std::uint32_t, const TakeRecords& take, const Progress&) override {
    const HRESULT result = take(stored);
    if (Failed(result)) return Failure(result);
    return MemBlockRead{.held = static_cast<std::uint32_t>(stored.size())};
  }
  HRESULT Clear(std::uint32_t, std::uint32_t) override { return clearing; }
};

class FakeDriver final : public Driver {
 public:
  FakeDriver() : FakeDriver(std::make_unique<FakeLink>()) {}

  // The results of the calls. They are read without a lock: set them before threads run, or use atomics in them.
  std::function<Reading(ChannelId)> reading = [](ChannelId) { return Reading{S_OK, 1.0F}; };
  std::function<HRESULT(ChannelId, float)> writing = [](ChannelId, float) { return S_OK; };
  std::function<HRESULT()>& opening;
  std::function<Expected<bool>()> connecting = [] { return true; };
  std::function<void()> leaving = [] {};
  std::function<bool()>& present;
  std::function<bool()>& link_open;
  FakeMemory memory_block;

  Expected<std::string> Identify() override { return "FAKE 1"; }
  HRESULT SendCfg() override { return kambicCtlErrBadCmde; }
  HRESULT ReadCfg() override { throw 1; }
  Reading ReadChannel(ChannelId id) override { return reading(id); }
  HRESULT WriteChannel(ChannelId id, float value) override { return writing(id, value); }
  ChannelTraits DescribeChannel(ChannelId) const override { return {.unit = "V", .limits = {}}; }

  std::uint8_t& link_byte;

 private:
  class FakeLink final : public PlainLink, public LinkParams {
   public:
    FakeLink() : PlainLink({.params = this}) {}
    HRESULT Open() override { return opening(); }
    bool IsOpen() const override { return open(); }
    std::string Info(Language) const override { return "fake"; }
    void ResetParams() override { byte = 0; }
    void SaveParams(VariantWriter& writer) const override { writer.Ui1(byte); }
    HRESULT LoadParams(VariantReader& reader) override {
      const auto loaded = reader.Ui1();
      if (loaded) byte = *loaded;
      return CodeOf(loaded);
    }
    bool DeviceIsThere() override { return present(); }
    std::function<HRESULT()> opening = [] { return S_OK; };
    std::function<bool()> present = [] { return true; };
    std::function<bool()> open = [] { return true; };
    std::uint8_t byte = 0;
  };
  explicit FakeDriver(std::unique_ptr<FakeLink> link)
      : Driver(kFakeCard, {std::move(link), std::make_unique<PlainFramer>(), {}}, {.memory = &memory_block}),
        opening(static_cast<FakeLink&>(this->link()).opening),
        present(static_cast<FakeLink&>(this->link()).present),
        link_open(static_cast<FakeLink&>(this->link()).open),
        link_byte(static_cast<FakeLink&>(this->link()).byte) {}

  Expected<bool> StartSession(Conversation&) override { return connecting(); }
  void EndSession(Conversation&) override { leaving(); }
};

}  // namespace ulix
