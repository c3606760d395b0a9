// Memory runs out at the first allocation of a call, then at its second, and so on until the call succeeds: the
// system's memory, of which texts and arrays are made, and the library's own.
#include <gtest/gtest.h>
#include <windows.h>

#include <objbase.h>

#include <atomic>
#include <cstddef>
#include <cstdlib>
#include <cstring>
#include <thread>

#include "tests/automation/client.h"
#include "tests/automation/dialog_user.h"

namespace client {
namespace {

// The allocation of a number fails, once.
class Countdown {
 public:
  // From 1; none fails for 0.
  void Start(long number) {
    failed_ = false;
    left_ = number;
  }
  bool Fails() {
    if (left_ <= 0 || --left_ != 0) return false;
    failed_ = true;
    return true;
  }
  bool HasFailed() const { return failed_; }

 private:
  std::atomic<long> left_ = 0;
  std::atomic<bool> failed_ = false;
};

// Watches the system's allocator, that of texts and arrays, as long as the program runs.
class SystemMemory final : public IMallocSpy {
 public:
  static Countdown& Watched() {
    static SystemMemory memory;
    return memory.countdown_;
  }

  STDMETHODIMP QueryInterface(REFIID, void** object) override {
    *object = static_cast<IMallocSpy*>(this);
    return S_OK;
  }
  STDMETHODIMP_(ULONG) AddRef() override { return 2; }
  STDMETHODIMP_(ULONG) Release() override { return 1; }
  STDMETHODIMP_(SIZE_T) PreAlloc(SIZE_T size) override { return countdown_.Fails() ? 0 : size; }
  STDMETHODIMP_(void*) PostAlloc(void* block) override { return block; }
  STDMETHODIMP_(void*) PreFree(void* block, BOOL) override { return block; }
  STDMETHODIMP_(void) PostFree(BOOL) override {}
  STDMETHODIMP_(SIZE_T) PreRealloc(void* block, SIZE_T size, void** given, BOOL) override {
    *given = block;
    return size;
  }
  STDMETHODIMP_(void*) PostRealloc(void* block, BOOL) override { return block; }
  STDMETHODIMP_(void*) PreGetSize(void* block, BOOL) override { return block; }
  STDMETHODIMP_(SIZE_T) PostGetSize(SIZE_T size, BOOL) override { return size; }
  STDMETHODIMP_(void*) PreDidAlloc(void* block, BOOL) override { return block; }
  STDMETHODIMP_(int) PostDidAlloc(void*, BOOL, int did) override { return did; }
  STDMETHODIMP_(void) PreHeapMinimize() override {}
  STDMETHODIMP_(void) PostHeapMinimize() override {}

 private:
  // Before the first watched block is made, Wine mistakes the release of any block for that of a watched one.
  SystemMemory() {
    MakeEveryTextAnAllocation();
    EXPECT_EQ(CoRegisterMallocSpy(this), S_OK);
    CoTaskMemFree(CoTaskMemAlloc(1));
  }

  // The system exports this function, but no header declares it and not every import library has it.
  static void MakeEveryTextAnAllocation() {
    const auto set = GetProcAddress(GetModuleHandleW(L"oleaut32.dll"), "SetOaNoCache");
    ASSERT_NE(set, nullptr);
    reinterpret_cast<void(STDMETHODCALLTYPE*)()>(set)();
  }

  Countdown countdown_;
};

// Replaces the library's own allocator: the entries for it in the library's import table point here.
class LibraryMemory {
 public:
  // The library may have been loaded again since the last call.
  static Countdown& Watched() {
    Divert("malloc", reinterpret_cast<void*>(Allocate));
    Divert("calloc", reinterpret_cast<void*>(AllocateZeros));
    Divert("realloc", reinterpret_cast<void*>(Reallocate));
    return countdown_;
  }

 private:
  static void* Allocate(std::size_t size) { return countdown_.Fails() ? nullptr : std::malloc(size); }
  static void* AllocateZeros(std::size_t count, std::size_t size) {
    return countdown_.Fails() ? nullptr : std::calloc(count, size);
  }
  static void* Reallocate(void* block, std::size_t size) {
    return countdown_.Fails() ? nullptr : std::realloc(block, size);
  }

