// A host that knows only the published interface: it creates controls, configures them through the published stream,
// and receives their events. The Kelvo10 on its port has its output wired to its input, so it measures the value that
// was set.
#pragma once

#include <gtest/gtest.h>

#include <algorithm>
#include <chrono>
#include <condition_variable>
#include <cstdlib>
#include <cstring>
#include <functional>
#include <mutex>
#include <optional>
#include <string>
#include <vector>

#include "tests/automation/published_members.h"
#include "tests/automation/values.h"

namespace published {

using client::ComPtr;
using client::Elements;
using client::IdArray;
using client::Variant;
using Bytes = std::vector<unsigned char>;

inline constexpr auto kDeadline = std::chrono::seconds(30);
inline constexpr long kInput = 0, kOutput = 1, kNoSuchPort = 200;
inline constexpr HRESULT kNotKelvo10 = HRESULT(0x80043B00), kUnableToOpen = HRESULT(0x80044400),
                         kUnableToRead = HRESULT(0x80044403);
// When the wired instrument is set to one of these values, it answers late, or hangs.
inline constexpr double kAnswersLate = 800, kHangs = 900;

inline long PortFrom(const char* variable) {
  const char* port = std::getenv(variable);
  return port ? std::atol(port) : kNoSuchPort;
}

inline ComPtr<Instr> NewControl(const wchar_t* prog_id = L"Ulix.UlixInstrKelvo10Ctl.1") {
  CLSID id;
  ComPtr<Instr> control;
  if (SUCCEEDED(CLSIDFromProgID(prog_id, &id))) {
    CoCreateInstance(id, nullptr, CLSCTX_INPROC_SERVER, kInstr, reinterpret_cast<void**>(control.GetAddressOf()));
  }
  return control;
}

template <typename Interface>
ComPtr<Interface> Query(IUnknown* object, const IID& id) {
  ComPtr<Interface> found;
  object->QueryInterface(id, reinterpret_cast<void**>(found.GetAddressOf()));
  return found;
}

// The published layout of a Kelvo10's stream: each value after its 16-bit type.
namespace layout {
inline constexpr std::size_t kVersions = 12, kConfiguration = 45, kPortValue = kConfiguration + 2,
                             kBaudValue = kPortValue + 4, kGroupCount = 67, kGroups = 71,
                             kTail = 14;  // highest id, two directions
}  // namespace layout

struct GroupSettings {
  ULONG period = 1000;  // ms
  float percent = 0, absolute = 0;
  ULONG silent = 0;  // s
};

template <typename Value>
void Append(Bytes& bytes, VARTYPE type, Value value) {
  const auto* first = reinterpret_cast<const unsigned char*>(&type);
  bytes.insert(bytes.end(), first, first + sizeof type);
  first = reinterpret_cast<const unsigned char*>(&value);
  bytes.insert(bytes.end(), first, first + sizeof value);
}

inline Bytes BlockOf(const GroupSettings& group) {
  Bytes block;
  Append(block, VT_UI4, group.period);
  Append(block, VT_R4, group.percent);
  Append(block, VT_R4, group.absolute);
  Append(block, VT_UI4, group.silent);
  return block;
}

inline ComPtr<IStream> StreamOf(const Bytes& bytes) {
  ComPtr<IStream> stream;
  CreateStreamOnHGlobal(nullptr, TRUE, &stream);
  stream->Write(bytes.data(), static_cast<ULONG>(bytes.size()), nullptr);
  stream->Seek({}, STREAM_SEEK_SET, nullptr);
  return stream;
}

inline Bytes Saved(Instr* control) {
  const auto stream = StreamOf({});
  EXPECT_EQ(Query<IPersistStreamInit>(control, IID_IPersistStreamInit)->Save(stream.Get(), TRUE), S_OK);
  STATSTG state{};
  stream->Stat(&state, STATFLAG_NONAME);
  Bytes bytes(state.cbSize.LowPart);
  stream->Seek({}, STREAM_SEEK_SET, nullptr);
  stream->Read(bytes.data(), static_cast<ULONG>(bytes.size()), nullptr);
  return bytes;
}

inline HRESULT Load(Instr* control, const Bytes& bytes) {
  return Query<IPersistStreamInit>(control, IID_IPersistStreamInit)->Load(StreamOf(bytes).Get());
}

inline void PutPort(Bytes& bytes, long port, ULONG baud_rate) {
  const auto number = static_cast<SHORT>(port);
  std::memcpy(&bytes.at(layout::kPortValue), &number, sizeof number);
  std::memcpy(&bytes.at(layout::kBaudValue), &baud_rate, sizeof baud_rate);
}

// Finds the settings of a group. Their place in the block is not published.
inline std::size_t FindGroup(const Bytes& bytes, const GroupSettings& group) {
  const Bytes block = BlockOf(group);
  const auto found = std::search(bytes.begin() + layout::kGroups, bytes.end(), block.begin(), block.end());
  EXPECT_NE(found, bytes.end()) << "no group with these settings";
  return static_cast<std::size_t>(found - bytes.begin());
}

// A control on a port, with one group of these settings that reads the input.
inline ComPtr<Instr> Configured(long port, const GroupSettings& settings, ULONG baud_rate = 9600) {
  const auto control = NewControl();
  if (!control) return control;
  long group = 0;
  EXPECT_EQ(control->CreateGroup(&group), S_OK);
  EXPECT_EQ(control->ConnectGroupChan(group, kInput), S_OK);
  Bytes bytes = Saved(control.Get());
  PutPort(bytes, port, baud_rate);
  const Bytes block = BlockOf(settings);
  std::copy(block.begin(), block.end(), bytes.begin() + static_cast<std::ptrdiff_t>(FindGroup(bytes, {})));
  EXPECT_EQ(Load(control.Get(), bytes), S_OK);
  return control;
}

// A control configured for the port in the environment variable. On a busy machine a pseudo terminal passes written
// bytes on some milliseconds later, and it discards the rest when it is opened again. A control that closes it at this
// speed waits longer than that.
inline ComPtr<Instr> ConfiguredOn(const char* variable, const GroupSettings& settings) {
  return Configured(PortFrom(variable), settings, 2400);
}

struct Event {
  std::wstring name;
  long group = 0, quantity = 0;
  std::vector<VARTYPE> types;
  std::vector<long> ids, errors;
  std::vector<float> values;
  std::vector<DATE> times;
  DWORD thread = 0;
  std::chrono::steady_clock::time_point when;
};

// The events of one sink, or of several sinks that share a log.
class Log {
 public:
  void Add(Event event) {
    event.thread = GetCurrentThreadId();
    event.when = std::chrono::steady_clock::now();
    const std::lock_guard lock(mutex_);
    events_.push_back(std::move(event));
    changed_.notify_all();
  }
  // Waits for that many events; false when they do not come in time.
  bool Await(std::size_t wanted) {
    std::unique_lock lock(mutex_);
    return changed_.wait_for(lock, kDeadline, [&] { return events_.size() >= wanted; });
  }
  std::vector<Event> events() const {
    const std::lock_guard lock(mutex_);
    return events_;
  }
  std::size_t size() const { return events().size(); }

