// The outgoing interface of a control: one connection point, for IUlixInstrEvents.
#pragma once

#include <memory>

#include "UlixInstrAx.h"
#include "controls/module.h"
#include "core/events.h"

namespace ulix::controls {

// Passes the events of one control to the sinks of its hosts. The arrays of a report are created once, before any sink
// is called. When there is no memory for them, no sink is called.
class HostSinks final : public EventSink {
 public:
  void MeasReady(std::uint32_t group) override;
  void DataChange(std::uint32_t group,
                  const ChannelArrays& data) override;  // throws std::bad_alloc before any sink is called
  void DevStatusChange(std::uint32_t status) override;
  void DevError(HRESULT error) override;
  void SysError(HRESULT error) override;
  void Progress(int percent) override;
  void CfgGroupChange(std::uint32_t group) override;

  SinkList<ComPtr<IUlixInstrEvents>>& list() { return list_; }

 private:
  SinkList<ComPtr<IUlixInstrEvents>> list_;
};

// The connection point of a control. It shares the reference count of the control: a reference to the point keeps the
// control alive.
class EventsPoint final : public IConnectionPoint {
 public:
  EventsPoint(IConnectionPointContainer& owner, EventSinks& sinks);

  STDMETHODIMP QueryInterface(REFIID id, void** object) override;
  STDMETHODIMP_(ULONG) AddRef() override { return owner_.AddRef(); }
  STDMETHODIMP_(ULONG) Release() override { return owner_.Release(); }
  STDMETHODIMP GetConnectionInterface(IID* id) override;
  STDMETHODIMP GetConnectionPointContainer(IConnectionPointContainer** container) override;
  // A sink is called on scan threads, through its vtable. Its QueryInterface must support IUlixInstrEvents.
  STDMETHODIMP Advise(IUnknown* sink, DWORD* cookie) override;
  STDMETHODIMP Unadvise(DWORD cookie) override;
  STDMETHODIMP EnumConnections(IEnumConnections** connections) override;

 private:
  IConnectionPointContainer& owner_;
  // Shared, because an event may still be going to the sinks when the control is destroyed.
  const std::shared_ptr<HostSinks> hosts_;
};

HRESULT EnumThePoint(EventsPoint& point, IEnumConnectionPoints** points);

}  // namespace ulix::controls