  // Changes the library's entry for a function of the C runtime.
  static void Divert(const char* wanted, void* function) {
    const HMODULE module = GetModuleHandleW(L"UlixInstrAx.dll");
    ASSERT_NE(module, nullptr);
    auto* const base = reinterpret_cast<std::byte*>(module);
    const auto* dos = reinterpret_cast<const IMAGE_DOS_HEADER*>(base);
    const auto* headers = reinterpret_cast<const IMAGE_NT_HEADERS*>(base + dos->e_lfanew);
    const IMAGE_DATA_DIRECTORY& imports = headers->OptionalHeader.DataDirectory[IMAGE_DIRECTORY_ENTRY_IMPORT];
    bool found = false;
    for (auto* each = reinterpret_cast<const IMAGE_IMPORT_DESCRIPTOR*>(base + imports.VirtualAddress);
         each->FirstThunk != 0; ++each) {
      const auto* names = reinterpret_cast<const IMAGE_THUNK_DATA*>(base + each->OriginalFirstThunk);
      auto* entries = reinterpret_cast<IMAGE_THUNK_DATA*>(base + each->FirstThunk);
      for (; names->u1.AddressOfData != 0; ++names, ++entries) {
        if (IMAGE_SNAP_BY_ORDINAL(names->u1.Ordinal)) continue;
        const auto* name = reinterpret_cast<const IMAGE_IMPORT_BY_NAME*>(base + names->u1.AddressOfData);
        if (std::strcmp(reinterpret_cast<const char*>(name->Name), wanted) != 0) continue;
        DWORD before = 0;
        VirtualProtect(entries, sizeof(*entries), PAGE_READWRITE, &before);
        entries->u1.Function = reinterpret_cast<ULONG_PTR>(function);
        VirtualProtect(entries, sizeof(*entries), before, &before);
        found = true;
      }
    }
    EXPECT_TRUE(found) << wanted;
  }

  static inline Countdown countdown_;
};

// During its lifetime the allocation with this number fails.
class FailingAllocation {
 public:
  FailingAllocation(Countdown& memory, long number) : memory_(memory) { memory_.Start(number); }
  ~FailingAllocation() { memory_.Start(0); }
  FailingAllocation(const FailingAllocation&) = delete;
  bool Happened() const { return memory_.HasFailed(); }

 private:
  Countdown& memory_;
};

// The variables that receive the members' results.
struct Places {
  Places() = default;
  Places(const Places&) = delete;
  ~Places() { SysFreeString(text); }