 private:
  mutable std::mutex mutex_;
  std::condition_variable changed_;
  std::vector<Event> events_;  // guarded by mutex_
};

class Sink final : public Events {
 public:
  explicit Sink(Log& log, std::wstring name = {}) : log_(log), name_(std::move(name)) {}
  std::function<void()> on_data;  // set before the sink is advised

  HRESULT STDMETHODCALLTYPE QueryInterface(REFIID id, void** object) override {
    const bool known = IsEqualIID(id, IID_IUnknown) || IsEqualIID(id, kEvents);
    *object = known ? this : nullptr;
    return known ? S_OK : E_NOINTERFACE;
  }
  ULONG STDMETHODCALLTYPE AddRef() override { return 2; }
  ULONG STDMETHODCALLTYPE Release() override { return 1; }
  HRESULT STDMETHODCALLTYPE GetTypeInfoCount(UINT*) override { return E_NOTIMPL; }
  HRESULT STDMETHODCALLTYPE GetTypeInfo(UINT, LCID, ITypeInfo**) override { return E_NOTIMPL; }
  HRESULT STDMETHODCALLTYPE GetIDsOfNames(REFIID, LPOLESTR*, UINT, LCID, DISPID*) override { return E_NOTIMPL; }
  HRESULT STDMETHODCALLTYPE Invoke(DISPID, REFIID, LCID, WORD, DISPPARAMS*, VARIANT*, EXCEPINFO*, UINT*) override {
    return E_NOTIMPL;
  }

