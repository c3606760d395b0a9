// The USB link over a real helper library file whose calls are recorded.
#include "links/usb_link.h"

#include <gtest/gtest.h>

#include <fstream>

#include "tests/support/fake_usb_library.h"

namespace ulix {
namespace {

using UsbCalls = std::vector<std::string>;

constexpr HRESULT kNotLoaded = adt761CtlErrWinUsbNotLoaded;
constexpr HRESULT kOfTheLibrary = static_cast<HRESULT>(0x80049301U);

const UsbCalls kPreparing = {"Flush", "SetTimeout 1 1", "Read 80", "SetTimeout 3 5000"};

UsbCalls Joined(UsbCalls first, const UsbCalls& second) {
  first.insert(first.end(), second.begin(), second.end());
  return first;
}

TEST(UsbDeviceTest, Guid_IsReadInThreeFormsAndWrittenInOne) {
  const std::string text = "F06E89B5-6258-4CE7-83AA-248D25DEBF60";
  const Guid guid{0xF06E89B5, 0x6258, 0x4CE7, {0x83, 0xAA, 0x24, 0x8D, 0x25, 0xDE, 0xBF, 0x60}};
  EXPECT_EQ(GuidText(guid), text);
  for (const std::string& same : {text, "{" + text + "}", std::string("f06e89b5-6258-4ce7-83aa-248d25debf60")}) {
    EXPECT_EQ(ParseGuid(same), guid) << same;
  }
  const std::string wrong[] = {"",
                               text + "0",
                               "{" + text,
                               text.substr(1),
                               " " + text,
                               "F06E89B5-6258-4CE7-83AA+248D25DEBF60",
                               "-" + text.substr(1),
                               "G" + text.substr(1)};
  for (const std::string& bad : wrong) EXPECT_EQ(ParseGuid(bad), std::nullopt) << bad;
}

TEST(UsbLibraryTest, LibraryWithoutAnEntryPoint_IsNotLoaded) {
  EXPECT_FALSE(LoadUsbLibrary(TestUsbFolder("nowhere")));
  for (const char* entry : {"GetInterfaceGuid", "Connect", "Write", "Read", "SetTimeout", "Flush", "Disconnect"}) {
    const auto loaded = LoadUsbLibrary(TestUsbFolder(std::string("lacks-WinUsb") + entry));
    EXPECT_FALSE(loaded) << entry;
  }
  EXPECT_TRUE(LoadUsbLibrary(TestUsbFolder("whole")));

  const auto folder = TestUsbFolder("text");
  std::filesystem::create_directories(folder);
  std::ofstream(folder / platform::SharedLibraryFile("UlixWinUsb")) << "no library at all";
  EXPECT_FALSE(LoadUsbLibrary(folder));
  std::filesystem::remove_all(folder);
  EXPECT_FALSE(LoadOwnUsbLibrary()) << "there is none beside the tests";
}

class UsbLinkTest : public testing::Test {
 protected:
  UsbLinkTest() : link({.not_loaded = kNotLoaded, .wanted = [this] { return wanted; }, .load = usb.Loader()}) {}

  HRESULT Open(const UsbIdentity& identity) {
    wanted = identity;
    return link.Open();
  }
  HRESULT Write(std::string_view text) { return PublishedCode(link.codes(), LinkStep::kWrite, link.Send(text)); }
  HRESULT CodeOfRead() { return PublishedCode(link.codes(), LinkStep::kRead, link.Receive().outcome); }

