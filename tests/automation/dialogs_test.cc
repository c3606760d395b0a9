// The dialogs of a control, used with keys and clicks by a second thread that acts as the user.
#include <gtest/gtest.h>

#include <atomic>
#include <cstdio>
#include <cstdlib>
#include <functional>

#include "tests/automation/client.h"
#include "tests/automation/dialog_user.h"

namespace client {
namespace {

constexpr int kTaken = 1, kGivenUp = 2;  // Results of the dialogs.

std::wstring Local(const wchar_t* english, const wchar_t* french) {
  return PRIMARYLANGID(GetUserDefaultUILanguage()) == LANG_FRENCH ? french : english;
}

// Ends the program: a dialog that is not closed would block it for ever.
[[noreturn]] void GiveUp(const char* reason) {
  std::printf("%s\n", reason);
  std::fflush(stdout);
  std::_Exit(1);
}

// A thread that uses the dialog that a call shows on another thread.
std::thread Somebody(std::function<void(DialogUser&)> use) {
  return std::thread([use = std::move(use)] {
    DialogUser user;
    if (!user.Find()) GiveUp("no dialog came");
    use(user);
    if (!DialogUser::Eventually([&] { return !user.IsOpen(); })) {
      ADD_FAILURE() << "the dialog did not close";
      user.Close();
      if (!DialogUser::Eventually([&] { return !user.IsOpen(); })) GiveUp("the dialog cannot be closed");
    }
  });
}

// Opens a dialog and uses it. Whatever `use` does, the dialog is closed at the end.
template <typename Open, typename Use>
int Meet(Open&& open, Use&& use) {
  std::thread person = Somebody(use);
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
  // The label of the port's field.
  static std::wstring Port() { return Local(L"Serial port", L"Port s\u00E9rie"); }
  auto EditCommParams() {
    return [this](int* result) { return control->EditCommParams(result); };
  }
  auto EditCfg() {
    return [this](int* result) { return control->EditCfg(result); };
  }

  ComPtr<IUlixInstr> control;
  ComPtr<IUlixSetup> setup;
};

TEST_F(Dialogs, Communication_TypedPortAndChosenSpeed_AreSet) {
  EXPECT_EQ(Meet(EditCommParams(),
                 [&](DialogUser& user) {
                   EXPECT_TRUE(user.Type(user.Entry(Port()), L"COM77"));
                   user.GoTo(user.Entry(Local(L"Speed", L"Vitesse")));
                   user.Press(VK_DOWN);
                   user.Picture("communication");
                   user.Press(VK_RETURN);
                 }),
            kTaken);
  EXPECT_EQ(Serial(L"port"), 77);
  EXPECT_EQ(Serial(L"baud"), 19200);
}

TEST_F(Dialogs, Communication_GivenUpOrNonsense_ChangesNothing) {
  const long before = Serial(L"port");
  EXPECT_EQ(Meet(EditCommParams(),
                 [&](DialogUser& user) {
                   EXPECT_TRUE(user.Type(user.Entry(Port()), L"COM8"));
                   user.Press(VK_ESCAPE);
                 }),
            kGivenUp);
  EXPECT_EQ(Serial(L"port"), before);
  EXPECT_EQ(Meet(EditCommParams(),
                 [&](DialogUser& user) {
                   EXPECT_TRUE(user.Type(user.Entry(Port()), L"elephant"));
                   user.Press(VK_RETURN);
                   const std::wstring reason = Local(L"a port from COM1 to", L"un port de COM1 \u00E0");
                   EXPECT_TRUE(user.Eventually([&] { return user.Says(reason); }));
                   user.Picture("refused");
                   user.Click(IDCANCEL);
                 }),
            kGivenUp);
  EXPECT_EQ(Serial(L"port"), before);
}

TEST_F(Dialogs, Configuration_SetsTheChosenValueAndRefusesNonsense) {
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
                   user.GoTo(user.FirstOf(L"ComboBox"));
                   user.Press(VK_END);
                   user.Picture("thermometer");
                   user.Press(VK_RETURN);
                 }),
            kTaken);
  EXPECT_EQ(Setting(L"input-function") + L" " + Setting(L"input-connection") + L" " + Setting(L"input-sensor"),
            L"RT WIRE2 TYP_PT50");
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

