// The outgoing interface of a control: one connection point, for IUlixInstrEvents.
#pragma once

#include <map>
#include <mutex>

#include "UlixInstrAx.h"
#include "controls/module.h"
#include "core/events.h"

namespace ulix::controls {

// The sinks of one control. Belongs to it and shares its life: whoever holds the point holds the control.
class EventsPoint final : public IConnectionPoint {
 public:
  EventsPoint(IConnectionPointContainer& owner, EventSinks& sinks) : owner_(owner), sinks_(sinks) {}

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
  EventSinks& sinks_;
  std::mutex mutex_;
  std::map<DWORD, ComPtr<IUlixInstrEvents>> connected_;  // guarded by mutex_; for EnumConnections
};

HRESULT EnumThePoint(EventsPoint& point, IEnumConnectionPoints** points);

}  // namespace ulix::controls
