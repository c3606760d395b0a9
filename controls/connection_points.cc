#include "controls/connection_points.h"

#include <olectl.h>

#include <new>

#include "controls/enumerator.h"
#include "controls/variants.h"

namespace ulix::controls {
namespace {

// Hands the library's events to one host's sink.
class HostSink final : public EventSink {
 public:
  explicit HostSink(ComPtr<IUlixInstrEvents> sink) : sink_(std::move(sink)) {}

  void MeasReady(std::uint32_t group) override { sink_->MeasReady(static_cast<long>(group)); }
  void DataChange(std::uint32_t group, const ChannelArrays& data) override {
    OwnedVariant ids, values, errors, times;
    if (FAILED(PutIds(data.ids, ids.get())) || FAILED(PutValues(data.values, values.get())) ||
        FAILED(PutErrors(data.errors, errors.get())) || FAILED(PutDates(data.times, times.get()))) {
      return;
    }
    sink_->DataChange(static_cast<long>(group), static_cast<long>(data.size()), *ids, *values, *errors, *times);
  }
  void DevStatusChange(std::uint32_t status) override { sink_->DevStatusChange(static_cast<long>(status)); }
  void DevError(HRESULT error) override { sink_->DevError(error); }
  void SysError(HRESULT error) override { sink_->SysError(error); }
  void Progress(int percent) override { sink_->Progress(static_cast<short>(percent)); }
  void CfgGroupChange(std::uint32_t group) override { sink_->CfgGroupChange(static_cast<long>(group)); }

 private:
  ComPtr<IUlixInstrEvents> sink_;
};

struct GiveConnection {
  static CONNECTDATA Give(const std::pair<DWORD, ComPtr<IUlixInstrEvents>>& connection) {
    connection.second->AddRef();
    return {connection.second.Get(), connection.first};
  }
};
using ConnectionList =
    Enumerator<IEnumConnections, CONNECTDATA, std::pair<DWORD, ComPtr<IUlixInstrEvents>>, GiveConnection>;

struct GivePoint {
  static IConnectionPoint* Give(const ComPtr<IConnectionPoint>& point) {
    point->AddRef();
    return point.Get();
  }
};
using PointList = Enumerator<IEnumConnectionPoints, IConnectionPoint*, ComPtr<IConnectionPoint>, GivePoint>;

}  // namespace

STDMETHODIMP EventsPoint::QueryInterface(REFIID id, void** object) {
  if (!object) return E_POINTER;
  const bool known = IsEqualIID(id, IID_IUnknown) || IsEqualIID(id, IID_IConnectionPoint);
  *object = known ? this : nullptr;
  if (known) AddRef();
  return known ? S_OK : E_NOINTERFACE;
}

STDMETHODIMP EventsPoint::GetConnectionInterface(IID* id) {
  if (!id) return E_POINTER;
  *id = __uuidof(IUlixInstrEvents);
  return S_OK;
}

STDMETHODIMP EventsPoint::GetConnectionPointContainer(IConnectionPointContainer** container) {
  if (!container) return E_POINTER;
  owner_.AddRef();
  *container = &owner_;
  return S_OK;
}

STDMETHODIMP EventsPoint::Advise(IUnknown* sink, DWORD* cookie) {
  if (!sink || !cookie) return E_POINTER;
  *cookie = 0;
  ComPtr<IUlixInstrEvents> events;
  if (FAILED(sink->QueryInterface(__uuidof(IUlixInstrEvents), reinterpret_cast<void**>(events.GetAddressOf())))) {
    return CONNECT_E_CANNOTCONNECT;
  }
  try {
    const std::lock_guard lock(mutex_);
    *cookie = sinks_.Advise(std::make_shared<HostSink>(events));
    connected_.emplace(*cookie, events);
    return S_OK;
  } catch (const std::bad_alloc&) {
    return E_OUTOFMEMORY;
  }
}

STDMETHODIMP EventsPoint::Unadvise(DWORD cookie) {
  if (!sinks_.Unadvise(cookie)) return CONNECT_E_NOCONNECTION;
  ComPtr<IUlixInstrEvents> released;  // outside the lock: its last release is the host's code
  const std::lock_guard lock(mutex_);
  const auto found = connected_.find(cookie);
  if (found == connected_.end()) return S_OK;
  released = std::move(found->second);
  connected_.erase(found);
  return S_OK;
}

STDMETHODIMP EventsPoint::EnumConnections(IEnumConnections** connections) {
  if (!connections) return E_POINTER;
  const std::lock_guard lock(mutex_);
  *connections = new (std::nothrow)
      ConnectionList(std::vector<std::pair<DWORD, ComPtr<IUlixInstrEvents>>>(connected_.begin(), connected_.end()));
  return *connections ? S_OK : E_OUTOFMEMORY;
}

HRESULT EnumThePoint(EventsPoint& point, IEnumConnectionPoints** points) {
  if (!points) return E_POINTER;
  *points = new (std::nothrow) PointList({ComPtr<IConnectionPoint>(&point)});
  return *points ? S_OK : E_OUTOFMEMORY;
}

}  // namespace ulix::controls