TEST_F(Dialogs, LongConfiguration_HasAPageForEachChannel) {
  Make(L"Ulix.UlixInstrMicrokCtl.1");
  EXPECT_EQ(Meet(EditCfg(),
                 [&](DialogUser& user) {
                   const HWND pages = user.FirstOf(L"ListBox");
                   user.GoTo(pages);
                   user.Press(VK_DOWN);
                   EXPECT_TRUE(user.Eventually([&] { return SendMessageW(pages, LB_GETCURSEL, 0, 0) == 1; }));
                   user.Picture("channels");
                   // Tab moves the focus from the list of pages to the first entry of the page.
                   user.Press(VK_TAB);
                   EXPECT_TRUE(user.Eventually([&] { return user.Focused() == user.FirstOf(L"ComboBox"); }));
                   user.Press(VK_UP);
                   user.Press(VK_RETURN);
                 }),
            kTaken);
  EXPECT_EQ(Setting(L"channel.0.enabled"), L"off");
  EXPECT_EQ(Setting(L"channel.1.enabled"), L"on");
}

TEST_F(Dialogs, Group_SetsPeriodAndChannels) {
  long group = 0;
  ASSERT_EQ(control->CreateGroup(&group), S_OK);
  const auto edit = [&](int* result) { return control->EditGroup(group, result); };
  const std::wstring period = Local(L"Period", L"P\u00E9riode");
  EXPECT_EQ(Meet(edit,
                 [&](DialogUser& user) {
                   EXPECT_TRUE(user.Type(user.Entry(period), L"50"));
                   user.Press(VK_RETURN);
                   EXPECT_TRUE(user.Eventually(
                       [&] { return user.Says(Local(L"the range from 100 to", L"la plage de 100 \u00E0")); }));
                   user.Picture("group");
                   EXPECT_TRUE(user.Type(user.Entry(period), L"250"));
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

TEST_F(Dialogs, OutputEntered_IsWrittenToTheInstrument) {
  OnPortOfTest(control.Get(), "ULIX_TEST_PORT");
  const auto edit = [&](int* result) { return control->EditOutChans(result); };
  const auto set = [](const wchar_t* value) {
    return [value](DialogUser& user) {
      EXPECT_TRUE(user.Type(user.FirstOf(L"Edit"), value));
      user.Picture("outputs");
      user.Press(VK_RETURN);
    };
  };
  EXPECT_EQ(Meet(edit,
                 [&](DialogUser& user) {
                   set(L"2")(user);
                   EXPECT_TRUE(user.Eventually(
                       [&] { return user.Says(Local(L"Communication not opened", L"Communication non ouverte")); }));
                   user.Press(VK_ESCAPE);
                 }),
            kGivenUp);
  ASSERT_EQ(control->Connect(), S_OK);
  EXPECT_EQ(Meet(edit, set(L"77")), kTaken);
  control->Disconnect();
}

TEST_F(Dialogs, Properties_LastPageShowsTheVersion) {
  const auto show = [&](int*) { return control->ShowProperties(); };
  Meet(show, [&](DialogUser& user) {
    user.GoTo(user.FirstOf(L"ListBox"));
    user.Press(VK_END);
    EXPECT_TRUE(user.Eventually([&] { return user.Says(L"1.0.0.0"); }));
    user.Picture("about");
    user.Press(VK_RETURN);
  });
}

TEST_F(Dialogs, Keyboard_ReachesEveryEntry) {
  Meet(EditCommParams(), [&](DialogUser& user) {
    const std::vector<HWND> stops = user.Stops();
    EXPECT_EQ(stops.size(), 8U);
    const auto has_focus = [&](HWND stop) {
      return [&user, stop] { return user.Focused() == stop || IsChild(stop, user.Focused()); };
    };
    EXPECT_TRUE(user.Eventually(has_focus(stops.front())));
    for (std::size_t k = 0; k < stops.size(); ++k) {
      bool reached = false;
      // A key press is lost when the dialog loses the focus at that moment.
      for (int tries = 0; !reached && tries < 3; ++tries) {
        user.GoTo(stops[k]);
        user.Press(VK_TAB);
        reached = user.Eventually(has_focus(stops[(k + 1) % stops.size()]));
      }
      EXPECT_TRUE(reached) << k;
    }
    for (const HWND stop : stops) {
      const std::wstring label = user.LabelOf(stop);
      const std::size_t mark = label.find(L'&');
      if (GetDlgCtrlID(stop) == IDOK || GetDlgCtrlID(stop) == IDCANCEL) continue;
      ASSERT_NE(mark, label.npos);
      user.GoTo(has_focus(stops.back())() ? stops.front() : stops.back());
      user.PressAlt(label[mark + 1]);
      EXPECT_TRUE(user.Eventually(has_focus(stop))) << testing::PrintToString(label);
    }
    user.Press(VK_ESCAPE);
  });
}

TEST_F(Dialogs, UsbDevice_IsSetAndItsLibraryShown) {
  Make(L"Ulix.UlixInstrAdt760Ctl.1");
  EXPECT_EQ(Meet(EditCommParams(),
                 [&](DialogUser& user) {
                   EXPECT_TRUE(user.Says(Local(L"found", L"trouv\u00E9e")));
                   const HWND vendor = user.Entry(Local(L"USB vendor id", L"Identifiant USB du fabricant"));
                   EXPECT_TRUE(user.Type(vendor, L"1155"));
                   user.Picture("usb");
                   user.Press(VK_RETURN);
                 }),
            kTaken);
  EXPECT_EQ(Setting(L"vendor-id"), L"1155");
}

// The device appears five seconds after the file that requests it, and vanishes with the file. Of eleven attempts, one
// second apart, the user is warned from the fifth on.
TEST_F(Dialogs, PortOpenedOnRetry_ShowsAWarning) {
  const char* port = std::getenv("ULIX_TEST_LATE_PORT");
  const char* wanted = std::getenv("ULIX_TEST_LATE_WANTED");
  ASSERT_TRUE(port && wanted);
  Make(L"Ulix.UlixInstrAdt761Ctl.1");
  ASSERT_EQ(setup->put_Serial(Text(L"port"), std::atol(port)), S_OK);
  ASSERT_EQ(setup->put_Setting(Text(L"link-mode"), Text(L"port-only")), S_OK);
  const HANDLE request = CreateFileA(wanted, GENERIC_WRITE, 0, nullptr, CREATE_NEW, FILE_FLAG_DELETE_ON_CLOSE, nullptr);
  ASSERT_NE(request, INVALID_HANDLE_VALUE);
  std::thread person = Somebody([&](DialogUser& user) {
    EXPECT_EQ(user.Title(), L"ADT761");
    EXPECT_TRUE(user.Says(Local(L"The serial port could be opened after several attempts only",
                                L"Le port s\u00E9rie n'a pu \u00EAtre ouvert qu'apr\u00E8s plusieurs tentatives")));
    user.Picture("warning");
    user.Press(VK_ESCAPE);
  });
  const HCURSOR arrow = LoadCursorW(nullptr, reinterpret_cast<LPCWSTR>(IDC_ARROW));
  SetCursor(arrow);
  std::thread onlooker([host = GetCurrentThreadId()] {
    const HCURSOR wait = LoadCursorW(nullptr, reinterpret_cast<LPCWSTR>(IDC_WAIT));
    AttachThreadInput(GetCurrentThreadId(), host, TRUE);
    EXPECT_TRUE(DialogUser::Eventually([&] { return GetCursor() == wait; }));
    AttachThreadInput(GetCurrentThreadId(), host, FALSE);
  });
  EXPECT_EQ(control->Connect(), S_OK);
  EXPECT_EQ(GetCursor(), arrow);
  onlooker.join();
  person.join();
  EXPECT_EQ(control->Disconnect(), S_OK);
  CloseHandle(request);
}

// A connected logger, and a path for its program file.
class LoggerDialogs : public Dialogs {
 protected:
  void SetUp() override {
    const char* port = std::getenv("ULIX_TEST_MEMOLOG");
    ASSERT_TRUE(port);
    Make(L"Ulix.UlixInstrMemologCtl.1");
    ASSERT_EQ(setup->put_Serial(Text(L"port"), std::atol(port)), S_OK);
    ASSERT_EQ(control->Connect(), S_OK);
    wchar_t folder[MAX_PATH];
    GetTempPathW(MAX_PATH, folder);
    path = folder + std::wstring(L"ulix") + std::to_wstring(GetCurrentProcessId()) + L".p90";
  }
  void TearDown() override {
    control->Disconnect();
    DeleteFileW(path.c_str());
  }

  // The user acts while the progress window is shown: the operation waits at its second step until the user has acted.
  template <typename Operation, typename Use>
  void Interrupt(Operation&& operation, Use&& use) {
    std::atomic<bool> acted = false;
    int steps = 0;
    Sink sink;
    sink.on_progress = [&] {
      MSG message;
      const auto answer_others = [&] { return PeekMessageW(&message, nullptr, 0, 0, PM_NOREMOVE), acted.load(); };
      if (++steps != 2) return;
      EXPECT_TRUE(DialogUser::Eventually(answer_others));
    };
    std::thread person = Somebody([&](DialogUser& user) {
      use(user);
      acted = true;
    });
    {
      const Advised advised(control.Get(), sink);
      operation();
    }
    person.join();
    EXPECT_EQ(sink.percents().back(), 100);
  }
  long ReadRecords(long max_records) {
    Variant ids, values, errors, times;
    long count = -1;
    EXPECT_EQ(control->ReadMemBlock(1, max_records, 0, &ids, &values, &errors, &times, &count), S_OK);
    return count;
  }
  static std::wstring Question() {
    return Local(L"Select Memolog Program File", L"S\u00E9lectionner un fichier programme Memolog");
  }

  std::wstring path;
};

TEST_F(LoggerDialogs, CancelButton_StopsALongRead) {
  long count = -1;
  Interrupt([&] { count = ReadRecords(0); },
            [&](DialogUser& user) {
              EXPECT_EQ(user.Title(), Local(L"Reading...", L"Lecture..."));
              EXPECT_TRUE(user.Says(Local(L"Reading measurement bloc 1 from", L"Lecture du bloc de mesures 1 sur")));
              user.Picture("progress");
              user.Click(IDCANCEL);
            });
  EXPECT_EQ(count, 0);
  EXPECT_GT(ReadRecords(40), 0) << "the block is free again";
}

TEST_F(LoggerDialogs, ProgramFileNotSet_IsAskedForAndEscapeStopsItsTransfer) {
  std::thread nobody = Somebody([&](DialogUser& user) {
    EXPECT_EQ(user.Title(), Question());
    user.Press(VK_ESCAPE);
  });
  EXPECT_EQ(control->SendCfg(), E_ABORT);
  nobody.join();
  std::thread person([&] {
    DialogUser user;
    ASSERT_TRUE(user.Find(Question()));
    EXPECT_TRUE(user.Type(user.FirstOf(L"Edit"), path));
    user.Picture("choose-file");
    user.Click(IDOK);
  });
  EXPECT_EQ(control->ReadCfg(), S_OK);
  person.join();
  EXPECT_EQ(Setting(L"program-file"), path);
  Interrupt([&] { EXPECT_EQ(control->SendCfg(), E_ABORT); },
            [&](DialogUser& user) {
              EXPECT_EQ(user.Title(), Local(L"Program MEMOLOG", L"Programmer le MEMOLOG"));
              user.Press(VK_ESCAPE);
            });
  EXPECT_EQ(control->SendCfg(), S_OK) << "the logger is free again";
}

TEST_F(LoggerDialogs, ProgramFile_IsChosenFromTheConfiguration) {
  HANDLE file = CreateFileW(path.c_str(), GENERIC_WRITE, 0, nullptr, CREATE_ALWAYS, 0, nullptr);
  ASSERT_NE(file, INVALID_HANDLE_VALUE);
  CloseHandle(file);
  EXPECT_EQ(Meet(EditCfg(),
                 [&](DialogUser& user) {
                   const HWND entry = user.FirstOf(L"Edit");
                   user.GoTo(entry);
                   user.Press(VK_TAB);
                   EXPECT_TRUE(user.Eventually([&] { return DialogUser::TextOf(user.Focused()) == L"..."; }));
                   user.Press(VK_SPACE);
                   DialogUser chooser;
                   ASSERT_TRUE(chooser.Find(Question()));
                   EXPECT_TRUE(chooser.Type(chooser.FirstOf(L"Edit"), path));
                   chooser.Click(IDOK);
                   EXPECT_TRUE(user.Eventually([&] { return DialogUser::TextOf(entry) == path; }));
                   user.Press(VK_RETURN);
                   const std::wstring reason = Local(L"Invalid program file", L"Fichier programme incorrect");
                   EXPECT_TRUE(user.Eventually([&] { return user.Says(reason); }));
                   user.Picture("program-file");
                   user.Click(IDCANCEL);
                 }),
            kGivenUp);
  EXPECT_EQ(Setting(L"program-file"), L"");
}

}  // namespace
}  // namespace client