  BSTR text = nullptr;
  Variant values, errors, times;
  long number = 0, other = 0;
  int word = 0;
  short small = 0;
  float real = 0;
};

struct Call {
  const char* name;
  HRESULT (*make)(IUlixInstr* control, Places& places);
  bool changes = false;  // whether the call may change the configuration before it fails
};

const Variant& Ids(long id) {
  static const Variant input_and_output = IdArray({0, 1}), first = IdArray({1});
  return id == 0 ? input_and_output : first;
}

HRESULT ConnectAgain(IUlixInstr* c, Places&) {
  const HRESULT left = c->Disconnect();
  return FAILED(left) ? left : c->Connect();
}

HRESULT MakeAndRemoveGroup(IUlixInstr* c, Places&) {
  long group = 0;
  const HRESULT made = c->CreateGroup(&group);
  return FAILED(made) ? made : c->RemoveGroup(group);
}

HRESULT RunAndStop(IUlixInstr* c, Places&) {
  const HRESULT run = c->RunGroup(1);
  const HRESULT stopped = c->StopGroup(1);
  return FAILED(run) ? run : stopped;
}

HRESULT RunAndStopAll(IUlixInstr* c, Places&) {
  const HRESULT run = c->RunAllGroups();
  const HRESULT stopped = c->StopAllGroups();
  return FAILED(run) ? run : stopped;
}

HRESULT SetBoth(IUlixInstr* c, Places&) {
  Variant values;
  values.vt = VT_ARRAY | VT_VARIANT;
  values.parray = SafeArrayCreateVector(VT_VARIANT, 0, 1);
  LONG first = 0;
  Variant value(1.5);
  if (!values.parray || FAILED(SafeArrayPutElement(values.parray, &first, &value))) return E_OUTOFMEMORY;
  return c->SetChansVals(Ids(1), values);
}

using Instr = IUlixInstr*;
using Out = Places&;

// Every member except those that show a dialog, in the order of the interface.
const Call kCalls[] = {
    {"Version", [](Instr c, Out p) { return c->get_Version(&p.text); }},
    {"GetBinVersion", [](Instr c, Out p) { return c->GetBinVersion(&p.number, &p.other, &p.word); }},
    {"GetDevVersion", [](Instr c, Out p) { return c->GetDevVersion(&p.text); }},
    {"GetDevFileVersion", [](Instr c, Out p) { return c->GetDevFileVersion(&p.text); }},
    {"Groups", [](Instr c, Out p) { return c->get_Groups(&p.values); }},
    {"InChans", [](Instr c, Out p) { return c->get_InChans(1, &p.values); }},
    {"Period", [](Instr c, Out p) { return c->get_Period(1, &p.number); }},
    {"DeadBand", [](Instr c, Out p) { return c->get_DeadBand(1, &p.real); }},
    {"DeadBandAbs", [](Instr c, Out p) { return c->get_DeadBandAbs(1, &p.real); }},
    {"DeadTimeMax", [](Instr c, Out p) { return c->get_DeadTimeMax(1, &p.number); }},
    {"OutChans", [](Instr c, Out p) { return c->get_OutChans(&p.values); }},
    {"CreateGroup", [](Instr c, Out p) { return c->CreateGroup(&p.number); }},
    {"RemoveGroup", MakeAndRemoveGroup, true},
    {"Connect again", ConnectAgain},
    {"IsConnected", [](Instr c, Out p) { return c->IsConnected(&p.number); }},
    {"Identify", [](Instr c, Out p) { return c->Identify(&p.text); }},
    {"SendCfg", [](Instr c, Out) { return c->SendCfg(); }},
    {"ReadCfg", [](Instr c, Out) { return c->ReadCfg(); }, true},
    {"GetChanDir", [](Instr c, Out p) { return c->GetChanDir(0, &p.word); }},
    {"GetChanName", [](Instr c, Out p) { return c->GetChanName(0, &p.text); }},
    {"GetChanUnit", [](Instr c, Out p) { return c->GetChanUnit(0, &p.text); }},
    {"GetChanResol", [](Instr c, Out p) { return c->GetChanResol(0, &p.small); }},
    {"GetChanLim", [](Instr c, Out p) { return c->GetChanLim(0, 0, &p.real, &p.small); }},
    {"RunGroup, StopGroup", RunAndStop},
    {"IsGroupRunning", [](Instr c, Out p) { return c->IsGroupRunning(1, &p.number); }},
    {"RunAllGroups, StopAllGroups", RunAndStopAll},
    {"GetChansVals", [](Instr c, Out p) { return c->GetChansVals(Ids(0), &p.values, &p.errors, &p.times); }},
    {"SetChansVals", SetBoth},
    {"ImmediateReadGroups", [](Instr c, Out) { return c->ImmediateReadGroups(Ids(1)); }},
    {"GetDevStatus", [](Instr c, Out p) { return c->GetDevStatus(&p.number); }},
    {"GetErrorText",
     [](Instr c, Out p) { return c->GetErrorText(static_cast<long>(0x80044403), 0, &p.word, &p.text); }},
    {"InstrType", [](Instr c, Out p) { return c->get_InstrType(&p.text); }},
    {"GetChanDefName", [](Instr c, Out p) { return c->GetChanDefName(0, &p.text); }},
    {"UseConnected", [](Instr c, Out p) { return c->get_UseConnected(&p.number); }},
    {"HasCommParams", [](Instr c, Out p) { return c->HasCommParams(&p.number); }},
    {"HasCfg", [](Instr c, Out p) { return c->HasCfg(&p.number); }},
    {"CfgHasInChans", [](Instr c, Out p) { return c->CfgHasInChans(&p.number); }},
    {"CfgHasOutChans", [](Instr c, Out p) { return c->CfgHasOutChans(&p.number); }},
    {"Run", [](Instr c, Out) { return c->Run(); }},
    {"Stop", [](Instr c, Out) { return c->Stop(); }},
    {"GetCommInfo", [](Instr c, Out p) { return c->GetCommInfo(&p.text); }},
    {"CanEditOutChans", [](Instr c, Out p) { return c->CanEditOutChans(&p.number); }},
    {"SetChanVal", [](Instr c, Out) { return c->SetChanVal(1, Variant(1.5)); }},
    {"RemoveGroupChan", [](Instr c, Out) { return c->RemoveGroupChan(1, 0); }},
    {"ConnectGroupChan", [](Instr c, Out) { return c->ConnectGroupChan(1, 0); }},
    {"GetCfgText", [](Instr c, Out p) { return c->GetCfgText(&p.text); }},
    {"ExplKeyNum", [](Instr c, Out p) { return c->get_ExplKeyNum(&p.small); }},
    {"MemBlocks", [](Instr c, Out p) { return c->get_MemBlocks(&p.values); }},
    {"CfgHasMemBlocks", [](Instr c, Out p) { return c->CfgHasMemBlocks(&p.number); }},
};

// A connected control with one group, which has the input.
struct Memory {
  const char* name;
  Countdown& (*watched)();
};

class OutOfMemory : public testing::TestWithParam<Memory> {
 protected:
  void SetUp() override {
    control = Create<IUlixInstr>(kProgId);
    setup = OnPortOfTest(control.Get(), "ULIX_TEST_PORT");
    ASSERT_EQ(control->Connect(), S_OK);
    long group = 0;
    ASSERT_EQ(control->CreateGroup(&group), S_OK);
    ASSERT_EQ(control->ConnectGroupChan(group, 0), S_OK);
  }
  void TearDown() override { control->Disconnect(); }
  std::string Configuration() {
    ComPtr<IPersistStreamInit> persist;
    ComPtr<IStream> stream;
    EXPECT_EQ(control.As(&persist), S_OK);
    EXPECT_EQ(CreateStreamOnHGlobal(nullptr, TRUE, &stream), S_OK);
    EXPECT_EQ(persist->Save(stream.Get(), FALSE), S_OK);
    std::string bytes(4096, '\0');
    ULONG count = 0;
    stream->Seek({}, STREAM_SEEK_SET, nullptr);
    stream->Read(bytes.data(), static_cast<ULONG>(bytes.size()), &count);
    return bytes.substr(0, count);
  }

