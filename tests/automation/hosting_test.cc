// A control on a form: in an independent container, then through the hosting interfaces directly.
#include <gtest/gtest.h>

#include <atomic>
#include <set>

#include "tests/automation/client.h"
#include "tests/automation/dialog_user.h"

namespace client {
namespace {

std::atomic<int> double_clicks = 0;

LONG CALLBACK HearTrace(EXCEPTION_POINTERS* event) {
  constexpr DWORD kDebugText = 0x40010006;
  if (event->ExceptionRecord->ExceptionCode != kDebugText) return EXCEPTION_CONTINUE_SEARCH;
  const auto* text = reinterpret_cast<const char*>(event->ExceptionRecord->ExceptionInformation[1]);
  if (std::string(text) == "CUlixInstrKelvo10Ctl::OnLButtonDblClk()\n") ++double_clicks;
  return EXCEPTION_CONTINUE_EXECUTION;
}

template <typename Interface>
ComPtr<Interface> As(IUnknown* object) {
  ComPtr<Interface> part;
  EXPECT_EQ(object->QueryInterface(__uuidof(Interface), reinterpret_cast<void**>(part.GetAddressOf())), S_OK);
  return part;
}

void HandleMessages() {
  MSG message;
  while (PeekMessageW(&message, nullptr, 0, 0, PM_REMOVE)) {
    TranslateMessage(&message);
    DispatchMessageW(&message);
  }
}

// A form made by the system's Active Template Library.
class Form {
 public:
  Form() {
    const HMODULE library = LoadLibraryW(L"atl100.dll");
    const auto entry = [&](const char* name) { return reinterpret_cast<void*>(GetProcAddress(library, name)); };
    const auto init = reinterpret_cast<BOOL(WINAPI*)()>(entry("AtlAxWinInit"));
    get_control_ = reinterpret_cast<HRESULT(WINAPI*)(HWND, IUnknown**)>(entry("AtlAxGetControl"));
    // The entry succeeds only once in a process.
    static const bool ready = init && init();
    if (!ready) return;
    frame_ = CreateWindowExW(0, L"STATIC", L"Form", WS_OVERLAPPEDWINDOW | WS_VISIBLE, 50, 50, 400, 300, nullptr,
                             nullptr, nullptr, nullptr);
    host_ = CreateWindowExW(0, L"AtlAxWin100", kProgId, WS_CHILD | WS_VISIBLE, 20, 20, 200, 120, frame_, nullptr,
                            nullptr, nullptr);
    HandleMessages();
  }
  ~Form() {
    DestroyWindow(frame_);
    HandleMessages();
  }
  ComPtr<IUnknown> Control() const {
    ComPtr<IUnknown> control;
    if (host_) get_control_(host_, control.GetAddressOf());
    return control;
  }
  HWND host() const { return host_; }
  HWND frame() const { return frame_; }

