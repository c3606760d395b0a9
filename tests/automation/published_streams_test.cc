// The stored configuration in the published layout: written, read, cut anywhere, and refused by a full disk.
#include <algorithm>
#include <map>

#include "tests/automation/published_host.h"

namespace published {
namespace {

constexpr ULONG kPeriod = 2500;
constexpr GroupSettings kSettings{kPeriod, 1.5F, 0.25F, 60};

// A stream in memory with room for a number of bytes.
class FullStream final : public IStream {
 public:
  explicit FullStream(std::size_t room) : room_(room) {}
  HRESULT STDMETHODCALLTYPE QueryInterface(REFIID, void** object) override {
    *object = this;
    return S_OK;
  }
  ULONG STDMETHODCALLTYPE AddRef() override { return 2; }
  ULONG STDMETHODCALLTYPE Release() override { return 1; }
  HRESULT STDMETHODCALLTYPE Read(void*, ULONG, ULONG*) override { return E_NOTIMPL; }
  HRESULT STDMETHODCALLTYPE Write(const void*, ULONG count, ULONG* written) override {
    if (count > room_) return STG_E_MEDIUMFULL;
    room_ -= count;
    if (written) *written = count;
    return S_OK;
  }
  HRESULT STDMETHODCALLTYPE Seek(LARGE_INTEGER, DWORD, ULARGE_INTEGER*) override { return E_NOTIMPL; }
  HRESULT STDMETHODCALLTYPE SetSize(ULARGE_INTEGER) override { return E_NOTIMPL; }
  HRESULT STDMETHODCALLTYPE CopyTo(IStream*, ULARGE_INTEGER, ULARGE_INTEGER*, ULARGE_INTEGER*) override {
    return E_NOTIMPL;
  }
  HRESULT STDMETHODCALLTYPE Commit(DWORD) override { return S_OK; }
  HRESULT STDMETHODCALLTYPE Revert() override { return S_OK; }
  HRESULT STDMETHODCALLTYPE LockRegion(ULARGE_INTEGER, ULARGE_INTEGER, DWORD) override { return E_NOTIMPL; }
  HRESULT STDMETHODCALLTYPE UnlockRegion(ULARGE_INTEGER, ULARGE_INTEGER, DWORD) override { return E_NOTIMPL; }
  HRESULT STDMETHODCALLTYPE Stat(STATSTG*, DWORD) override { return E_NOTIMPL; }
  HRESULT STDMETHODCALLTYPE Clone(IStream**) override { return E_NOTIMPL; }

