#include "controls/connection_points.h"

#include <olectl.h>

#include <new>

#include "controls/enumerator.h"
#include "controls/variants.h"

namespace ulix::controls {
namespace {

using Connection = std::pair<std::uint32_t, ComPtr<IUlixInstrEvents>>;
struct GiveConnection {
  static CONNECTDATA Give(const Connection& connection) {
    connection.second->AddRef();
    return {connection.second.Get(), connection.first};
  }
};
using ConnectionList = Enumerator<IEnumConnections, CONNECTDATA, Connection, GiveConnection>;

struct GivePoint {
  static IConnectionPoint* Give(const ComPtr<IConnectionPoint>& point) {
    point->AddRef();
    return point.Get();
  }
};
using PointList = Enumerator<IEnumConnectionPoints, IConnectionPoint*, ComPtr<IConnectionPoint>, GivePoint>;

// Calls a member of each sink, in the order of connection. The results of the calls are ignored.
template <typename... Parameters, typename... Arguments>
void CallEach(const SinkList<ComPtr<IUlixInstrEvents>>& sinks,
              HRESULT (STDMETHODCALLTYPE IUlixInstrEvents::*event)(Parameters...), const Arguments&... arguments) {
  sinks.ForEach([&](const ComPtr<IUlixInstrEvents>& sink) { (sink.Get()->*event)(arguments...); });
}

void ThrowWithoutMemory(HRESULT result) {
  if (FAILED(result)) throw std::bad_alloc();
}

}  // namespace

void HostSinks::MeasReady(std::uint32_t group) {
  CallEach(list_, &IUlixInstrEvents::MeasReady, static_cast<long>(group));
}

void HostSinks::DataChange(std::uint32_t group, const ChannelArrays& data) {
  OwnedVariant ids, values, errors, times;
  ThrowWithoutMemory(PutIds(data.ids, ids.get()));
  ThrowWithoutMemory(PutValues(data.values, values.get()));
  ThrowWithoutMemory(PutErrors(data.errors, errors.get()));
  ThrowWithoutMemory(PutDates(data.times, times.get()));
  CallEach(list_, &IUlixInstrEvents::DataChange, static_cast<long>(group), static_cast<long>(data.size()), *ids,
           *values, *errors, *times);
}

void HostSinks::DevStatusChange(std::uint32_t status) {
  CallEach(list_, &IUlixInstrEvents::DevStatusChange, static_cast<long>(status));
}

void HostSinks::DevError(HRESULT error) { CallEach(list_, &IUlixInstrEvents::DevError, static_cast<long>(error)); }

void HostSinks::SysError(HRESULT error) { CallEach(list_, &IUlixInstrEvents::SysError, static_cast<long>(error)); }

void HostSinks::Progress(int percent) { CallEach(list_, &IUlixInstrEvents::Progress, static_cast<short>(percent)); }

void HostSinks::CfgGroupChange(std::uint32_t group) {
  CallEach(list_, &IUlixInstrEvents::CfgGroupChange, static_cast<long>(group));
}

EventsPoint::EventsPoint(IConnectionPointContainer& owner, EventSinks& sinks)
    : owner_(owner), hosts_(std::make_shared<HostSinks>()) {
  sinks.Advise(hosts_);
}

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
  return Guarded([&] {
    *cookie = hosts_->list().Add(events);
    return S_OK;
  });
}

STDMETHODIMP EventsPoint::Unadvise(DWORD cookie) {
  return hosts_->list().Remove(cookie) ? S_OK : CONNECT_E_NOCONNECTION;
}

STDMETHODIMP EventsPoint::EnumConnections(IEnumConnections** connections) {
  if (!connections) return E_POINTER;
  *connections = nullptr;
  return Guarded([&] {
    *connections = new ConnectionList(hosts_->list().All());
    return S_OK;
  });
}

HRESULT EnumThePoint(EventsPoint& point, IEnumConnectionPoints** points) {
  if (!points) return E_POINTER;
  *points = nullptr;
  return Guarded([&] {
    *points = new PointList({ComPtr<IConnectionPoint>(&point)});
    return S_OK;
  });
}

}  // namespace ulix::controls
