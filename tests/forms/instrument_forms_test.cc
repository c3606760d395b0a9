#include "forms/instrument_forms.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cstdio>
#include <fstream>

#include "drivers/catalogue.h"
#include "forms/entries.h"
#include "links/local_number.h"
#include "resources/texts.h"

namespace ulix {
namespace {

class InstrumentForms : public testing::Test {
 protected:
  void SetUp() override { SetLocalDecimalSeparator(','); }
  void TearDown() override { SetLocalDecimalSeparator(std::nullopt); }

  static Instrument Make(const char* model) { return Instrument(FindModel(model)->create({})); }
  // Enters a value and applies the form. Returns the reason of a refusal, or an empty text.
  static std::string Enter(Form& form, const std::string& key, const std::string& value) {
    Field* field = FindField(form, key);
    if (!field) return "no such field";
    field->value = value;
    const auto refusal = form.apply(form);
    if (!refusal) return "";
    EXPECT_EQ(form.pages[refusal->page].fields[refusal->field].key, key);
    return refusal->reason;
  }
  // Expects each choice of each setting to set the code for which it is shown.
  static void TakeEachChoice(Instrument& instrument, Language language) {
    Form form = PropertiesForm(instrument, language);
    std::size_t max_choices = 0;
    for (const SettingRow& row : instrument.settings().rows()) max_choices = std::max(max_choices, row.labels.size());
    for (std::size_t turn = 0; turn < max_choices; ++turn) {
      const auto label_of = [&](const SettingRow& row) { return row.labels[turn % row.labels.size()]; };
      for (const SettingRow& row : instrument.settings().rows()) {
        if (!row.labels.empty()) FindField(form, row.key)->value = label_of(row).In(language);
      }
      EXPECT_FALSE(form.apply(form).has_value());
      for (const SettingRow& row : instrument.settings().rows()) {
        if (row.labels.empty()) continue;
        EXPECT_EQ(instrument.settings().TextOf(row), label_of(row).name) << row.key;
      }
    }
  }
};

TEST_F(InstrumentForms, CommForm_BadValue_IsNamedAndChangesNothing) {
  auto instrument = Make("memolog");
  Form form = CommForm(instrument, Language::kEnglish);
  EXPECT_EQ(FindField(form, "baud")->choices, (std::vector<std::string>{"9600", "19200", "38400", "56000"}));
  FindField(form, "baud")->value = "56000";
  for (const char* nonsense : {"elephant", "", "COM", "COM0", "0", "-3", "99999", "COM5x"})
    EXPECT_EQ(Enter(form, "port", nonsense), "Serial port: a port from COM1 to COM32767, or its number.") << nonsense;
  FindField(form, "port")->value = " com 12 ";
  EXPECT_EQ(Enter(form, "tcp-port", "65536"), "TCP port: 65536 is not in the range from 1 to 65535.");
  EXPECT_EQ(Enter(form, "tcp-port", "502,5"), "This is not a whole number.");
  FindField(form, "tcp-port")->value = "1502";
  EXPECT_EQ(Enter(form, "slave", "256"), "Slave address: 256 is not in the range from 0 to 255.");
  SerialParams line;
  EXPECT_EQ(instrument.GetSerialParams(&line), S_OK);
  EXPECT_EQ(line, SerialParams());
  EXPECT_FALSE(instrument.IsDirty());
}

TEST_F(InstrumentForms, CommForm_GoodValues_SetTheNetworkOrTheLine) {
  auto instrument = Make("memolog");
  Form form = CommForm(instrument, Language::kEnglish);
  FindField(form, "baud")->value = "56000";
  FindField(form, "port")->value = " com 12 ";
  FindField(form, "tcp-port")->value = "1502";
  FindField(form, "slave")->value = "7";
  EXPECT_EQ(Enter(form, "host", " logger.local "), "");
  std::optional<NetworkAddress> address;
  EXPECT_EQ(instrument.GetNetworkAddress(&address), S_OK);
  EXPECT_EQ(address, (NetworkAddress{"logger.local", 1502}));
  EXPECT_EQ(Enter(form, "host", ""), "");
  std::string info;
  EXPECT_EQ(instrument.GetCommInfo(&info), S_OK);
  EXPECT_EQ(info, "COM 12:MEMOLOG#7 (56000 bds)");
  EXPECT_TRUE(instrument.IsDirty());
}

TEST_F(InstrumentForms, CommForm_UnlistedLineSetting_IsShownAsTheLinkUsesIt) {
  auto driver = FindModel("kelvo10")->create({});
  driver->link().serial()->ChooseParams({1, 14400, 5, 5, -1, 9});  // An old stream may have these values.
  Instrument instrument(std::move(driver));
  Form form = CommForm(instrument, Language::kEnglish);
  for (const auto& [key, shown] : {std::pair{"baud", "9600"},
                                   {"data-bits", "7 Data Bits"},
                                   {"stop-bits", "1 Stop Bits"},
                                   {"parity", "No Parity"},
                                   {"handshake", "No Flow Control"}})
    EXPECT_EQ(FindField(form, key)->value, shown);
}

TEST_F(InstrumentForms, CommForm_UsbDevice_IsShownAndSet) {
  DriverServices services;
  services.load_usb_library = [] { return LoadedUsbLibrary(tl::unexpect, 2U); };
  Instrument usb(FindModel("adt760")->create(services));
  Form device = CommForm(usb, Language::kEnglish);
  ASSERT_EQ(device.pages[0].fields.size(), 5U);
  EXPECT_EQ(device.pages[0].fields[3].value, "not found");
  EXPECT_EQ(device.pages[0].fields[4].value, "(not connected)");
  FindField(device, "guid")->value = "F06E89B5-6258-4CE7-83AA-248D25DEBF60";
  EXPECT_EQ(Enter(device, "product-id", "22336"), "");
  std::string info;
  EXPECT_EQ(usb.GetCommInfo(&info), S_OK);
  EXPECT_EQ(info, "GUID:F06E89B5-6258-4CE7-83AA-248D25DEBF60 VENDOR_ID:0000 PRODUCT_ID:5740");
}

TEST_F(InstrumentForms, CfgForm_ProgramFile_IsCheckedWhenItIsChosen) {
  auto logger = Make("memolog");
  Form form = CfgForm(logger, Language::kEnglish);
  EXPECT_EQ(FindField(form, "program-file")->kind, FieldKind::kFile);
  EXPECT_EQ(FindField(form, "program-file")->file.pattern, "*.p90");
  const std::string path = testing::TempDir() + "no_program.p90";
  std::ofstream(path) << std::string(600, 'x');
  EXPECT_EQ(Enter(form, "program-file", path), "Invalid program file");
  std::remove(path.c_str());
  EXPECT_EQ(Enter(form, "program-file", path), "") << "a file that does not exist yet is accepted";
}

TEST_F(InstrumentForms, CfgForm_BadValue_ChangesNoSetting) {
  auto instrument = Make("kelvo10");
  const auto before = instrument.settings().Snapshot();
  Form form = CfgForm(instrument, Language::kFrench);
  ASSERT_EQ(form.pages.size(), 1U);
  FindField(form, "output-function")->value = "TC";
  EXPECT_EQ(FindField(form, "input-connection")->value, "(aucun)") << "a voltage input has no connection";
  EXPECT_EQ(Enter(form, "input-cold-junction-temperature", "tiède"), "Ce n'est pas un nombre.");
  EXPECT_NE(Enter(form, "input-cold-junction-temperature", "1e60"), "");
  EXPECT_EQ(instrument.settings().Snapshot(), before);
  EXPECT_FALSE(instrument.IsDirty());
}

TEST_F(InstrumentForms, CfgForm_GoodValues_AreSetAndShownAgain) {
  auto instrument = Make("kelvo10");
  Form form = CfgForm(instrument, Language::kFrench);
  FindField(form, "output-function")->value = "TC";
  EXPECT_EQ(Enter(form, "input-cold-junction-temperature", "21,5"), "");
  EXPECT_TRUE(instrument.IsDirty());
  const Form again = CfgForm(instrument, Language::kFrench);
  Form changed = again;
  EXPECT_EQ(FindField(changed, "input-cold-junction-temperature")->value, "21,5");
  EXPECT_EQ(FindField(changed, "output-function")->value, "TC");
  EXPECT_EQ(CodeIn(instrument.settings().Snapshot(), *instrument.settings().Find("input-connection")), 0U);
}

TEST_F(InstrumentForms, CfgForm_OffersTheChoicesOfTheChosenFunction) {
  using Choices = std::vector<std::string>;
  const Choices none{"(none)"};
  auto instrument = Make("kelvo10");
  Form form = CfgForm(instrument, Language::kEnglish);
  struct Case {
    const char* function;
    Choices connections;
    std::string connection, cold_junction;  // The values that are proposed.
  };
  for (const Case& c : {Case{"V50", none, "(none)", "(none)"},
                        {"RT", {"WIRE2", "WIRE3", "WIRE4"}, "WIRE2", "(none)"},
                        {"MA50", {"TXP", "TXA", "TXA24", "TXA50"}, "TXP", "(none)"},
                        {"TC", {"(none)", "WIRE2", "WIRE3", "WIRE4"}, "(none)", "JR_ON"}}) {
    SCOPED_TRACE(c.function);
    FindField(form, "input-function")->value = c.function;
    form.adapt(form);
    EXPECT_EQ(FindField(form, "input-connection")->choices, c.connections);
    EXPECT_EQ(FindField(form, "input-connection")->value, c.connection);
    EXPECT_EQ(FindField(form, "input-cold-junction")->value, c.cold_junction);
    EXPECT_EQ(FindField(form, "output-sensor")->choices, none) << "of the other side";
  }
}

TEST_F(InstrumentForms, CfgForm_SettingWithoutMeaning_IsKeptForLater) {
  auto instrument = Make("kelvo10");
  const auto setting = [&](const char* key) { return instrument.settings().TextOf(*instrument.settings().Find(key)); };
  Form form = CfgForm(instrument, Language::kEnglish);
  const auto choose = [&](const char* function) {
    FindField(form, "input-function")->value = function;
    return form.adapt(form);
  };
  EXPECT_FALSE(choose("V50")) << "the same fields as before";
  EXPECT_TRUE(choose("RT"));
  EXPECT_EQ(FindField(form, "input-sensor")->value, "TYP_PT50");
  EXPECT_EQ(Enter(form, "input-sensor", "TYP_NI100"), "");
  EXPECT_EQ(setting("input-sensor") + setting("input-connection"), "TYP_NI100WIRE2");
  EXPECT_TRUE(choose("V5"));
  EXPECT_EQ(Enter(form, "input-cold-junction-temperature", "5"), "");
  EXPECT_EQ(setting("input-sensor"), "TYP_NI100");
}

TEST_F(InstrumentForms, PropertiesForm_UnchangedValuesOfEveryModel_AreAccepted) {
  for (const CatalogueEntry& entry : Catalogue()) {
    SCOPED_TRACE(entry.card->model_id);
    Instrument instrument(entry.create({}));
    const auto before = instrument.settings().Snapshot();
    const Form form = PropertiesForm(instrument, Language::kEnglish);
    EXPECT_FALSE(form.apply(form).has_value());
    EXPECT_EQ(instrument.settings().Snapshot(), before);
    std::size_t settings = 0;
    for (const Page& page : form.pages) {
      EXPECT_NE(page.title, "");
      for (const Field& field : page.fields)
        settings += field.kind != FieldKind::kShown && instrument.settings().Find(field.key) != nullptr;
    }
    EXPECT_EQ(settings, entry.card->settings.size());
    for (const Language language : {Language::kEnglish, Language::kFrench}) TakeEachChoice(instrument, language);
  }
}

// The form of a new group of the Kelvo10.
class GroupForms : public InstrumentForms {
 protected:
  void SetUp() override {
    InstrumentForms::SetUp();
    ASSERT_EQ(instrument_.CreateGroup(&group_), S_OK);
    form_ = GroupForm(instrument_, group_, Language::kEnglish);
  }

