// A host in C++: a Kelvo10 read late bound, then scanned early bound with events.
// Usage: kelvo10.exe PORT
#include <cstdio>
#include <cstdlib>

#include "tests/automation/client.h"

using namespace client;

namespace {

int Failed(const char* what, HRESULT code) {
  std::printf("%s: 0x%08lX %ls\n", what, static_cast<unsigned long>(code), TakeFailure().description.c_str());
  return 1;
}

int Run(long port) {
  const auto control = Create<IUlixInstr>(kProgId);
  const auto setup = Create<IUlixSetup>(L"Ulix.UlixSetup.1");
  if (!control || !setup) return Failed("the server is not registered", REGDB_E_CLASSNOTREG);
  setup->Attach(control.Get());
  setup->put_Serial(const_cast<BSTR>(L"port"), port);

  Variant nothing;
  const HRESULT connected = CallByName(control.Get(), L"Connect", DISPATCH_METHOD, {}, &nothing);
  if (FAILED(connected)) return Failed("Connect", connected);

  long group = 0;
  control->CreateGroup(&group);
  setup->SetGroup(group, 200, 0, 0, 0);
  control->ConnectGroupChan(group, 0);

  ComPtr<IConnectionPointContainer> container;
  ComPtr<IConnectionPoint> point;
  control.As(&container);
  container->FindConnectionPoint(__uuidof(IUlixInstrEvents), &point);
  Sink sink;
  DWORD cookie = 0;
  point->Advise(&sink, &cookie);
  control->RunGroup(group);
  sink.Await(6);
  control->StopGroup(group);
  point->Unadvise(cookie);
  for (const Sink::Data& scan : sink.data()) {
    std::printf("group %ld channel %ld: %g, error 0x%08lX\n", scan.group, scan.ids[0], scan.values[0].fltVal,
                static_cast<unsigned long>(scan.errors[0]));
  }
  return FAILED(control->Disconnect()) ? 1 : 0;
}

}  // namespace

int main(int argc, char** argv) {
  CoInitializeEx(nullptr, COINIT_APARTMENTTHREADED);
  const int result = Run(argc > 1 ? std::atol(argv[1]) : 1);
  CoUninitialize();
  return result;
}
