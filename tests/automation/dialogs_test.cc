// The dialogs of a control, used with keys and clicks by somebody at the screen.
#include <gtest/gtest.h>

#include <cstdlib>

#include "tests/automation/client.h"
#include "tests/automation/dialog_user.h"

namespace client {
namespace {

constexpr int kTaken = 1, kGivenUp = 2;  // results of the dialogs

std::wstring Local(const wchar_t* english, const wchar_t* french) {
  return PRIMARYLANGID(GetUserDefaultUILanguage()) == LANG_FRENCH ? french : english;
}

// A dialog that opens by itself somewhere else would wait for ever: whatever the person does, it is closed at the end.
template <typename Open, typename Use>
int Meet(Open&& open, Use&& use) {
  std::thread person([&] {
    DialogUser user;
    if (!user.Find()) {
      ADD_FAILURE() << "no dialog came";
      return;
    }
    use(user);
    if (!DialogUser::Eventually([&] { return !user.IsOpen(); })) {
      ADD_FAILURE() << "the dialog did not close";
      user.Click(IDCANCEL);
    }
  });
  int result = 0;
  EXPECT_EQ(open(&result), S_OK);
  person.join();
  return result;
}

class Dialogs : public testing::Test {
 protected:
  void Make(const wchar_t* prog_id) {
    control = Create<IUlixInstr>(prog_id);
    setup = Create<IUlixSetup>(L"Ulix.UlixSetup.1");
    ASSERT_TRUE(control && setup);
    ASSERT_EQ(setup->Attach(control.Get()), S_OK);
  }
  void SetUp() override { Make(kProgId); }

  long Serial(const wchar_t* key) {
    long value = 0;
    setup->get_Serial(Text(key), &value);
    return value;
  }
  std::wstring Setting(const wchar_t* key) {
    BSTR value = nullptr;
    setup->get_Setting(Text(key), &value);
    return Taken(value);
  }
  auto EditCommParams() {
    return [this](int* result) { return control->EditCommParams(result); };
  }
  auto EditCfg() {
    return [this](int* result) { return control->EditCfg(result); };
  }