  Instrument instrument_ = Make("kelvo10");
  std::uint32_t group_ = 0;
  Form form_;
};

TEST_F(GroupForms, BadPeriod_IsNamed) {
  EXPECT_EQ(Enter(form_, "period", "99"), "Period: 99 is not in the range from 100 to 4294967295.");
  EXPECT_EQ(Enter(form_, "period", "2 s"), "This is not a number.");
  EXPECT_EQ(Enter(form_, "period", "1000,7"), "This is not a whole number.");
  EXPECT_EQ(Enter(form_, "period", "12345678"), "");
  Form again = GroupForm(instrument_, group_, Language::kEnglish);
  EXPECT_EQ(FindField(again, "period")->value, "12345678") << "all digits are shown; OK would set a rounded value";
}

TEST_F(GroupForms, NegativeDeadBand_IsNamedWithItsRange) {
  EXPECT_EQ(Enter(form_, "dead-band", "-1"), "Dead band, relative: -1 is not in the range from 0 to 3,4028235E+38.");
}

TEST_F(GroupForms, GoodValues_SetTheGroupAndItsChannels) {
  EXPECT_EQ(Enter(form_, "period", "250"), "");
  FindField(form_, "channel.0")->value = "1";
  EXPECT_EQ(Enter(form_, "dead-band", "0,5"), "");
  GroupSettings settings;
  std::vector<ChannelId> members;
  EXPECT_EQ(instrument_.GetGroupSettings(group_, &settings), S_OK);
  EXPECT_EQ(settings, (GroupSettings{250, 0.5F, 0, 0}));
  EXPECT_EQ(instrument_.InChans(group_, &members), S_OK);
  EXPECT_EQ(members, (std::vector<ChannelId>{0}));
  EXPECT_EQ(Enter(form_, "channel.0", ""), "");
  EXPECT_EQ(instrument_.InChans(group_, &members), S_OK);
  EXPECT_TRUE(members.empty());
}

TEST_F(InstrumentForms, OutChansForm_OutputThatCannotBeWritten_GivesTheReason) {
  auto instrument = Make("kelvo10");
  Form form = OutChansForm(instrument, Language::kEnglish);
  EXPECT_EQ(Enter(form, "channel.1", "much"), "This is not a number.");
  EXPECT_EQ(Enter(form, "channel.1", "1,5"), "The instrument does not take this: Communication not opened");
  EXPECT_EQ(Enter(form, "channel.1", " "), "") << "an empty field writes nothing";
}

}  // namespace
}  // namespace ulix
