// Every model: its settings survive the stream, every code has its texts, and unknown channels are refused.
#include <gtest/gtest.h>

#include <set>

#include "core/instrument.h"
#include "drivers/catalogue.h"
#include "tests/support/reader_bench.h"

namespace ulix {
namespace {

enum class TextForm { kEnglish, kFrench, kShort };

// The text of a code, or "" when the model has none.
std::string ModelErrorText(const CatalogueEntry& model, HRESULT code, TextForm form) {
  Instrument device(model.create({}), {.language = form == TextForm::kFrench ? Language::kFrench : Language::kEnglish});
  std::int32_t unknown = -1;
  std::string text;
  EXPECT_EQ(device.GetErrorText(code, form == TextForm::kShort, &unknown, &text), S_OK);
  EXPECT_EQ(unknown, text.empty() ? 1 : 0);
  return text;
}

class Models : public testing::TestWithParam<CatalogueEntry> {
 protected:
  const ModelCard& card = *GetParam().card;
};

TEST_P(Models, EveryErrorCode_HasItsTexts) {
  std::set<HRESULT> codes;
  const auto driver = GetParam().create({});
  for (const auto& rows : {card.errors, driver->link().errors()}) {
    for (const ErrorRow& row : rows) {
      SCOPED_TRACE(row.short_text);
      EXPECT_TRUE(codes.insert(row.code).second);
      EXPECT_NE(ModelErrorText(GetParam(), row.code, TextForm::kEnglish), "");
      EXPECT_NE(ModelErrorText(GetParam(), row.code, TextForm::kFrench),
                ModelErrorText(GetParam(), row.code, TextForm::kEnglish));
      EXPECT_EQ(ModelErrorText(GetParam(), row.code, TextForm::kShort), row.short_text);
    }
  }
  EXPECT_EQ(ModelErrorText(GetParam(), card.exception_code + 5, TextForm::kEnglish), "");
  EXPECT_EQ(ModelErrorText(GetParam(), RPC_E_SERVERFAULT, TextForm::kShort), "UNABLE_TO_READ_COMM");
  for (const CatalogueEntry& other : Catalogue()) {
    if (other.card == &card) continue;
    EXPECT_EQ(ModelErrorText(GetParam(), other.card->errors.front().code, TextForm::kEnglish), "")
        << other.card->model_id;
  }
}

TEST_P(Models, EverySetting_SurvivesTheStream) {
  std::set<std::string> keys;
  Instrument device(GetParam().create({}));
  auto record = device.settings().Snapshot();
  for (std::size_t i = 0; i < card.settings.size(); ++i) {
    const SettingRow& row = card.settings[i];
    EXPECT_TRUE(keys.insert(row.key).second) << row.key;
    EXPECT_NE(row.label.In(Language::kFrench), "") << row.key;
    const auto number = static_cast<std::uint32_t>(37 * i + 1);
    if (row.type == VariantType::kBstr)
      PutText(record, row, "Sonde \xE9 " + std::to_string(number));
    else if (row.type == VariantType::kR4)
      PutReal(record, row, static_cast<float>(number) + 0.5F);
    else
      PutCode(record, row, static_cast<std::uint32_t>(number % (std::uint64_t{1} << row.bits)));
  }
  device.settings().Replace(record);
  MemoryStream saved;
  ASSERT_EQ(device.Save(saved), S_OK);
  ASSERT_EQ(device.InitNew(), S_OK);
  EXPECT_EQ(device.settings().Snapshot() == record, card.settings.empty());
  ASSERT_EQ(device.Load(saved), S_OK);
  EXPECT_EQ(device.settings().Snapshot(), record);
}

INSTANTIATE_TEST_SUITE_P(, Models, testing::ValuesIn(Catalogue()),
                         [](const auto& instance) { return std::string(instance.param.card->class_name); });

class Connected : public DeviceBench, public testing::WithParamInterface<Device> {
 protected:
  Connected() : DeviceBench(GetParam()) {}
};

TEST_P(Connected, UnknownChannelOrWriteToAnInput_SendsNothing) {
  ASSERT_EQ(device->Connect(), S_OK);
  TakeSent();
  const std::span<const ChannelRow> channels = driver->card().channels;
  const auto none = static_cast<ChannelId>(channels.size());
  EXPECT_TRUE(Failed(driver->ReadChannel(none).code));
  EXPECT_TRUE(Failed(driver->WriteChannel(none, 1.0F)));
  EXPECT_EQ(driver->ChannelUnit(none), "");
  EXPECT_EQ(driver->ChannelResolution(none), kUnknownResolution);
  for (ChannelId id = 0; id < none; ++id) {
    EXPECT_TRUE(channels[id].direction != ChanIn || Failed(driver->WriteChannel(id, 1.0F))) << id;
  }
  // Only a logger receives a query: for its list of channels.
  EXPECT_EQ(TakeSent() == "", std::string_view(model.model) != "memolog");
}

INSTANTIATE_TEST_SUITE_P(, Connected, testing::ValuesIn(kDevices), NameOf);

}  // namespace
}  // namespace ulix
