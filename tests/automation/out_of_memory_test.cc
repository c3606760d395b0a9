// The system's memory runs out at the first allocation of a call, then at its second, and so on until the call
// succeeds.
#include <gtest/gtest.h>
#include <windows.h>

#include <objbase.h>

#include <atomic>
#include <cstdlib>

#include "tests/automation/client.h"

// The system exports this function, but no header declares it.
extern "C" void STDMETHODCALLTYPE SetOaNoCache();

namespace client {
namespace {

// Watches the system's allocator, which makes texts and arrays, as long as the program runs.
class SystemMemory final : public IMallocSpy {
 public:
  static SystemMemory& Watched() {
    static SystemMemory memory;
    return memory;
  }
  // The allocation of that number, counted from 1, fails once. 0: none fails.
  void FailAt(long number) { left_ = number; }
  bool HasFailed() const { return left_ == 0; }

  STDMETHODIMP QueryInterface(REFIID, void** object) override {
    *object = static_cast<IMallocSpy*>(this);
    return S_OK;
  }
  STDMETHODIMP_(ULONG) AddRef() override { return 2; }
  STDMETHODIMP_(ULONG) Release() override { return 1; }
  STDMETHODIMP_(SIZE_T) PreAlloc(SIZE_T size) override { return left_ > 0 && --left_ == 0 ? 0 : size; }
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
  // Wine treats every release as that of a watched block until the first watched block was made.
  SystemMemory() {
    SetOaNoCache();  // Each text then is an allocation of its own.
    EXPECT_EQ(CoRegisterMallocSpy(this), S_OK);
    CoTaskMemFree(CoTaskMemAlloc(1));
  }

  std::atomic<long> left_ = 0;
};

// While it lives, the allocation of that number, counted from 1, fails.
class FailingSystemMemory {
 public:
  explicit FailingSystemMemory(long number) { SystemMemory::Watched().FailAt(number); }
  ~FailingSystemMemory() { SystemMemory::Watched().FailAt(0); }
  FailingSystemMemory(const FailingSystemMemory&) = delete;
  bool Happened() const { return SystemMemory::Watched().HasFailed(); }
};

ComPtr<IUlixInstr> ConnectedControl() {
  const char* port = std::getenv("ULIX_TEST_PORT");
  const auto control = Create<IUlixInstr>(kProgId);
  const auto setup = Create<IUlixSetup>(L"Ulix.UlixSetup.1");
  EXPECT_TRUE(port && control && setup);
  EXPECT_EQ(setup->Attach(control.Get()), S_OK);
  EXPECT_EQ(setup->put_Serial(Text(L"port"), std::atol(port)), S_OK);
  HRESULT connected = E_FAIL;
  for (int tries = 0; connected != S_OK && tries < 5; ++tries) connected = control->Connect();
  EXPECT_EQ(connected, S_OK);
  return control;
}

struct Call {
  const char* name;
  HRESULT (*make)(IUlixInstr* control, VARIANT* place, BSTR* text);
};

const Variant& BothChannels() {
  static const Variant ids = IdArray({0, 1});
  return ids;
}

HRESULT GetBothValues(IUlixInstr* control, VARIANT* values, BSTR*) {
  Variant errors, times;
  return control->GetChansVals(BothChannels(), values, &errors, &times);
}

TEST(OutOfMemory, AnyCall_ReturnsItsCodeAndLeavesTheResultEmpty) {
  const Call calls[] = {
      {"Version", [](IUlixInstr* c, VARIANT*, BSTR* text) { return c->get_Version(text); }},
      {"InstrType", [](IUlixInstr* c, VARIANT*, BSTR* text) { return c->get_InstrType(text); }},
      {"Identify", [](IUlixInstr* c, VARIANT*, BSTR* text) { return c->Identify(text); }},
      {"GetChanName", [](IUlixInstr* c, VARIANT*, BSTR* text) { return c->GetChanName(0, text); }},
      {"GetChanUnit", [](IUlixInstr* c, VARIANT*, BSTR* text) { return c->GetChanUnit(0, text); }},
      {"GetCommInfo", [](IUlixInstr* c, VARIANT*, BSTR* text) { return c->GetCommInfo(text); }},
      {"GetCfgText", [](IUlixInstr* c, VARIANT*, BSTR* text) { return c->GetCfgText(text); }},
      {"Groups", [](IUlixInstr* c, VARIANT* place, BSTR*) { return c->get_Groups(place); }},
      {"OutChans", [](IUlixInstr* c, VARIANT* place, BSTR*) { return c->get_OutChans(place); }},
      {"MemBlocks", [](IUlixInstr* c, VARIANT* place, BSTR*) { return c->get_MemBlocks(place); }},
      {"GetChansVals", GetBothValues},
  };
  const auto control = ConnectedControl();
  ASSERT_EQ(Elements<long>(BothChannels()).size(), 2U);
  for (const Call& call : calls) {
    SCOPED_TRACE(call.name);
    bool ran_out = true;
    long n = 1;
    for (; ran_out && n < 100; ++n) {
      Variant place;
      BSTR text = nullptr;
      HRESULT result = S_OK;
      {
        const FailingSystemMemory failure(n);
        result = call.make(control.Get(), &place, &text);
        ran_out = failure.Happened();
      }
      EXPECT_TRUE(result == S_OK || result == E_OUTOFMEMORY) << std::hex << result;
      EXPECT_TRUE(SUCCEEDED(result) || (place.vt == VT_EMPTY && text == nullptr));
      SysFreeString(text);
    }
    EXPECT_FALSE(ran_out);
    EXPECT_GT(n, 2) << "no allocation was seen";
  }
  control->Disconnect();
}

// One of the four arrays cannot be made. No event is fired, the threads go on, and the next tick reports.
TEST(OutOfMemory, Report_FiresNeitherEventAndTheNextScanReports) {
  const auto control = ConnectedControl();
  const auto setup = Create<IUlixSetup>(L"Ulix.UlixSetup.1");
  ASSERT_EQ(setup->Attach(control.Get()), S_OK);
  long group = 0, n = 1;
  ASSERT_EQ(control->CreateGroup(&group), S_OK);
  ASSERT_EQ(control->ConnectGroupChan(group, 0), S_OK);
  ASSERT_EQ(setup->SetGroup(group, 200, 0, 1e6F, 1000), S_OK);
  for (bool ran_out = true; ran_out && n < 100; ++n) {
    SCOPED_TRACE(n);
    Sink sink;
    const Advised advised(control.Get(), sink);
    {
      const FailingSystemMemory failure(n);
      ASSERT_EQ(control->RunGroup(group), S_OK);
      ASSERT_TRUE(sink.Await(2));
      ran_out = failure.Happened();
    }
    ASSERT_EQ(control->StopGroup(group), S_OK);
    EXPECT_EQ(sink.order(), (std::vector<std::wstring>{L"data 1", L"ready 1"}));
  }
  EXPECT_GT(n, 4) << "at least one allocation for each array";
  control->Disconnect();
}

}  // namespace
}  // namespace client
