// The registered control, created by its ProgID, as seen by a program that knows only the type library.
#include <gtest/gtest.h>
#include <windows.h>
// shlwapi.h needs windows.h before it.
#include <shlwapi.h>

#include <cmath>
#include <cstdlib>
#include <deque>
#include <limits>
#include <map>
#include <tuple>

#include "tests/automation/client.h"
#include "tests/support/holdings.h"

namespace client {
namespace {

ComPtr<IUlixInstr> NewControl() { return Create<IUlixInstr>(kProgId); }

constexpr long kNoSuchPort = 200;

std::wstring InUserLanguage(const wchar_t* english, const wchar_t* french) {
  return PRIMARYLANGID(GetUserDefaultUILanguage()) == LANG_FRENCH ? french : english;
}

// A control that is set to the instrument's port.
class Connected : public testing::Test {
 protected:
  void SetUp() override {
    control = NewControl();
    ASSERT_TRUE(control);
    setup = OnPortOfTest(control.Get(), "ULIX_TEST_PORT");
  }
  void TearDown() override {
    if (control) control->Disconnect();
  }
  // Connects, and makes a group that reads the input every 100 ms.
  long ConnectWithGroup() {
    EXPECT_EQ(control->Connect(), S_OK);
    const auto group = ResultOf<long>(control.Get(), &IUlixInstr::CreateGroup);
    EXPECT_EQ(setup->SetGroup(group, 100, 0, 0, 0), S_OK);
    EXPECT_EQ(control->ConnectGroupChan(group, 0), S_OK);
    return group;
  }
  // Changes a setting. Its text is shown as the settings table has it.
  void Change() { ASSERT_EQ(setup->put_Setting(Text(L"input-function"), Text(L"ohm500")), S_OK); }
  static void ExpectChanged(IUlixInstr* other) {
    const auto other_setup = SetupOf(other);
    EXPECT_EQ(TextOf(other_setup.Get(), &IUlixSetup::get_Setting, Text(L"INPUT-function")), L"OHM500");
    EXPECT_EQ(ResultOf<long>(other_setup.Get(), &IUlixSetup::get_Serial, Text(L"port")), PortOfTest("ULIX_TEST_PORT"));
  }
  ComPtr<IUlixInstr> control;
  ComPtr<IUlixSetup> setup;
};

TEST(Control, LateBoundCalls_GiveTheirResults) {
  const auto control = NewControl();
  ASSERT_TRUE(control);
  EXPECT_STREQ(GetByName(control.Get(), L"Version").bstrVal, L"1.0.0.0");
  EXPECT_STREQ(GetByName(control.Get(), L"InstrType").bstrVal, L"Kelvo10");
  EXPECT_EQ(ResultByName(control.Get(), L"CreateGroup", {}).lVal, 1);
  const Variant groups = GetByName(control.Get(), L"Groups");
  EXPECT_EQ(groups.vt, VT_ARRAY | VT_I4);
  EXPECT_EQ(Elements<long>(groups), (std::vector<long>{1}));
  EXPECT_EQ(ResultByName(control.Get(), L"GetChanResol", {Variant(1L)}).iVal, 3);
}

TEST(Control, QueryInterface_GivesThePublishedInterfacesOnly) {
  const auto control = NewControl();
  const IID* const shown[] = {&IID_ISupportErrorInfo,
                              &IID_IConnectionPointContainer,
                              &IID_IProvideClassInfo2,
                              &IID_IPersistStreamInit,
                              &IID_IPersistStorage,
                              &IID_IPersistPropertyBag,
                              &__uuidof(IUlixInstrKelvo10Spec),
                              &__uuidof(IUlixInstrKelvo10Debug)};
  for (const IID* id : shown) {
    ComPtr<IUnknown> part, identity, own;
    EXPECT_EQ(control->QueryInterface(*id, reinterpret_cast<void**>(part.GetAddressOf())), S_OK);
    part.As(&identity);
    control.As(&own);
    EXPECT_EQ(identity.Get(), own.Get());
  }
  ComPtr<IUnknown> none;
  EXPECT_EQ(control->QueryInterface(__uuidof(IUlixInstrReadFile), reinterpret_cast<void**>(none.GetAddressOf())),
            E_NOINTERFACE);
  ComPtr<IUlixInstrKelvo10Debug> debug;
  ASSERT_EQ(control.As(&debug), S_OK);
  EXPECT_EQ(debug->DebugCreateCfgTest(), S_OK);
  Variant groups;
  control->get_Groups(&groups);
  EXPECT_EQ(Elements<long>(groups).size(), 2U);
  ComPtr<IProvideClassInfo2> classes;
  GUID source;
  control.As(&classes);
  EXPECT_EQ(classes->GetGUID(GUIDKIND_DEFAULT_SOURCE_DISP_IID, &source), S_OK);
  EXPECT_TRUE(IsEqualGUID(source, __uuidof(IUlixInstrEvents)));
}

TEST(Control, Failure_HasErrorInfoInTheUsersLanguage) {
  const auto control = NewControl();
  BSTR text = SysAllocString(L"before");
  EXPECT_EQ(control->Identify(&text), E_UNEXPECTED);
  EXPECT_EQ(text, nullptr);
  const Failure failure = TakeFailure();
  EXPECT_EQ(failure.description, InUserLanguage(L"Communication not opened", L"Communication non ouverte"));
  EXPECT_EQ(failure.source, kProgId);
  EXPECT_TRUE(IsEqualGUID(failure.interface_id, __uuidof(IUlixInstr)));
}

TEST(Control, InvalidArgument_HasErrorInfoInTheUsersLanguage) {
  const auto control = NewControl();
  using Call = HRESULT (*)(IUlixInstr*);
  for (const Call call : {Call([](IUlixInstr* c) { return c->Identify(nullptr); }),
                          Call([](IUlixInstr* c) { return c->get_InChans(9, nullptr); }),
                          Call([](IUlixInstr* c) { return c->ConnectGroupChan(1, 1); })}) {
    EXPECT_EQ(call(control.Get()), E_INVALIDARG);
    EXPECT_EQ(TakeFailure().description, InUserLanguage(L"Invalid Argument", L"Argument incorrect"));
  }
}

TEST(Control, LateBoundFailure_HasItsCodeAndText) {
  const auto control = NewControl();
  ASSERT_EQ(SetupOf(control.Get())->put_Serial(Text(L"port"), kNoSuchPort), S_OK);
  Variant result;
  EXPECT_EQ(CallByName(control.Get(), L"Connect", DISPATCH_METHOD, {}, &result), HRESULT(0x80044400));
  BSTR text = nullptr;
  int unknown = 7;
  ASSERT_EQ(control->GetErrorText(HRESULT(0x80010105), 0, &unknown, &text), S_OK);
  EXPECT_EQ(unknown, 0);
  EXPECT_EQ(Taken(text), InUserLanguage(L"Unable to read answer", L"Impossible de lire la r\u00E9ponse"));
  ASSERT_EQ(control->GetErrorText(HRESULT(0x80043A05), 0, &unknown, &text), S_OK);
  EXPECT_EQ(unknown, 1);
  EXPECT_EQ(Taken(text), L"");
}

TEST_F(Connected, GetChansVals_GivesExactArraysOfVariants) {
  ASSERT_EQ(control->Connect(), S_OK);
  Variant values, errors, times;
  ASSERT_EQ(control->GetChansVals(IdArray({0, 1}), &values, &errors, &times), S_OK);
  EXPECT_EQ((std::array{values.vt, errors.vt, times.vt}), (std::array<VARTYPE, 3>{0x200C, 0x2003, 0x2007}));
  EXPECT_EQ(Elements<VARIANT>(values)[0].vt, VT_R4);
  EXPECT_EQ(Elements<DATE>(times), (std::vector<DATE>{0, 0}));
  Variant none, no_errors, no_times;
  ASSERT_EQ(control->GetChansVals(IdArray({}), &none, &no_errors, &no_times), S_OK);
  EXPECT_TRUE(Elements<VARIANT>(none).empty());
}

TEST_F(Connected, IdsThatAreNotAnArrayOfLong_AreInvalid) {
  ASSERT_EQ(control->Connect(), S_OK);
  const Variant ids = IdArray({0, 1}), unknown = IdArray({0, 5}), number(1L);
  Variant variants, other_errors, other_times;
  ASSERT_EQ(control->GetChansVals(ids, &variants, &other_errors, &other_times), S_OK);
  SAFEARRAY* array = ids.parray;
  VARIANT by_reference = ids;
  by_reference.vt = VT_ARRAY | VT_BYREF | VT_I4;
  by_reference.pparray = &array;
  for (const VARIANT& wrong : {by_reference, VARIANT(variants), VARIANT(unknown), VARIANT(number)}) {
    Variant values, errors, times;
    EXPECT_EQ(control->GetChansVals(wrong, &values, &errors, &times), E_INVALIDARG) << wrong.vt;
    EXPECT_EQ(values.vt, VT_EMPTY) << wrong.vt;
  }
}

TEST_F(Connected, RunningGroup_ReportsItsScansToASink) {
  const long group = ConnectWithGroup();
  Sink sink;
  const Advised advised(control.Get(), sink);
  ASSERT_EQ(control->RunGroup(group), S_OK);
  ASSERT_TRUE(sink.Await(2));
  ASSERT_EQ(control->StopGroup(group), S_OK);
  EXPECT_EQ((std::vector{sink.order()[0], sink.order()[1]}), (std::vector<std::wstring>{L"data 1", L"ready 1"}));
  const Sink::Data data = sink.data()[0];
  EXPECT_EQ(data.quantity, 1);
  EXPECT_EQ(data.types, (std::array<VARTYPE, 4>{0x2003, 0x200C, 0x2003, 0x2007}));
  EXPECT_EQ(data.ids, (std::vector<long>{0}));
  EXPECT_EQ(std::pair(data.values[0].vt, data.values[0].fltVal), std::pair(VARTYPE{VT_R4}, 12.345F));
  EXPECT_EQ(data.errors, (std::vector<long>{0}));
  EXPECT_NEAR(data.times[0], LocalTimeNow(), 1.0 / 1440);
}

TEST_F(Connected, Sink_IsRemovedOnce) {
  ComPtr<IConnectionPointContainer> container;
  ComPtr<IConnectionPoint> point;
  control.As(&container);
  ASSERT_EQ(container->FindConnectionPoint(__uuidof(IUlixInstrEvents), &point), S_OK);
  Sink sink;
  const auto cookie = ResultOf<DWORD>(point.Get(), &IConnectionPoint::Advise, static_cast<IUnknown*>(&sink));
  EXPECT_EQ(point->Unadvise(cookie), S_OK);
  EXPECT_EQ(point->Unadvise(cookie), CONNECT_E_NOCONNECTION);
}

TEST_F(Connected, SetChanVal_WritesOutputsOnly) {
  ASSERT_EQ(control->Connect(), S_OK);
  EXPECT_EQ(control->SetChanVal(1, Variant(100.1)), S_OK);
  EXPECT_EQ(control->SetChanVal(0, Variant(1.0)), E_INVALIDARG);
}

// A number of each variant type, then a reference to each. The numbers live as long as the list.
class Numbers {
 public:
  Numbers() {
    Add(VT_I1, [](VARIANT& v) { v.cVal = -2; });
    Add(VT_UI1, [](VARIANT& v) { v.bVal = 2; });
    Add(VT_I2, [](VARIANT& v) { v.iVal = -2; });
    Add(VT_UI2, [](VARIANT& v) { v.uiVal = 2; });
    Add(VT_I4, [](VARIANT& v) { v.lVal = -2; });
    Add(VT_UI4, [](VARIANT& v) { v.ulVal = 2; });
    Add(VT_INT, [](VARIANT& v) { v.intVal = -2; });
    Add(VT_UINT, [](VARIANT& v) { v.uintVal = 2; });
    Add(VT_I8, [](VARIANT& v) { v.llVal = -2; });
    Add(VT_UI8, [](VARIANT& v) { v.ullVal = 2; });
    Add(VT_R4, [](VARIANT& v) { v.fltVal = -2.5F; });
    Add(VT_R8, [](VARIANT& v) { v.dblVal = 2.5; });
    Add(VT_CY, [](VARIANT& v) { v.cyVal.int64 = 25000; });
    Add(VT_DECIMAL, [](VARIANT& v) { VarDecFromR8(2.5, &v.decVal); });
    const std::size_t plain = numbers_.size();
    for (std::size_t k = 0; k < plain; ++k) {
      AddReference(static_cast<VARTYPE>(VT_BYREF | numbers_[k].vt), PlaceOf(numbers_[k]));
      AddReference(VT_BYREF | VT_VARIANT, &numbers_[k]);
    }
    AddReference(VT_BYREF | VT_VARIANT, &numbers_[plain]);  // A reference to a variant that refers to a number.
  }
  const std::deque<VARIANT>& all() const { return numbers_; }