 private:
  std::size_t room_;
};

// A property bag of numbers.
class Bag final : public IPropertyBag {
 public:
  HRESULT STDMETHODCALLTYPE QueryInterface(REFIID, void** object) override {
    *object = this;
    return S_OK;
  }
  ULONG STDMETHODCALLTYPE AddRef() override { return 2; }
  ULONG STDMETHODCALLTYPE Release() override { return 1; }
  HRESULT STDMETHODCALLTYPE Read(LPCOLESTR name, VARIANT* value, IErrorLog*) override {
    const auto found = numbers.find(name);
    return found == numbers.end() ? E_INVALIDARG : VariantChangeType(value, &found->second, 0, V_VT(value));
  }
  HRESULT STDMETHODCALLTYPE Write(LPCOLESTR name, VARIANT* value) override {
    if (refuses) return E_FAIL;
    numbers[name] = *value;
    return S_OK;
  }
  std::map<std::wstring, VARIANT> numbers;
  bool refuses = false;
};

class Persistence : public testing::Test {
 protected:
  void SetUp() override {
    control = Configured(7, kSettings);
    ASSERT_TRUE(control);
    stored = Query<IPersistStreamInit>(control.Get(), IID_IPersistStreamInit);
    ASSERT_TRUE(stored);
  }
  ComPtr<Instr> control;
  ComPtr<IPersistStreamInit> stored;
};

TEST_F(Persistence, Layout_IsThePublishedOne) {
  const Bytes bytes = Saved(control.Get());
  Bytes expected;
  Append(expected, VT_UI4, ULONG{1});  // function 1, no connection, no sensor
  for (int side = 0; side < 2; ++side) {
    if (side == 1) Append(expected, VT_UI4, ULONG{1});
    Append(expected, VT_UI1, BYTE{0});
    Append(expected, VT_R4, 0.0F);
  }
  Append(expected, VT_UI1, BYTE{0});  // Celsius
  Append(expected, VT_I2, SHORT{7});
  Append(expected, VT_UI4, ULONG{9600});
  for (BYTE code : {BYTE{1}, BYTE{0}, BYTE{2}, BYTE{1}}) Append(expected, VT_UI1, code);
  Append(expected, VT_UI2, USHORT{1});
  ASSERT_GT(bytes.size(), layout::kGroups + layout::kTail);
  EXPECT_EQ(Bytes(bytes.begin() + layout::kVersions, bytes.begin() + layout::kGroups), expected);
  Bytes tail;
  Append(tail, VT_UI4, ULONG{1});
  Append(tail, VT_I2, SHORT{-1});
  Append(tail, VT_I2, SHORT{1});
  EXPECT_NE(std::search(bytes.begin() + static_cast<std::ptrdiff_t>(FindGroup(bytes, kSettings)), bytes.end(),
                        tail.begin(), tail.end()),
            bytes.end());
}

TEST_F(Persistence, StreamCutAnywhere_LoadsWhatStandsBeforeTheCut) {
  const Bytes bytes = Saved(control.Get());
  const std::size_t group_end = FindGroup(bytes, kSettings) + BlockOf(kSettings).size();
  for (std::size_t size = 0; size <= bytes.size(); ++size) {
    const auto other = NewControl();
    const HRESULT loaded = Load(other.Get(), Bytes(bytes.begin(), bytes.begin() + static_cast<std::ptrdiff_t>(size)));
    if (size < layout::kVersions) {
      EXPECT_EQ(loaded, E_INVALIDARG) << size;
    }
    if (size == bytes.size()) {
      EXPECT_EQ(loaded, S_OK);
    }
    Variant groups;
    ASSERT_EQ(other->Groups(&groups), S_OK) << size;
    const auto ids = Elements<long>(groups);
    if (size < layout::kGroups) {
      EXPECT_TRUE(ids.empty()) << size;
    }
    long period = 0;
    if (size > group_end + layout::kTail) {
      ASSERT_EQ(ids.size(), 1U) << size;
      EXPECT_EQ(other->Period(ids[0], &period), S_OK);
      EXPECT_EQ(period, long{kPeriod}) << size;
    }
    const Bytes again = Saved(other.Get());
    SHORT port = 0;
    std::memcpy(&port, &again.at(layout::kPortValue), sizeof port);
    EXPECT_EQ(port, size >= layout::kPortValue + sizeof port ? 7 : 1) << size;
  }
}

TEST_F(Persistence, WrongType_KeepsWhatStoodBeforeIt) {
  Bytes bytes = Saved(control.Get());
  bytes.at(0) = VT_I4;
  EXPECT_EQ(Load(NewControl().Get(), bytes), E_INVALIDARG);
  bytes.at(0) = VT_UI4;
  bytes.at(layout::kConfiguration) = VT_I4;  // the type of the port's value
  const auto other = NewControl();
  Load(other.Get(), bytes);
  Variant groups;
  EXPECT_EQ(other->Groups(&groups), S_OK);
  EXPECT_TRUE(Elements<long>(groups).empty());
  bytes.at(layout::kConfiguration) = VT_I2;
  EXPECT_EQ(Load(other.Get(), bytes), S_OK) << "and a control is loaded anew at any time";
  EXPECT_EQ(Saved(other.Get()), bytes);
}

TEST_F(Persistence, SaveThatFails_LeavesTheControlDirty) {
  const std::size_t size = Saved(control.Get()).size();
  long group = 0;
  ASSERT_EQ(control->CreateGroup(&group), S_OK);
  ASSERT_EQ(stored->IsDirty(), S_OK);
  for (std::size_t room = 0; room < size; ++room) {
    FullStream full(room);
    ASSERT_EQ(stored->Save(&full, TRUE), STG_E_MEDIUMFULL) << room;
    ASSERT_EQ(stored->IsDirty(), S_OK) << room;
  }
  Saved(control.Get());
  EXPECT_EQ(stored->IsDirty(), S_FALSE);
}

TEST_F(Persistence, Groups_KeepTheirSettingsAndOrder) {
  const auto second = client::ResultOf<long>(control.Get(), &Instr::CreateGroup);
  const auto other = NewControl();
  ASSERT_EQ(Load(other.Get(), Saved(control.Get())), S_OK);
  EXPECT_EQ(client::ElementsOf<long>(other.Get(), &Instr::Groups), (std::vector<long>{1, second}));
  EXPECT_EQ(client::ResultOf<long>(other.Get(), &Instr::Period, 1), long{kPeriod});
  EXPECT_EQ(client::ResultOf<float>(other.Get(), &Instr::DeadBand, 1), 1.5F);
  EXPECT_EQ(client::ResultOf<float>(other.Get(), &Instr::DeadBandAbs, 1), 0.25F);
  EXPECT_EQ(client::ResultOf<long>(other.Get(), &Instr::DeadTimeMax, 1), 60);
  EXPECT_EQ(client::ElementsOf<long>(other.Get(), &Instr::InChans, 1), (std::vector<long>{kInput}));
  EXPECT_TRUE(client::ElementsOf<long>(other.Get(), &Instr::InChans, second).empty());
}

TEST_F(Persistence, PeriodBelowItsMinimum_LoadsAsTheMinimum) {
  const auto other = Configured(7, {20, 0, 0, 0});
  long period = 0;
  EXPECT_EQ(other->Period(1, &period), S_OK);
  EXPECT_EQ(period, 100);
}

TEST_F(Persistence, PropertyBag_HoldsTheVersion) {
  const auto bagged = Query<IPersistPropertyBag>(control.Get(), IID_IPersistPropertyBag);
  ASSERT_TRUE(bagged);
  Bag bag;
  ASSERT_EQ(bagged->Save(&bag, TRUE, TRUE), S_OK);
  for (const wchar_t* name : {L"FileVersionMS", L"FileVersionLS"}) {
    ASSERT_TRUE(bag.numbers.contains(name));
    EXPECT_EQ(bag.numbers[name].vt, VT_UI4);
  }
  EXPECT_EQ(bagged->Load(&bag, nullptr), S_OK);
  bag.refuses = true;
  long group = 0;
  ASSERT_EQ(control->CreateGroup(&group), S_OK);
  EXPECT_EQ(bagged->Save(&bag, TRUE, TRUE), E_FAIL);
  EXPECT_EQ(stored->IsDirty(), S_OK);
}

TEST_F(Persistence, Storage_HoldsTheSameStream) {
  ComPtr<ILockBytes> memory;
  ComPtr<IStorage> storage;
  ASSERT_EQ(CreateILockBytesOnHGlobal(nullptr, TRUE, &memory), S_OK);
  ASSERT_EQ(
      StgCreateDocfileOnILockBytes(memory.Get(), STGM_READWRITE | STGM_SHARE_EXCLUSIVE | STGM_CREATE, 0, &storage),
      S_OK);
  ASSERT_EQ(Query<IPersistStorage>(control.Get(), IID_IPersistStorage)->Save(storage.Get(), FALSE), S_OK);
  const auto other = NewControl();
  ASSERT_EQ(Query<IPersistStorage>(other.Get(), IID_IPersistStorage)->Load(storage.Get()), S_OK);
  EXPECT_EQ(Saved(other.Get()), Saved(control.Get()));
}

}  // namespace
}  // namespace published
