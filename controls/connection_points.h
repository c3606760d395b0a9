// The outgoing interface of a control: one connection point, for IUlixInstrEvents.
#pragma once

#include <memory>

#include "UlixInstrAx.h"
#include "controls/module.h"
#include "core/events.h"

namespace ulix::controls {

// Hands the events of one control to its hosts' sinks. The arrays of a report are made once, before any sink is called:
// without memory for them no sink hears of it.
class HostSinks final : public EventSink {
 public:
  void MeasReady(std::uint32_t group) override;
  void DataChange(std::uint32_t group, const ChannelArrays& data) override;  // std::bad_alloc before anybody is told
  void DevStatusChange(std::uint32_t status) override;
  void DevError(HRESULT error) override;
  void SysError(HRESULT error) override;
  void Progress(int percent) override;
  void CfgGroupChange(std::uint32_t group) override;

  SinkList<ComPtr<IUlixInstrEvents>>& list() { return list_; }

 private:
  SinkList<ComPtr<IUlixInstrEvents>> list_;
};

// The connection point of a control. Belongs to it and shares its life: whoever holds the point holds the control.
class EventsPoint final : public IConnectionPoint {
 public:
  EventsPoint(IConnectionPointContainer& owner, EventSinks& sinks);

  STDMETHODIMP QueryInterface(REFIID id, void** object) override;
  STDMETHODIMP_(ULONG) AddRef() override { return owner_.AddRef(); }
  STDMETHODIMP_(ULONG) Release() override { return owner_.Release(); }
  STDMETHODIMP GetConnectionInterface(IID* id) override;
  STDMETHODIMP GetConnectionPointContainer(IConnectionPointContainer** container) override;
  // A sink is called on scan threads, through its interface table; it must answer for IUlixInstrEvents itself.
  STDMETHODIMP Advise(IUnknown* sink, DWORD* cookie) override;
  STDMETHODIMP Unadvise(DWORD cookie) override;
  STDMETHODIMP EnumConnections(IEnumConnections** connections) override;

 private:
  IConnectionPointContainer& owner_;
  const std::shared_ptr<HostSinks> hosts_;  // shared with a round of events that goes on when the control has gone
};

HRESULT EnumThePoint(EventsPoint& point, IEnumConnectionPoints** points);

}  // namespace ulix::controls