  FakeUsbLibrary usb;
  UsbIdentity wanted;
  UsbLink link;
};

TEST_F(UsbLinkTest, Open_PreparesTheDeviceInOrder) {
  usb.received = {"left over", "\n"};
  ASSERT_EQ(Open({.vendor = 0x0483}), S_OK);
  EXPECT_EQ(usb.TakeCalls(), (UsbCalls{"GetInterfaceGuid", "Connect", "Flush", "SetTimeout 1 1", "Read 80", "Read 80",
                                       "Read 80", "SetTimeout 3 5000"}));
  EXPECT_EQ(usb.seen.identity, (UsbIdentity{.vendor = 0x0483}));
  EXPECT_EQ(usb.seen.library, UsbDevice().library);
  EXPECT_EQ(link.Info(Language::kEnglish), "GUID:00000001-0002-0003-0405-060708090A0B VENDOR_ID:0483 PRODUCT_ID:5740");
}

TEST_F(UsbLinkTest, OpenAndClose_DoNothingTheSecondTime) {
  ASSERT_EQ(Open({}), S_OK);
  usb.TakeCalls();
  EXPECT_EQ(Open({}), S_OK);
  EXPECT_EQ(usb.TakeCalls(), UsbCalls());
  EXPECT_EQ(link.Close(), S_OK);
  EXPECT_EQ(link.Close(), S_OK);
  EXPECT_EQ(usb.TakeCalls(), UsbCalls{"Disconnect"});
  EXPECT_EQ(usb.loads, 1);
}

TEST_F(UsbLinkTest, KnownInterface_IsNotSearchedFor) {
  ASSERT_EQ(Open(usb.found), S_OK);
  EXPECT_EQ(usb.TakeCalls(), Joined({"Connect"}, kPreparing));
}

// The library tells by its record which of several identical devices was lost.
TEST_F(UsbLinkTest, Reopen_KeepsTheRecordAndOpenEmptiesIt) {
  ASSERT_EQ(Open({}), S_OK);
  link.Close();
  ASSERT_EQ(link.Reopen(), S_OK);
  EXPECT_NE(usb.seen.library, UsbDevice().library);
  link.Close();
  ASSERT_EQ(link.Open(), S_OK);
  EXPECT_EQ(usb.seen.library, UsbDevice().library);
}

TEST_F(UsbLinkTest, StepThatFails_GivesItsCodeAndEndsTheOpening) {
  const std::pair<const char*, HRESULT> steps[] = {
      {"GetInterfaceGuid", winUsbCommErrGuidNotFound},
      {"Connect", winUsbCommErrUnableToOpenComm},
      {"Flush", winUsbCommErrUnableToFlushComm},
      {"SetTimeout 1 1", winUsbCommErrUnableToFlushComm},
      {"SetTimeout 3 5000", winUsbCommErrUnableToSetupComm},
  };
  const UsbCalls whole = Joined({"GetInterfaceGuid", "Connect"}, kPreparing);
  for (const auto& [step, own_code] : steps) {
    SCOPED_TRACE(step);
    const auto failed = std::find(whole.begin(), whole.end(), step);
    UsbCalls calls(whole.begin(), failed + 1);
    if (failed - whole.begin() > 1) calls.push_back("Disconnect");
    for (const auto& [answered, code] : {std::pair{kOfTheLibrary, own_code},
                                         {kUsbBadIdentifier, HRESULT{winUsbCommErrBadIdentifier}},
                                         {kNotLoaded, kNotLoaded}}) {
      usb.failing = {{step, answered}};
      EXPECT_EQ(Open({}), code);
      EXPECT_FALSE(link.IsOpen());
      EXPECT_EQ(usb.TakeCalls(), calls);
    }
  }
  EXPECT_EQ(usb.loads, 1) << "the library stays loaded";
}

TEST_F(UsbLinkTest, ReadThatFailsWhileDraining_EndsTheDraining) {
  usb.failing = {{"Read", kUsbBadIdentifier}};
  EXPECT_EQ(Open({}), S_OK);
}

TEST_F(UsbLinkTest, DeviceThatNeverStopsSending_FailsToOpen) {
  usb.received.assign(5000, "noise");
  EXPECT_EQ(Open({}), winUsbCommErrUnableToFlushComm);
  EXPECT_EQ(usb.calls.back(), "Disconnect");
}

TEST(UsbLink, LibraryThatCannotBeLoaded_FailsEveryCall) {
  UsbLink none({.not_loaded = kNotLoaded, .load = [] { return LoadUsbLibrary(TestUsbFolder("lacks-WinUsbRead")); }});
  EXPECT_EQ(none.Open(), kNotLoaded);
  EXPECT_EQ(none.Send("*CLS\n"), LinkOutcome::kNotLoaded);
  EXPECT_EQ(none.Receive().outcome, LinkOutcome::kNotLoaded);
  EXPECT_EQ(PublishedCode(none.codes(), LinkStep::kWrite, LinkOutcome::kNotLoaded), kNotLoaded);
  none.Close();
}

TEST_F(UsbLinkTest, TransferThatFails_GivesItsCode) {
  ASSERT_EQ(Open({}), S_OK);
  usb.answers = {{"*IDN?", "HPC-HOST"}};
  EXPECT_EQ(Write("*IDN?\n"), S_OK);
  EXPECT_EQ(link.Receive().text, "HPC-HOST\n");
  for (const auto& [answered, write, read] :
       {std::tuple{kOfTheLibrary, winUsbCommErrUnableToWriteComm, winUsbCommErrUnableToReadComm},
        {kUsbBadIdentifier, winUsbCommErrBadIdentifier, winUsbCommErrBadIdentifier}}) {
    usb.failing = {{"Write", answered}};
    EXPECT_EQ(Write("A\n"), write);
    usb.failing = {{"Read", answered}};
    EXPECT_EQ(CodeOfRead(), read);
    usb.failing.clear();
  }
}

TEST_F(UsbLinkTest, ReplyInSeveralReads_IsJoinedUpToItsLineFeedOrATimeout) {
  ASSERT_EQ(Open({}), S_OK);
  usb.received = {std::string(80, '1'), "2\n", "HPC-", "HOST\n", "3"};
  EXPECT_EQ(link.Receive().text, std::string(80, '1'));
  EXPECT_TRUE(link.cut());
  for (const char* whole : {"2\n", "HPC-HOST\n", "3"}) {
    EXPECT_EQ(link.ReceiveWhole(Deadline::Never()).text, whole);
  }
}

TEST_F(UsbLinkTest, WrongByteCount_FailsTheTransfer) {
  ASSERT_EQ(Open({}), S_OK);
  usb.received = {""};
  EXPECT_EQ(CodeOfRead(), winUsbCommErrUnableToReadComm) << "success without a byte";
  usb.received = {"x"};
  usb.oversize = 80;
  EXPECT_EQ(CodeOfRead(), winUsbCommErrUnableToReadComm) << "more bytes than the buffer holds";
  usb.oversize = 0;
  usb.count = 2;
  EXPECT_EQ(Write("ABC\n"), winUsbCommErrUnableToWriteComm) << "cut";
  usb.count = 0;
  EXPECT_EQ(Write("ABC\n"), S_OK) << "a library that does not count";
}

}  // namespace
}  // namespace ulix