  ComPtr<IUlixInstr> control;
  ComPtr<IUlixSetup> setup;
};

TEST_F(Dialogs, CommunicationTakesAPortAndRefusesNonsense) {
  const std::wstring port = Local(L"Serial port", L"Port s\u00E9rie");
  EXPECT_EQ(Meet(EditCommParams(),
                 [&](DialogUser& user) {
                   EXPECT_TRUE(user.Type(user.Entry(port), L"COM77"));
                   user.GoTo(user.Entry(Local(L"Speed", L"Vitesse")));
                   user.Press(VK_DOWN);
                   user.Picture("communication");
                   user.Press(VK_RETURN);
                 }),
            kTaken);
  EXPECT_EQ(Serial(L"port"), 77);
  EXPECT_EQ(Serial(L"baud"), 19200);
  EXPECT_EQ(Meet(EditCommParams(),
                 [&](DialogUser& user) {
                   EXPECT_TRUE(user.Type(user.Entry(port), L"COM8"));
                   user.Press(VK_ESCAPE);
                 }),
            kGivenUp);
  EXPECT_EQ(Serial(L"port"), 77);
  EXPECT_EQ(Meet(EditCommParams(),
                 [&](DialogUser& user) {
                   EXPECT_TRUE(user.Type(user.Entry(port), L"elephant"));
                   user.Press(VK_RETURN);
                   const std::wstring reason = Local(L"A port such as COM5", L"Un port tel que COM5");
                   EXPECT_TRUE(user.Eventually([&] { return user.Says(reason); }));
                   user.Picture("refused");
                   user.Click(IDCANCEL);
                 }),
            kGivenUp);
  EXPECT_EQ(Serial(L"port"), 77);
}

TEST_F(Dialogs, ConfigurationIsLaidOutFromTheSettings) {
  const std::wstring before = Setting(L"input-function");
  EXPECT_EQ(Meet(EditCfg(),
                 [&](DialogUser& user) {
                   user.GoTo(user.FirstOf(L"ComboBox"));
                   user.Press(VK_DOWN);
                   user.Picture("configuration");
                   user.Press(VK_RETURN);
                 }),
            kTaken);
  EXPECT_EQ(before, L"V50");
  EXPECT_EQ(Setting(L"input-function"), L"V5");
  EXPECT_EQ(Meet(EditCfg(),
                 [&](DialogUser& user) {
                   EXPECT_TRUE(user.Type(user.FirstOf(L"Edit"), L"cold"));
                   user.Press(VK_RETURN);
                   EXPECT_TRUE(user.Eventually(
                       [&] { return user.Says(Local(L"This is not a number.", L"Ce n'est pas un nombre.")); }));
                   user.Press(VK_ESCAPE);
                 }),
            kGivenUp);
}

TEST_F(Dialogs, ALongConfigurationHasAPageForEachChannel) {
  Make(L"Ulix.UlixInstrMicrokCtl.1");
  EXPECT_EQ(Meet(EditCfg(),
                 [&](DialogUser& user) {
                   const HWND pages = user.FirstOf(L"ListBox");
                   user.GoTo(pages);
                   user.Press(VK_DOWN);
                   EXPECT_TRUE(user.Eventually([&] { return SendMessageW(pages, LB_GETCURSEL, 0, 0) == 1; }));
                   user.Picture("channels");
                   // From the list the keyboard goes on to the first entry of the page, and back.
                   user.Press(VK_TAB);
                   EXPECT_TRUE(user.Eventually([&] { return user.Focused() == user.FirstOf(L"ComboBox"); }));
                   user.Press(VK_UP);
                   user.Press(VK_RETURN);
                 }),
            kTaken);
  EXPECT_EQ(Setting(L"channel.0.enabled"), L"off");
  EXPECT_EQ(Setting(L"channel.1.enabled"), L"on");
}

TEST_F(Dialogs, AGroupHasItsPeriodAndItsChannels) {
  long group = 0;
  ASSERT_EQ(control->CreateGroup(&group), S_OK);
  const auto edit = [&](int* result) { return control->EditGroup(group, result); };
  const std::wstring period = Local(L"Period", L"P\u00E9riode");
  EXPECT_EQ(Meet(edit,
                 [&](DialogUser& user) {
                   EXPECT_TRUE(user.Type(user.Entry(period), L"50"));
                   user.Press(VK_RETURN);
                   EXPECT_TRUE(user.Eventually([&] { return user.Says(Local(L"From 100 to", L"De 100 \u00E0")); }));
                   EXPECT_TRUE(user.Type(user.Entry(period), L"250"));
                   user.Picture("group");
                   user.GoTo(user.FirstOf(L"ListBox"));
                   user.Press(VK_DOWN);
                   EXPECT_TRUE(user.Eventually([&] { return user.FirstOf(L"SysListView32") != nullptr; }));
                   user.GoTo(user.FirstOf(L"SysListView32"));
                   user.Press(VK_HOME);
                   user.Press(VK_SPACE);
                   user.Picture("members");
                   user.Press(VK_RETURN);
                 }),
            kTaken);
  long read = 0;
  Variant channels;
  EXPECT_EQ(control->get_Period(group, &read), S_OK);
  EXPECT_EQ(read, 250);
  EXPECT_EQ(control->get_InChans(group, &channels), S_OK);
  EXPECT_EQ(Elements<long>(channels), (std::vector<long>{0}));
}

TEST_F(Dialogs, AnOutputIsWrittenToTheInstrument) {
  const char* port = std::getenv("ULIX_TEST_PORT");
  ASSERT_TRUE(port);
  ASSERT_EQ(setup->put_Serial(Text(L"port"), std::atol(port)), S_OK);
  const auto edit = [&](int* result) { return control->EditOutChans(result); };
  const auto set = [](const wchar_t* value) {
    return [value](DialogUser& user) {
      EXPECT_TRUE(user.Type(user.FirstOf(L"Edit"), value));
      user.Picture("outputs");
      user.Press(VK_RETURN);
    };
  };
  EXPECT_EQ(Meet(edit, [&](DialogUser& user) {
              set(L"2")(user);
              EXPECT_TRUE(user.Eventually(
                  [&] { return user.Says(Local(L"Communication not opened", L"Communication non ouverte")); }));
              user.Press(VK_ESCAPE);
            }), kGivenUp);
  HRESULT connected = E_FAIL;
  for (int tries = 0; connected != S_OK && tries < 5; ++tries) connected = control->Connect();
  ASSERT_EQ(connected, S_OK);
  EXPECT_EQ(Meet(edit, set(L"77")), kTaken);
  control->Disconnect();
}

TEST_F(Dialogs, PropertiesShowLinkConfigurationAndWhatTheInstrumentIs) {
  const auto show = [&](int*) { return control->ShowProperties(); };
  Meet(show, [&](DialogUser& user) {
    user.GoTo(user.FirstOf(L"ListBox"));
    user.Press(VK_END);
    EXPECT_TRUE(user.Eventually([&] { return user.Says(L"1.0.0.0"); }));
    user.Picture("about");
    user.Press(VK_RETURN);
  });
}

}  // namespace
}  // namespace client