  HRESULT STDMETHODCALLTYPE DataChange(long group, long quantity, VARIANT ids, VARIANT values, VARIANT errors,
                                       VARIANT times) override {
    Event event{name_ + L"DataChange",
                group,
                quantity,
                {ids.vt, values.vt, errors.vt, times.vt},
                Elements<long>(ids),
                Elements<long>(errors),
                {},
                Elements<DATE>(times),
                0,
                {}};
    for (const VARIANT& value : Elements<VARIANT>(values))
      event.values.push_back(value.vt == VT_R4 ? value.fltVal : -1);
    log_.Add(std::move(event));
    if (on_data) on_data();
    return S_OK;
  }
  HRESULT STDMETHODCALLTYPE MeasReady(long group) override { return Other(L"MeasReady", group); }
  HRESULT STDMETHODCALLTYPE DevStatusChange(long status) override { return Other(L"DevStatusChange", status); }
  HRESULT STDMETHODCALLTYPE DevError(long code) override { return Other(L"DevError", code); }
  HRESULT STDMETHODCALLTYPE SysError(long code) override { return Other(L"SysError", code); }
  HRESULT STDMETHODCALLTYPE Progress(short percent) override { return Other(L"Progress", percent); }
  HRESULT STDMETHODCALLTYPE CfgGroupChange(long group) override { return Other(L"CfgGroupChange", group); }

 private:
  HRESULT Other(const wchar_t* event, long argument) {
    log_.Add({name_ + event, argument, 0, {}, {}, {}, {}, {}, 0, {}});
    return S_OK;
  }
  Log& log_;
  std::wstring name_;
};

// Advises a sink until End is called or the object is destroyed.
class Advice {
 public:
  Advice(Instr* control, Sink& sink) {
    const auto container = Query<IConnectionPointContainer>(control, IID_IConnectionPointContainer);
    if (container && SUCCEEDED(container->FindConnectionPoint(kEvents, &point_))) point_->Advise(&sink, &cookie_);
  }
  Advice(const Advice&) = delete;
  ~Advice() { End(); }
  bool given() const { return cookie_ != 0; }
  void End() {
    if (cookie_ != 0) point_->Unadvise(cookie_);
    cookie_ = 0;
  }

 private:
  ComPtr<IConnectionPoint> point_;
  DWORD cookie_ = 0;
};

// The channel record of the input.
struct Record {
  float value = -1;
  long error = -1;
  DATE time = -1;
};

inline Record InputOf(Instr* control) {
  Variant values, errors, times;
  EXPECT_EQ(control->GetChansVals(IdArray({kInput}), &values, &errors, &times), S_OK);
  if (values.vt != (VT_ARRAY | VT_VARIANT)) return {};
  const VARIANT value = Elements<VARIANT>(values)[0];
  return {value.vt == VT_R4 ? value.fltVal : -1, Elements<long>(errors)[0], Elements<DATE>(times)[0]};
}

template <typename Condition>
bool Until(Condition&& met) {
  const auto end = std::chrono::steady_clock::now() + kDeadline;
  while (!met()) {
    if (std::chrono::steady_clock::now() > end) return false;
    Sleep(10);
  }
  return true;
}

}  // namespace published