  ComPtr<IUlixInstr> control;
  ComPtr<IUlixSetup> setup;
};

bool IsCode(HRESULT result, HRESULT wanted) {
  return result == wanted || result == E_OUTOFMEMORY || HRESULT_FACILITY(result) == FACILITY_ITF;
}

TEST_P(OutOfMemory, FailedAllocationInAMember_IsACodeAndLosesNothing) {
  constexpr long kMaxAllocations = 2000;
  int failures = 0;
  for (const Call& call : kCalls) {
    SCOPED_TRACE(call.name);
    const auto again = [&] {
      Places places;
      return call.make(control.Get(), places);
    };
    const HRESULT wanted = again();
    bool ran_out = true;
    for (long n = 1; ran_out && n < kMaxAllocations; ++n) {
      SCOPED_TRACE(n);
      const std::string before = Configuration();
      Places places;
      HRESULT result = S_OK;
      {
        const FailingAllocation failure(GetParam().watched(), n);
        result = call.make(control.Get(), places);
        ran_out = failure.Happened();
      }
      if (!ran_out) continue;
      ++failures;
      EXPECT_TRUE(IsCode(result, wanted)) << std::hex << result;
      if (SUCCEEDED(result)) continue;
      EXPECT_TRUE(places.text == nullptr && places.values.vt == VT_EMPTY && places.errors.vt == VT_EMPTY);
      EXPECT_TRUE(call.changes || Configuration() == before);
      EXPECT_EQ(again(), wanted);
    }
    EXPECT_FALSE(ran_out) << "more allocations than were walked";
  }
  EXPECT_GT(failures, 15) << "allocations that were seen to fail";
}

// There is no memory for one of the four arrays, or for the reading. Either both events come or none, the threads go
// on, and a later tick reports.
TEST_P(OutOfMemory, FailedAllocationInAScan_FiresBothEventsOrNone) {
  ASSERT_EQ(setup->SetGroup(1, 200, 0, 1e6F, 1000), S_OK);
  bool ran_out = true;
  long n = 1;
  for (; ran_out && n < 500; ++n) {
    SCOPED_TRACE(n);
    Sink sink;
    const Advised advised(control.Get(), sink);
    {
      const FailingAllocation failure(GetParam().watched(), n);
      const HRESULT run = control->RunGroup(1);
      EXPECT_TRUE(run == S_OK || run == E_OUTOFMEMORY) << std::hex << run;
      if (run == S_OK) {
        ASSERT_TRUE(sink.Await(2));
      }
      ran_out = failure.Happened();
    }
    ASSERT_EQ(control->StopGroup(1), S_OK);
    if (sink.order().empty()) continue;
    EXPECT_EQ(sink.order(), (std::vector<std::wstring>{L"data 1", L"ready 1"}));
  }
  EXPECT_FALSE(ran_out);
  EXPECT_GT(n, 4) << "an allocation at least for each array";
}

// A user who changes the first choice of every dialog and accepts it, and cancels a dialog that stays open.
class HastyPerson {
 public:
  HastyPerson() : thread_([this] { Watch(); }) {}
  ~HastyPerson() {
    gone_ = true;
    thread_.join();
  }
  HastyPerson(const HastyPerson&) = delete;