 private:
  template <typename Fill>
  void Add(VARTYPE type, Fill&& fill) {
    VARIANT number{};
    fill(number);
    number.vt = type;  // Set last, because a decimal overwrites it.
    numbers_.push_back(number);
  }
  void AddReference(VARTYPE type, void* place) {
    VARIANT reference{};
    reference.vt = type;
    reference.byref = place;
    numbers_.push_back(reference);
  }
  static void* PlaceOf(VARIANT& number) {
    return number.vt == VT_DECIMAL ? static_cast<void*>(&number.decVal) : &number.byref;
  }

  std::deque<VARIANT> numbers_;
};

TEST_F(Connected, NumberOfAnyVariantType_IsWritten) {
  ASSERT_EQ(control->Connect(), S_OK);
  const Numbers numbers;
  for (const VARIANT& number : numbers.all()) {
    SCOPED_TRACE(number.vt);
    EXPECT_EQ(control->SetChanVal(1, number), S_OK);
    Variant values, errors, times;
    ASSERT_EQ(control->GetChansVals(IdArray({1}), &values, &errors, &times), S_OK);
    EXPECT_TRUE(std::abs(Elements<VARIANT>(values)[0].fltVal) == 2.0F ||
                std::abs(Elements<VARIANT>(values)[0].fltVal) == 2.5F);
  }
}

TEST(Control, VariantThatIsNoFiniteNumber_IsInvalid) {
  const auto control = NewControl();
  EXPECT_EQ(control->SetChanVal(1, Variant(1.0)), E_UNEXPECTED) << "a good number, but not connected";
  const double not_finite[] = {std::numeric_limits<double>::infinity(), std::nan(""), 1e300};
  std::vector<Variant> refused;
  refused.emplace_back();
  refused.emplace_back(L"1");
  refused.push_back(IdArray({1}));
  for (const double value : not_finite) refused.emplace_back(value);
  for (const VARTYPE type : {VT_NULL, VT_DATE, VT_BOOL, VT_ERROR, VT_DISPATCH}) refused.emplace_back().vt = type;
  for (Variant& value : refused) {
    SCOPED_TRACE(value.vt);
    EXPECT_EQ(control->SetChanVal(1, value), E_INVALIDARG);
    VARIANT reference{};
    reference.vt = VT_BYREF | VT_VARIANT;
    reference.pvarVal = &value;
    EXPECT_EQ(control->SetChanVal(1, reference), E_INVALIDARG);
    Variant values;
    values.vt = VT_ARRAY | VT_VARIANT;
    values.parray = SafeArrayCreateVector(VT_VARIANT, 0, 1);
    LONG first = 0;
    ASSERT_EQ(SafeArrayPutElement(values.parray, &first, &value), S_OK);
    EXPECT_EQ(control->SetChansVals(IdArray({1}), values), E_INVALIDARG) << "elements are checked like arguments";
  }
}

TEST_F(Connected, Configuration_SurvivesAStream) {
  ComPtr<IPersistStreamInit> persist, loaded;
  control.As(&persist);
  Change();
  EXPECT_EQ(persist->IsDirty(), S_OK);
  ComPtr<IStream> stream, empty;
  ASSERT_EQ(CreateStreamOnHGlobal(nullptr, TRUE, &stream), S_OK);
  ASSERT_EQ(persist->Save(stream.Get(), TRUE), S_OK);
  EXPECT_EQ(persist->IsDirty(), S_FALSE);
  const auto other = NewControl();
  other.As(&loaded);
  stream->Seek({}, STREAM_SEEK_SET, nullptr);
  EXPECT_EQ(loaded->Load(stream.Get()), S_OK);
  ExpectChanged(other.Get());
  ASSERT_EQ(CreateStreamOnHGlobal(nullptr, TRUE, &empty), S_OK);
  EXPECT_EQ(persist->Load(empty.Get()), E_INVALIDARG);
}

TEST_F(Connected, Configuration_SurvivesAStorage) {
  Change();
  ComPtr<ILockBytes> bytes;
  ComPtr<IStorage> storage;
  ASSERT_EQ(CreateILockBytesOnHGlobal(nullptr, TRUE, &bytes), S_OK);
  ASSERT_EQ(StgCreateDocfileOnILockBytes(bytes.Get(), STGM_READWRITE | STGM_SHARE_EXCLUSIVE | STGM_CREATE, 0, &storage),
            S_OK);
  ComPtr<IPersistStorage> stored, loaded;
  control.As(&stored);
  ASSERT_EQ(stored->Save(storage.Get(), FALSE), S_OK);
  const auto other = NewControl();
  other.As(&loaded);
  EXPECT_EQ(loaded->Load(storage.Get()), S_OK);
  ExpectChanged(other.Get());
}

TEST_F(Connected, SettingThatIsUnknownOrHasAnUnknownValue_IsInvalid) {
  EXPECT_EQ(setup->put_Setting(Text(L"input-function"), Text(L"V51")), E_INVALIDARG);
  EXPECT_EQ(setup->put_Setting(Text(L"no-such"), Text(L"1")), E_INVALIDARG);
}

// A host's stream with room for a number of bytes. A write beyond it fails.
class FullStream final : public IStream {
 public:
  explicit FullStream(ULONG room) : room_(room) {}
  STDMETHODIMP QueryInterface(REFIID, void** object) override {
    *object = this;
    return S_OK;
  }
  STDMETHODIMP_(ULONG) AddRef() override { return 2; }
  STDMETHODIMP_(ULONG) Release() override { return 1; }
  STDMETHODIMP Write(const void*, ULONG size, ULONG* written) override {
    if (size > room_) return STG_E_MEDIUMFULL;
    room_ -= size;
    if (written) *written = size;
    return S_OK;
  }
  STDMETHODIMP Read(void*, ULONG, ULONG*) override { return E_NOTIMPL; }
  STDMETHODIMP Seek(LARGE_INTEGER, DWORD, ULARGE_INTEGER*) override { return E_NOTIMPL; }
  STDMETHODIMP SetSize(ULARGE_INTEGER) override { return E_NOTIMPL; }
  STDMETHODIMP CopyTo(IStream*, ULARGE_INTEGER, ULARGE_INTEGER*, ULARGE_INTEGER*) override { return E_NOTIMPL; }
  STDMETHODIMP Commit(DWORD) override { return E_NOTIMPL; }
  STDMETHODIMP Revert() override { return E_NOTIMPL; }
  STDMETHODIMP LockRegion(ULARGE_INTEGER, ULARGE_INTEGER, DWORD) override { return E_NOTIMPL; }
  STDMETHODIMP UnlockRegion(ULARGE_INTEGER, ULARGE_INTEGER, DWORD) override { return E_NOTIMPL; }
  STDMETHODIMP Stat(STATSTG*, DWORD) override { return E_NOTIMPL; }
  STDMETHODIMP Clone(IStream**) override { return E_NOTIMPL; }