 private:
  HRESULT(WINAPI* get_control_)(HWND, IUnknown**) = nullptr;
  HWND frame_ = nullptr;
  HWND host_ = nullptr;
};

std::set<COLORREF> ColoursOf(IUnknown* control) {
  constexpr int kWidth = 160, kHeight = 100;
  const HDC screen = GetDC(nullptr), memory = CreateCompatibleDC(screen);
  const HBITMAP bitmap = CreateCompatibleBitmap(screen, kWidth, kHeight);
  const HGDIOBJ before = SelectObject(memory, bitmap);
  const RECTL bounds{0, 0, kWidth, kHeight};
  EXPECT_EQ(As<IViewObject>(control)->Draw(DVASPECT_CONTENT, -1, nullptr, nullptr, nullptr, memory, &bounds, nullptr,
                                           nullptr, 0),
            S_OK);
  std::set<COLORREF> colours;
  for (int x = 0; x < kWidth; ++x) {
    for (int y = 0; y < kHeight; ++y) colours.insert(GetPixel(memory, x, y));
  }
  SelectObject(memory, before);
  DeleteObject(bitmap);
  DeleteDC(memory);
  ReleaseDC(nullptr, screen);
  return colours;
}

TEST(Hosting, FormOfAnotherContainer_ShowsAndResizesTheControl) {
  PVOID listener = AddVectoredExceptionHandler(1, HearTrace);
  {
    const Form form;
    const auto control = form.Control();
    ASSERT_TRUE(control);
    const auto window = ResultOf<HWND>(As<IOleInPlaceObject>(control.Get()).Get(), &IOleInPlaceObject::GetWindow);
    EXPECT_TRUE(IsChild(form.host(), window) && IsWindowVisible(window));
    RECT place;
    GetClientRect(window, &place);
    EXPECT_EQ(std::pair(place.right, place.bottom), std::pair(200L, 120L));
    DialogUser::SavePicture(form.frame(), "form");
    SendMessageW(window, WM_LBUTTONDBLCLK, MK_LBUTTON, MAKELPARAM(10, 10));
    EXPECT_EQ(double_clicks, 1);
    MoveWindow(form.host(), 20, 20, 240, 150, TRUE);
    HandleMessages();
    GetClientRect(window, &place);
    EXPECT_EQ(place.right, 240);
    EXPECT_EQ(TextOf(As<IUlixInstr>(control.Get()).Get(), &IUlixInstr::get_InstrType), L"Kelvo10");
    EXPECT_EQ(As<IOleObject>(control.Get())->Close(OLECLOSE_NOSAVE), S_OK);
    EXPECT_FALSE(IsWindow(window));
  }
  RemoveVectoredExceptionHandler(listener);
}

TEST(Hosting, StreamToAnotherForm_KeepsSizeAndSettings) {
  ComPtr<IStream> stream;
  ASSERT_EQ(CreateStreamOnHGlobal(nullptr, TRUE, &stream), S_OK);
  {
    const auto control = Create<IUlixInstr>(kProgId);
    ASSERT_EQ(SetupOf(control.Get())->put_Serial(Text(L"port"), 12), S_OK);
    SIZEL extent{8000, 3000}, nonsense{-1, 3000};
    EXPECT_EQ(As<IOleObject>(control.Get())->SetExtent(DVASPECT_CONTENT, &extent), S_OK);
    EXPECT_EQ(As<IOleObject>(control.Get())->SetExtent(DVASPECT_CONTENT, &nonsense), E_INVALIDARG);
    ASSERT_EQ(As<IPersistStreamInit>(control.Get())->Save(stream.Get(), TRUE), S_OK);
  }
  const Form form;
  const auto control = As<IUlixInstr>(form.Control().Get());
  ASSERT_TRUE(control);
  stream->Seek({}, STREAM_SEEK_SET, nullptr);
  ASSERT_EQ(As<IPersistStreamInit>(control.Get())->Load(stream.Get()), S_OK);
  const auto extent = ResultOf<SIZEL>(As<IOleObject>(control.Get()).Get(), &IOleObject::GetExtent, DVASPECT_CONTENT);
  EXPECT_EQ(std::pair(extent.cx, extent.cy), std::pair(8000L, 3000L));
  EXPECT_EQ(ResultOf<long>(SetupOf(control.Get()).Get(), &IUlixSetup::get_Serial, Text(L"port")), 12);
}

TEST(Hosting, Draw_ShowsIconAndName) {
  const auto control = Create<IUlixInstr>(kProgId);
  ASSERT_TRUE(control);
  EXPECT_GE(ColoursOf(control.Get()).size(), 4U);
  DWORD status = 0;
  EXPECT_EQ(As<IOleObject>(control.Get())->GetMiscStatus(DVASPECT_CONTENT, &status), S_OK);
  EXPECT_EQ(status, 131473U);
}

class Pages : public testing::Test {
 protected:
  void SetUp() override {
    control = Create<IUlixInstr>(kProgId);
    setup = Create<IUlixSetup>(L"Ulix.UlixSetup.1");
    ASSERT_TRUE(control && setup);
    ASSERT_EQ(setup->Attach(control.Get()), S_OK);
    ASSERT_EQ(As<ISpecifyPropertyPages>(control.Get())->GetPages(&pages), S_OK);
    ASSERT_EQ(pages.cElems, 3U);
  }
  void TearDown() override { CoTaskMemFree(pages.pElems); }
  long Port() {
    long port = 0;
    setup->get_Serial(Text(L"port"), &port);
    return port;
  }
  ComPtr<IUlixInstr> control;
  ComPtr<IUlixSetup> setup;
  CAUUID pages{};
};

// Wine's property frame shows pages and never applies them. The next test calls Apply itself.
TEST_F(Pages, PropertyFrameOfTheSystem_ShowsThePages) {
  std::thread person([] {
    DialogUser user;
    if (!user.Find()) {
      ADD_FAILURE() << "no property frame came";
      return;
    }
    EXPECT_TRUE(user.Says(L"9600"));
    user.Picture("pages");
    user.Click(IDOK);
    EXPECT_TRUE(DialogUser::Eventually([&] { return !user.IsOpen(); }));
  });
  IUnknown* object = control.Get();
  EXPECT_EQ(OleCreatePropertyFrame(nullptr, 0, 0, L"Kelvo10", 1, &object, pages.cElems, pages.pElems,
                                   LOCALE_USER_DEFAULT, 0, nullptr),
            S_OK);
  person.join();
}

// The first page, active in a frame of its own.
class ActivePage : public Pages {
 protected:
  void SetUp() override {
    Pages::SetUp();
    ASSERT_EQ(CoCreateInstance(pages.pElems[0], nullptr, CLSCTX_INPROC_SERVER, __uuidof(IPropertyPage),
                               reinterpret_cast<void**>(page.GetAddressOf())),
              S_OK);
    EXPECT_EQ(page->Activate(frame, &kPlace, FALSE), E_UNEXPECTED) << "the page has no control yet";
    ASSERT_EQ(Show(control.Get()), S_OK);
    ASSERT_EQ(page->Activate(frame, &kPlace, FALSE), S_OK);
  }
  void TearDown() override {
    EXPECT_EQ(page->Deactivate(), S_OK);
    DestroyWindow(frame);
    Pages::TearDown();
  }
  HRESULT Show(IUnknown* object) { return page->SetObjects(1, &object); }
  void Type(const wchar_t* text) {
    const HWND pane = GetWindow(frame, GW_CHILD);
    const HWND port = FindWindowExW(GetWindow(pane, GW_CHILD), nullptr, L"ComboBox", nullptr);
    ASSERT_TRUE(port);
    const HWND entry = GetWindow(port, GW_CHILD);
    SendMessageW(entry, EM_SETSEL, 0, -1);
    SendMessageW(entry, EM_REPLACESEL, TRUE, reinterpret_cast<LPARAM>(text));
  }
  static constexpr RECT kPlace{0, 0, 800, 400};
  const HWND frame = CreateWindowExW(0, L"STATIC", L"Frame", WS_OVERLAPPEDWINDOW | WS_VISIBLE, 0, 0, 900, 500, nullptr,
                                     nullptr, nullptr, nullptr);
  ComPtr<IPropertyPage> page;
};

TEST_F(ActivePage, Apply_GivesTheEnteredValueToTheControl) {
  EXPECT_EQ(page->IsPageDirty(), S_FALSE);
  Type(L"COM44");
  EXPECT_EQ(page->IsPageDirty(), S_OK);
  EXPECT_EQ(page->Apply(), S_OK);
  EXPECT_EQ(page->IsPageDirty(), S_FALSE);
  EXPECT_EQ(Port(), 44);
  Type(L"elephant");
  EXPECT_EQ(page->Apply(), E_INVALIDARG);
  EXPECT_EQ(Port(), 44);
}

// The active page gets another control, then none. It keeps nothing of the earlier control.
TEST_F(ActivePage, OtherControl_GetsTheEnteredValueAlone) {
  const long before = Port();
  const auto other = Create<IUlixInstr>(kProgId);
  ASSERT_EQ(Show(other.Get()), S_OK);
  Type(L"COM55");
  EXPECT_EQ(page->Apply(), S_OK);
  EXPECT_EQ(Port(), before);
  ASSERT_EQ(setup->Attach(other.Get()), S_OK);
  EXPECT_EQ(Port(), 55);
  EXPECT_EQ(page->SetObjects(0, nullptr), S_OK);
  EXPECT_FALSE(GetWindow(frame, GW_CHILD));
  EXPECT_EQ(page->Apply(), S_OK);
}

}  // namespace
}  // namespace client
