// A driver without an instrument: tests say what each reading gives and when it returns.
#pragma once

#include <array>
#include <condition_variable>
#include <functional>
#include <mutex>
#include <vector>

#include "drivers/driver.h"
#include "tests/support/plain_link.h"

namespace ulix {

inline constexpr std::array kFakeChannels = {ChannelRow{"A", ChanIn}, ChannelRow{"B", ChanIO},
                                             ChannelRow{"C", ChanOut}};
inline constexpr std::array kFakeWords = {EnumLabel{0, "off"}, EnumLabel{1, "on"}};
inline constexpr std::array kFakeSettings = {
    SettingRow{"mode", {"Mode", "Mode"}, 0, VariantType::kUi4, 0, 4, kFakeWords, 1},
    SettingRow{"depth", {"Depth", "Profondeur"}, 0, VariantType::kUi4, 4, 8, {}, 2},
    SettingRow{"level", {"Level", "Niveau"}, 1, VariantType::kR4, 0, 0, {}, 1.5},
};
inline constexpr std::array kFakeErrors = {
    ErrorRow{kambicCtlErrBadCmde, {"Bad command", "Mauvaise commande"}, "BAD_CMDE", 1, 2}};
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

class FakeDriver final : public Driver {
 public:
  FakeDriver() : FakeDriver(std::make_unique<FakeLink>()) {}

  // What the calls give; read under no lock, so set before threads run, or made of atomics.
  std::function<Reading(ChannelId)> reading = [](ChannelId) { return Reading{S_OK, 1.0F}; };
  std::function<HRESULT(ChannelId, float)> writing = [](ChannelId, float) { return S_OK; };
  std::function<HRESULT()>& opening;
  std::function<Expected<bool>()> connecting = [] { return true; };
  std::function<void()> leaving = [] {};

  Expected<std::string> Identify() override { return "FAKE 1"; }
  HRESULT SendCfg() override { return kambicCtlErrBadCmde; }
  HRESULT ReadCfg() override { throw 1; }
  Reading ReadChannel(ChannelId id) override { return reading(id); }
  HRESULT WriteChannel(ChannelId id, float value) override { return writing(id, value); }
  ChannelTraits DescribeChannel(ChannelId) const override { return {.unit = "V", .limits = {}}; }

  std::uint8_t& link_byte;

 private:
  class FakeLink final : public PlainLink {
   public:
    HRESULT Open() override { return opening(); }
    bool IsOpen() const override { return true; }
    std::string Info(Language) const override { return "fake"; }
    void ResetParams() override { byte = 0; }
    void SaveParams(VariantWriter& writer) const override { writer.Ui1(byte); }
    HRESULT LoadParams(VariantReader& reader) override {
      const auto loaded = reader.Ui1();
      if (loaded) byte = *loaded;
      return CodeOf(loaded);
    }
    std::function<HRESULT()> opening = [] { return S_OK; };
    std::uint8_t byte = 0;
  };
  explicit FakeDriver(std::unique_ptr<FakeLink> link)
      : Driver(kFakeCard, {std::move(link), std::make_unique<PlainFramer>(), {}}),
        opening(static_cast<FakeLink&>(this->link()).opening),
        link_byte(static_cast<FakeLink&>(this->link()).byte) {}

  Expected<bool> StartSession(Conversation&) override { return connecting(); }
  void EndSession(Conversation&) override { leaving(); }
};

}  // namespace ulix