 private:
  void Watch() {
    constexpr int kPatience = 20;
    int looks = 0;
    for (; !gone_; Sleep(5)) {
      const HWND dialog = user_.FindNow();
      looks = dialog ? looks + 1 : 0;
      if (looks == 1) {
        if (const HWND box = user_.FirstOf(L"ComboBox")) PostMessageW(box, WM_KEYDOWN, VK_DOWN, 1);
        PostMessageW(dialog, WM_COMMAND, IDOK, 0);
      }
      if (looks > kPatience) PostMessageW(dialog, WM_COMMAND, IDCANCEL, 0);
    }
  }

  DialogUser user_;
  std::atomic<bool> gone_ = false;
  std::thread thread_;
};

const Call kDialogs[] = {
    {"EditCfg", [](Instr c, Out p) { return c->EditCfg(&p.word); }},
    {"EditCommParams", [](Instr c, Out p) { return c->EditCommParams(&p.word); }},
    {"EditGroup", [](Instr c, Out p) { return c->EditGroup(1, &p.word); }},
    {"EditOutChans", [](Instr c, Out p) { return c->EditOutChans(&p.word); }},
    {"ShowProperties", [](Instr c, Out) { return c->ShowProperties(); }},
};

// A dialog makes too many allocations to let each of them fail. The first ones fail one by one, later ones with growing
// distances.
TEST_P(OutOfMemory, FailedAllocationInADialog_EndsItAndChangesNothing) {
  for (const Call& call : kDialogs) {
    SCOPED_TRACE(call.name);
    int failures = 0;
    bool ran_out = true;
    for (long n = 1; ran_out && n < 100000; n += 1 + n / 8) {
      SCOPED_TRACE(n);
      const std::string before = Configuration();
      Places places;
      HRESULT result = S_OK;
      {
        const HastyPerson person;
        const FailingAllocation failure(GetParam().watched(), n);
        result = call.make(control.Get(), places);
        ran_out = failure.Happened();
      }
      EXPECT_TRUE(result == S_OK || result == E_OUTOFMEMORY) << std::hex << result;
      if (FAILED(result)) ++failures;
      EXPECT_TRUE(SUCCEEDED(result) || Configuration() == before);
    }
    EXPECT_FALSE(ran_out);
    EXPECT_TRUE(failures > 5 || GetParam().watched == SystemMemory::Watched) << failures;
  }
}

INSTANTIATE_TEST_SUITE_P(Of, OutOfMemory,
                         testing::Values(Memory{"TheSystem", SystemMemory::Watched},
                                         Memory{"TheLibrary", LibraryMemory::Watched}),
                         [](const testing::TestParamInfo<Memory>& memory) { return memory.param.name; });

}  // namespace
}  // namespace client