 private:
  ULONG room_;
};

TEST(Persistence, SaveThatFails_LeavesTheControlDirty) {
  const auto control = NewControl();
  ComPtr<IPersistStreamInit> persist;
  ASSERT_EQ(control.As(&persist), S_OK);
  long group = 0;
  ASSERT_EQ(control->CreateGroup(&group), S_OK);
  ULARGE_INTEGER size{};
  ASSERT_EQ(persist->GetSizeMax(&size), S_OK);
  for (ULONG room = 0; room < size.LowPart; ++room) {
    FullStream stream(room);
    ASSERT_EQ(persist->Save(&stream, TRUE), STG_E_MEDIUMFULL) << room;
    ASSERT_EQ(persist->IsDirty(), S_OK) << room;
  }
  FullStream stream(size.LowPart);
  EXPECT_EQ(persist->Save(&stream, TRUE), S_OK);
  EXPECT_EQ(persist->IsDirty(), S_FALSE);
}

// Another program wrote the file `given` in the published layout. It is loaded here and saved to the file `kept`.
// run.py compares both files.
// Checks the settings in the stream that run.py provides.
void ExpectSettingsOfTheStream(IUlixInstr* control) {
  EXPECT_EQ(ElementsOf<long>(control, &IUlixInstr::get_Groups), (std::vector<long>{4, 2}));
  EXPECT_EQ(ElementsOf<long>(control, &IUlixInstr::get_InChans, 4), (std::vector<long>{0}));
  const auto setup = SetupOf(control);
  long period = 0, dead_time = 0;
  float percent = 0, absolute = 0;
  EXPECT_EQ(setup->GetGroup(4, &period, &percent, &absolute, &dead_time), S_OK);
  EXPECT_EQ(std::tuple(period, percent, absolute, dead_time), std::tuple(250, 1.5F, 0.25F, 60));
  EXPECT_EQ(ResultOf<long>(setup.Get(), &IUlixSetup::get_Serial, Text(L"baud")), 19200);
  EXPECT_EQ(TextOf(setup.Get(), &IUlixSetup::get_Setting, Text(L"input-cold-junction")), L"JR_PROG");
}

TEST(Persistence, StreamOfAnotherProgram_IsLoadedAndSavedInTheSameLayout) {
  const char *given = std::getenv("ULIX_TEST_STREAM"), *kept = std::getenv("ULIX_TEST_KEPT");
  ASSERT_TRUE(given && kept);
  const auto control = NewControl();
  ComPtr<IPersistStreamInit> persist;
  control.As(&persist);
  ComPtr<IStream> stream, written;
  ASSERT_EQ(SHCreateStreamOnFileA(given, STGM_READ, &stream), S_OK);
  ASSERT_EQ(persist->Load(stream.Get()), S_OK);
  EXPECT_EQ(persist->IsDirty(), S_FALSE);
  ExpectSettingsOfTheStream(control.Get());
  ASSERT_EQ(SHCreateStreamOnFileA(kept, STGM_WRITE | STGM_CREATE, &written), S_OK);
  ASSERT_EQ(persist->Save(written.Get(), TRUE), S_OK);
  EXPECT_EQ(ResultOf<long>(control.Get(), &IUlixInstr::CreateGroup), 10) << "one more than the highest id ever used";
}

// A property bag in memory.
class Bag final : public IPropertyBag {
 public:
  STDMETHODIMP QueryInterface(REFIID, void** object) override {
    *object = this;
    return S_OK;
  }
  STDMETHODIMP_(ULONG) AddRef() override { return 2; }
  STDMETHODIMP_(ULONG) Release() override { return 1; }
  STDMETHODIMP Read(LPCOLESTR name, VARIANT* value, IErrorLog*) override {
    const auto found = kept.find(name);
    if (found == kept.end()) return E_INVALIDARG;
    return VariantChangeType(value, &found->second, 0, V_VT(value));
  }
  STDMETHODIMP Write(LPCOLESTR name, VARIANT* value) override {
    kept[name] = *value;
    return S_OK;
  }
  std::map<std::wstring, VARIANT> kept;  // Numbers only, which need no clearing.
};

TEST(Persistence, PropertyBag_KeepsTheVersion) {
  const auto control = NewControl();
  ComPtr<IPersistPropertyBag> persist;
  ASSERT_EQ(control.As(&persist), S_OK);
  Bag bag;
  ASSERT_EQ(persist->Save(&bag, TRUE, TRUE), S_OK);
  EXPECT_EQ(bag.kept[L"FileVersionMS"].vt, VT_UI4);
  EXPECT_EQ(bag.kept[L"FileVersionMS"].ulVal, 0x00010000U);
  EXPECT_EQ(bag.kept[L"FileVersionLS"].vt, VT_UI4);
  EXPECT_EQ(persist->Load(&bag, nullptr), S_OK);
  EXPECT_EQ(persist->Load(nullptr, nullptr), E_POINTER);
  Bag empty;
  EXPECT_EQ(persist->Load(&empty, nullptr), S_OK);
}

// A string of the library's string tables, in one language.
std::wstring StringOf(HMODULE library, UINT id, WORD language) {
  constexpr UINT kBlock = 16;
  const HRSRC found = FindResourceExW(library, RT_STRING, MAKEINTRESOURCEW(id / kBlock + 1), language);
  const HGLOBAL loaded = found ? LoadResource(library, found) : nullptr;
  if (!loaded) return L"(no such block)";
  const auto* text = static_cast<const wchar_t*>(LockResource(loaded));
  for (UINT k = 0; k < id % kBlock; ++k) text += 1 + *text;
  return {text + 1, *text};
}

TEST(Resources, Library_HasTextsVersionAndToolboxBitmap) {
  const auto control = NewControl();
  ASSERT_TRUE(control);
  const HMODULE library = GetModuleHandleW(L"UlixInstrAx.dll");
  constexpr WORD kEnglish = 1033, kFrench = 1036;
  EXPECT_EQ(StringOf(library, 6003, kEnglish), L"Unable to read answer");
  EXPECT_EQ(StringOf(library, 6003, kFrench), L"Impossible de lire la r\u00E9ponse");
  EXPECT_EQ(StringOf(library, 6103, kFrench), L"UNABLE_TO_READ_COMM");
  EXPECT_TRUE(FindResourceW(library, MAKEINTRESOURCEW(102), RT_BITMAP));
  EXPECT_TRUE(FindResourceW(library, MAKEINTRESOURCEW(1), RT_VERSION));
}

// Runs `cycle` many times and expects no growth of handles, threads and memory.
template <typename Cycle>
void ExpectNothingLeftBy(int cycles, Cycle&& cycle) {
  for (int k = 0; k < 20; ++k) ASSERT_EQ(cycle(), S_OK);
  const ulix::Holdings before = ulix::HoldingsNow();
  for (int k = 0; k < cycles; ++k) ASSERT_EQ(cycle(), S_OK) << k;
  const ulix::Holdings after = ulix::HoldingsNow();
  EXPECT_LE(after.handles, before.handles + 5);
  EXPECT_LE(after.threads, before.threads);
  EXPECT_LE(after.megabytes, before.megabytes + 2);
}

TEST_F(Connected, RepeatedUse_LeaksNothing) {
  const char* wanted = std::getenv("ULIX_TEST_CYCLES");
  const int cycles = wanted ? std::atoi(wanted) : 500;
  ExpectNothingLeftBy(cycles, [] {
    const auto other = NewControl();
    OnPortOfTest(other.Get(), "ULIX_TEST_PORT");
    return other->Connect();
  });
  long group = 0;
  ASSERT_EQ(control->CreateGroup(&group), S_OK);
  ASSERT_EQ(control->ConnectGroupChan(group, 0), S_OK);
  ExpectNothingLeftBy(cycles / 10, [&] {
    const HRESULT run = control->RunGroup(group);
    return run == S_OK ? control->StopGroup(group) : run;
  });
}

HRESULT CanUnloadServer() {
  const HMODULE module = GetModuleHandleW(L"UlixInstrAx.dll");
  const auto ask =
      reinterpret_cast<HRESULT(STDAPICALLTYPE*)()>(reinterpret_cast<void*>(GetProcAddress(module, "DllCanUnloadNow")));
  return ask ? ask() : E_FAIL;
}

// A host that stays inside an event keeps a scan thread there after the last object is released.
TEST_F(Connected, ThreadStillInAnEvent_KeepsTheServerLoaded) {
  ASSERT_EQ(control->Connect(), S_OK);
  long group = 0;
  ASSERT_EQ(control->CreateGroup(&group), S_OK);
  ASSERT_EQ(control->ConnectGroupChan(group, 0), S_OK);
  Sink sink;
  {
    const Advised advised(control.Get(), sink);
    sink.Hold(true);
    ASSERT_EQ(control->RunGroup(group), S_OK);
    ASSERT_TRUE(sink.Await(1));
  }
  setup.Reset();
  control.Reset();
  EXPECT_EQ(CanUnloadServer(), S_FALSE);
  sink.Hold(false);
  HRESULT can_unload = S_FALSE;
  for (int waited = 0; can_unload != S_OK && waited < 1000; ++waited) {
    Sleep(10);
    can_unload = CanUnloadServer();
  }
  EXPECT_EQ(can_unload, S_OK);
}

TEST(Server, LastReleaseInsideAnEventOfItsOwnCall_IsSafe) {
  auto control = Create<IUlixInstr>(L"Ulix.UlixInstrHartCtl.1");
  EXPECT_EQ(SetupOf(control.Get())->put_Serial(Text(L"parity"), 256), E_INVALIDARG);
  EXPECT_EQ(SetupOf(control.Get())->put_Serial(Text(L"port"), kNoSuchPort), S_OK);
  Sink sink;
  sink.on_error = [&](HRESULT) {
    control.Reset();
    EXPECT_EQ(CanUnloadServer(), S_FALSE);
  };
  ComPtr<IConnectionPointContainer> container;
  ComPtr<IConnectionPoint> point;
  ASSERT_EQ(control.As(&container), S_OK);
  ASSERT_EQ(container->FindConnectionPoint(__uuidof(IUlixInstrEvents), &point), S_OK);
  DWORD cookie = 0;
  ASSERT_EQ(point->Advise(&sink, &cookie), S_OK);
  container.Reset();
  point.Reset();
  EXPECT_EQ(control.Get()->Connect(), HRESULT(0x80044400));
  EXPECT_EQ(control.Get(), nullptr);
}

// Without this check, a run in which French is not set up would test the English texts twice.
TEST(French, UserInterface_IsFrenchWhenTheRunAsksForIt) {
  const bool wanted = std::getenv("ULIX_TEST_FRENCH") != nullptr;
  EXPECT_EQ(PRIMARYLANGID(GetUserDefaultUILanguage()) == LANG_FRENCH, wanted);
}

TEST(Server, ObjectOrLockHeld_StaysLoaded) {
  auto control = NewControl();
  EXPECT_EQ(CanUnloadServer(), S_FALSE);
  ComPtr<IClassFactory> factory;
  GUID id;
  CLSIDFromProgID(kProgId, &id);
  ASSERT_EQ(CoGetClassObject(id, CLSCTX_INPROC_SERVER, nullptr, IID_IClassFactory,
                             reinterpret_cast<void**>(factory.GetAddressOf())),
            S_OK);
  factory->LockServer(TRUE);
  control.Reset();
  EXPECT_EQ(CanUnloadServer(), S_FALSE);
  factory->LockServer(FALSE);
  factory.Reset();
  EXPECT_EQ(CanUnloadServer(), S_OK);
}

}  // namespace
}  // namespace client
