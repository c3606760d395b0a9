// A control on a form of a container: its place, its picture, its activation and its property pages.
#pragma once

#include <ocidl.h>
#include <olectl.h>

#include <functional>
#include <memory>
#include <string>

#include "controls/module.h"

namespace ulix::controls {

// The properties of the control that its container sees.
struct HostedControl {
  CLSID class_id;
  std::wstring title;  // name of the model, drawn below the icon
  std::string class_name;
  std::function<void()> show_properties;
};

class HostWindow;

// A part of a control. It shares the reference count and the identity of the control. Containers call it on the thread
// of the control only.
class Hosting final : public IOleObject,
                      public IOleInPlaceObject,
                      public IOleInPlaceActiveObject,
                      public IOleControl,
                      public IViewObject2,
                      public ISpecifyPropertyPages {
 public:
  Hosting(IUnknown& owner, HostedControl control);
  ~Hosting();
  Hosting(const Hosting&) = delete;
  Hosting& operator=(const Hosting&) = delete;

  // The interface with the given id; null when this class does not implement it.
  void* Find(REFIID id);

  // The size on a form, in hundredths of a millimetre. It is stored with the configuration.
  SIZEL extent() const { return extent_; }
  void SetExtent(SIZEL extent) { extent_ = extent; }

  // IUnknown
  STDMETHODIMP QueryInterface(REFIID id, void** object) override { return owner_.QueryInterface(id, object); }
  STDMETHODIMP_(ULONG) AddRef() override { return owner_.AddRef(); }
  STDMETHODIMP_(ULONG) Release() override { return owner_.Release(); }

  // IOleObject
  STDMETHODIMP SetClientSite(IOleClientSite* site) override;
  STDMETHODIMP GetClientSite(IOleClientSite** site) override;
  STDMETHODIMP SetHostNames(LPCOLESTR, LPCOLESTR) override { return S_OK; }
  STDMETHODIMP Close(DWORD save) override;
  STDMETHODIMP SetMoniker(DWORD, IMoniker*) override { return E_NOTIMPL; }
  STDMETHODIMP GetMoniker(DWORD, DWORD, IMoniker**) override { return E_NOTIMPL; }
  STDMETHODIMP InitFromData(IDataObject*, BOOL, DWORD) override { return E_NOTIMPL; }
  STDMETHODIMP GetClipboardData(DWORD, IDataObject**) override { return E_NOTIMPL; }
  STDMETHODIMP DoVerb(LONG verb, MSG* message, IOleClientSite* site, LONG index, HWND parent,
                      const RECT* place) override;
  STDMETHODIMP EnumVerbs(IEnumOLEVERB** verbs) override;
  STDMETHODIMP Update() override { return S_OK; }
  STDMETHODIMP IsUpToDate() override { return S_OK; }
  STDMETHODIMP GetUserClassID(CLSID* id) override;
  STDMETHODIMP GetUserType(DWORD form, LPOLESTR* name) override;
  STDMETHODIMP SetExtent(DWORD aspect, SIZEL* extent) override;
  STDMETHODIMP GetExtent(DWORD aspect, SIZEL* extent) override;
  STDMETHODIMP Advise(IAdviseSink* sink, DWORD* cookie) override;
  STDMETHODIMP Unadvise(DWORD cookie) override;
  STDMETHODIMP EnumAdvise(IEnumSTATDATA** advises) override;
  STDMETHODIMP GetMiscStatus(DWORD aspect, DWORD* status) override;
  STDMETHODIMP SetColorScheme(LOGPALETTE*) override { return E_NOTIMPL; }

  // IOleWindow, IOleInPlaceObject, IOleInPlaceActiveObject
  STDMETHODIMP GetWindow(HWND* window) override;
  STDMETHODIMP ContextSensitiveHelp(BOOL) override { return E_NOTIMPL; }
  STDMETHODIMP InPlaceDeactivate() override;
  STDMETHODIMP UIDeactivate() override;
  STDMETHODIMP SetObjectRects(const RECT* place, const RECT* clip) override;
  STDMETHODIMP ReactivateAndUndo() override { return E_NOTIMPL; }
  STDMETHODIMP TranslateAccelerator(MSG*) override { return S_FALSE; }
  STDMETHODIMP OnFrameWindowActivate(BOOL) override { return S_OK; }
  STDMETHODIMP OnDocWindowActivate(BOOL) override { return S_OK; }
  STDMETHODIMP ResizeBorder(const RECT*, IOleInPlaceUIWindow*, BOOL) override { return S_OK; }
  STDMETHODIMP EnableModeless(BOOL) override { return S_OK; }

  // IOleControl
  STDMETHODIMP GetControlInfo(CONTROLINFO*) override { return E_NOTIMPL; }
  STDMETHODIMP OnMnemonic(MSG*) override { return S_OK; }
  STDMETHODIMP OnAmbientPropertyChange(DISPID property) override;
  STDMETHODIMP FreezeEvents(BOOL) override { return S_OK; }

  // IViewObject2
  STDMETHODIMP Draw(DWORD aspect, LONG index, void*, DVTARGETDEVICE*, HDC, HDC canvas, const RECTL* bounds,
                    const RECTL*, BOOL(STDMETHODCALLTYPE*)(ULONG_PTR), ULONG_PTR) override;
  STDMETHODIMP GetColorSet(DWORD, LONG, void*, DVTARGETDEVICE*, HDC, LOGPALETTE**) override { return E_NOTIMPL; }
  STDMETHODIMP Freeze(DWORD, LONG, void*, DWORD*) override { return E_NOTIMPL; }
  STDMETHODIMP Unfreeze(DWORD) override { return E_NOTIMPL; }
  STDMETHODIMP SetAdvise(DWORD aspects, DWORD flags, IAdviseSink* sink) override;
  STDMETHODIMP GetAdvise(DWORD* aspects, DWORD* flags, IAdviseSink** sink) override;
  STDMETHODIMP GetExtent(DWORD aspect, LONG index, DVTARGETDEVICE* device, SIZEL* extent) override;

  // ISpecifyPropertyPages
  STDMETHODIMP GetPages(CAUUID* pages) override;

 private:
  friend class HostWindow;

  HRESULT Activate(HWND parent, const RECT* place, bool with_ui);
  HRESULT MakeWindow(HWND parent, const RECT& place);
  // The background colour of the container, or of the system when the container has none.
  COLORREF Background() const;
  void Paint(HDC canvas, const RECT& place) const;
  void TellViewChanged();
  void OnDoubleClick();

  IUnknown& owner_;
  const HostedControl control_;
  SIZEL extent_{5080, 5080};
  ComPtr<IOleClientSite> site_;
  ComPtr<IOleInPlaceSite> in_place_site_;  // while active
  ComPtr<IOleAdviseHolder> advises_;
  ComPtr<IAdviseSink> view_sink_;
  DWORD view_aspects_ = 0;
  DWORD view_flags_ = 0;
  std::unique_ptr<HostWindow> window_;
  bool ui_active_ = false;
};

}  // namespace ulix::controls
