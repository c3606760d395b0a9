#include "controls/hosting.h"

#include <algorithm>

#include "base/trace.h"
#include "controls/dialogs/child_window.h"
#include "controls/dialogs/metrics.h"
#include "controls/dialogs/window_text.h"
#include "controls/enumerator.h"
#include "controls/property_page.h"
#include "controls/variants.h"
#include "platform/user_locale.h"
#include "resources/texts.h"

namespace ulix::controls {
namespace {

constexpr int kIcon = 102;             // the toolbox bitmap
constexpr int kIconShown = 32;         // its size on a form, at 96 dots an inch
constexpr DWORD kMiscStatus = 131473;  // as registered

// One verb in the menu of the container.
struct MenuVerb {
  LONG verb;
  TextId name;
};

struct VerbTraits {
  static OLEVERB Give(const MenuVerb& kept) {
    const std::wstring name = WideOf(Localized(kept.name, platform::UserLanguage()));
    const std::size_t size = (name.size() + 1) * sizeof(wchar_t);
    const auto copy = static_cast<LPOLESTR>(CoTaskMemAlloc(size));
    if (copy) std::copy_n(name.c_str(), name.size() + 1, copy);
    return {kept.verb, copy, 0, OLEVERBATTRIB_ONCONTAINERMENU};
  }
};

}  // namespace

// The window of the control while it is active on a form.
class HostWindow final : public ChildWindow {
 public:
  HostWindow(HWND parent, Hosting& hosting) : ChildWindow(parent, WS_CLIPSIBLINGS | WS_TABSTOP, 0), hosting_(hosting) {}

 private:
  LRESULT Handle(UINT message, WPARAM wparam, LPARAM lparam) override {
    if (message == WM_LBUTTONDBLCLK) hosting_.OnDoubleClick();
    if (message == WM_ERASEBKGND) return 1;
    if (message != WM_PAINT) return ChildWindow::Handle(message, wparam, lparam);
    PAINTSTRUCT paint;
    RECT place;
    const HDC canvas = BeginPaint(window(), &paint);
    GetClientRect(window(), &place);
    hosting_.Paint(canvas, place);
    EndPaint(window(), &paint);
    return 0;
  }

  Hosting& hosting_;
};

Hosting::Hosting(IUnknown& owner, HostedControl control) : owner_(owner), control_(std::move(control)) {}
Hosting::~Hosting() = default;

void* Hosting::Find(REFIID id) {
  const struct {
    const IID& id;
    void* part;
  } parts[] = {
      {IID_IOleObject, static_cast<IOleObject*>(this)},
      {IID_IOleWindow, static_cast<IOleWindow*>(static_cast<IOleInPlaceObject*>(this))},
      {IID_IOleInPlaceObject, static_cast<IOleInPlaceObject*>(this)},
      {IID_IOleInPlaceActiveObject, static_cast<IOleInPlaceActiveObject*>(this)},
      {IID_IOleControl, static_cast<IOleControl*>(this)},
      {IID_IViewObject, static_cast<IViewObject*>(this)},
      {IID_IViewObject2, static_cast<IViewObject2*>(this)},
      {IID_ISpecifyPropertyPages, static_cast<ISpecifyPropertyPages*>(this)},
  };
  const auto part =
      std::find_if(std::begin(parts), std::end(parts), [&](const auto& p) { return IsEqualIID(p.id, id); });
  return part == std::end(parts) ? nullptr : part->part;
}

STDMETHODIMP Hosting::SetClientSite(IOleClientSite* site) {
  site_ = site;
  return S_OK;
}

STDMETHODIMP Hosting::GetClientSite(IOleClientSite** site) { return site ? site_.CopyTo(site) : E_POINTER; }

STDMETHODIMP Hosting::Close(DWORD save) {
  InPlaceDeactivate();
  if (save != OLECLOSE_NOSAVE && site_) site_->SaveObject();
  if (advises_) advises_->SendOnClose();
  return S_OK;
}

STDMETHODIMP Hosting::DoVerb(LONG verb, MSG*, IOleClientSite*, LONG, HWND parent, const RECT* place) {
  switch (verb) {
    case OLEIVERB_PRIMARY:
    case OLEIVERB_SHOW:
    case OLEIVERB_UIACTIVATE:
      return Activate(parent, place, true);
    case OLEIVERB_INPLACEACTIVATE:
      return Activate(parent, place, false);
    case OLEIVERB_HIDE:
      UIDeactivate();
      if (window_) ShowWindow(window_->window(), SW_HIDE);
      return S_OK;
    case OLEIVERB_PROPERTIES:
      control_.show_properties();
      return S_OK;
    default:
      return verb > 0 ? OLEOBJ_S_INVALIDVERB : E_NOTIMPL;
  }
}

STDMETHODIMP Hosting::EnumVerbs(IEnumOLEVERB** verbs) {
  if (!verbs) return E_POINTER;
  constexpr MenuVerb kVerb{OLEIVERB_PROPERTIES, TextId::kPropertiesVerb};
  *verbs = nullptr;
  return Guarded([&] {
    *verbs = new Enumerator<IEnumOLEVERB, OLEVERB, MenuVerb, VerbTraits>({kVerb});
    return S_OK;
  });
}

STDMETHODIMP Hosting::GetUserClassID(CLSID* id) {
  if (!id) return E_POINTER;
  *id = control_.class_id;
  return S_OK;
}

STDMETHODIMP Hosting::GetUserType(DWORD form, LPOLESTR* name) {
  return OleRegGetUserType(control_.class_id, form, name);
}

STDMETHODIMP Hosting::SetExtent(DWORD aspect, SIZEL* extent) {
  if (!extent) return E_POINTER;
  if (aspect != DVASPECT_CONTENT || extent->cx <= 0 || extent->cy <= 0) return E_INVALIDARG;
  extent_ = *extent;
  TellViewChanged();
  return S_OK;
}

STDMETHODIMP Hosting::GetExtent(DWORD aspect, SIZEL* extent) {
  if (!extent) return E_POINTER;
  *extent = extent_;
  return aspect == DVASPECT_CONTENT ? S_OK : DV_E_DVASPECT;
}

STDMETHODIMP Hosting::GetExtent(DWORD aspect, LONG, DVTARGETDEVICE*, SIZEL* extent) {
  return GetExtent(aspect, extent);
}

STDMETHODIMP Hosting::Advise(IAdviseSink* sink, DWORD* cookie) {
  if (!advises_) {
    const HRESULT result = CreateOleAdviseHolder(&advises_);
    if (FAILED(result)) return result;
  }
  return advises_->Advise(sink, cookie);
}

STDMETHODIMP Hosting::Unadvise(DWORD cookie) { return advises_ ? advises_->Unadvise(cookie) : OLE_E_NOCONNECTION; }

STDMETHODIMP Hosting::EnumAdvise(IEnumSTATDATA** advises) {
  if (!advises) return E_POINTER;
  *advises = nullptr;
  return advises_ ? advises_->EnumAdvise(advises) : S_OK;
}

STDMETHODIMP Hosting::GetMiscStatus(DWORD aspect, DWORD* status) {
  if (!status) return E_POINTER;
  *status = aspect == DVASPECT_CONTENT ? kMiscStatus : 0;
  return S_OK;
}

STDMETHODIMP Hosting::GetWindow(HWND* window) {
  if (!window) return E_POINTER;
  *window = window_ ? window_->window() : nullptr;
  return *window ? S_OK : E_FAIL;
}

HRESULT Hosting::MakeWindow(HWND parent, const RECT& place) {
  return Guarded([&] {
    window_ = std::make_unique<HostWindow>(parent, *this);
    return window_->window() ? SetObjectRects(&place, &place) : E_FAIL;
  });
}

HRESULT Hosting::Activate(HWND parent, const RECT* place, bool with_ui) {
  if (!site_) return E_UNEXPECTED;
  if (!window_) {
    HRESULT result = site_.As(&in_place_site_);
    if (SUCCEEDED(result)) result = in_place_site_->CanInPlaceActivate() == S_OK ? S_OK : E_FAIL;
    if (SUCCEEDED(result)) result = in_place_site_->OnInPlaceActivate();
    if (SUCCEEDED(result) && !parent) result = in_place_site_->GetWindow(&parent);
    ComPtr<IOleInPlaceFrame> frame;
    ComPtr<IOleInPlaceUIWindow> document;
    RECT own{}, clip{};
    OLEINPLACEFRAMEINFO info{};
    info.cb = sizeof(info);
    if (SUCCEEDED(result)) result = in_place_site_->GetWindowContext(&frame, &document, &own, &clip, &info);
    if (SUCCEEDED(result)) result = MakeWindow(parent, place ? *place : own);
    if (FAILED(result)) {
      window_.reset();
      in_place_site_.Reset();
      return result;
    }
    site_->ShowObject();
  }
  ShowWindow(window_->window(), SW_SHOW);
  if (with_ui && !ui_active_) {
    ui_active_ = true;
    in_place_site_->OnUIActivate();
    SetFocus(window_->window());
  }
  return S_OK;
}

STDMETHODIMP Hosting::UIDeactivate() {
  if (ui_active_ && in_place_site_) in_place_site_->OnUIDeactivate(FALSE);
  ui_active_ = false;
  return S_OK;
}

STDMETHODIMP Hosting::InPlaceDeactivate() {
  UIDeactivate();
  window_.reset();
  if (in_place_site_) in_place_site_->OnInPlaceDeactivate();
  in_place_site_.Reset();
  return S_OK;
}

STDMETHODIMP Hosting::SetObjectRects(const RECT* place, const RECT*) {
  if (!place) return E_POINTER;
  if (!window_) return E_UNEXPECTED;
  MoveWindow(window_->window(), place->left, place->top, place->right - place->left, place->bottom - place->top, TRUE);
  return S_OK;
}

STDMETHODIMP Hosting::OnAmbientPropertyChange(DISPID property) {
  if (property == DISPID_AMBIENT_BACKCOLOR || property == DISPID_UNKNOWN) TellViewChanged();
  return S_OK;
}

STDMETHODIMP Hosting::Draw(DWORD aspect, LONG, void*, DVTARGETDEVICE*, HDC, HDC canvas, const RECTL* bounds,
                           const RECTL*, BOOL(STDMETHODCALLTYPE*)(ULONG_PTR), ULONG_PTR) {
  if (!bounds || !canvas) return E_INVALIDARG;
  if (aspect != DVASPECT_CONTENT) return DV_E_DVASPECT;
  return Guarded([&] {
    Paint(canvas, {bounds->left, bounds->top, bounds->right, bounds->bottom});
    return S_OK;
  });
}

COLORREF Hosting::Background() const {
  ComPtr<IDispatch> ambient;
  OwnedVariant colour;
  DISPPARAMS none{};
  COLORREF read = GetSysColor(COLOR_BTNFACE);
  if (site_ && SUCCEEDED(site_.As(&ambient)) &&
      SUCCEEDED(ambient->Invoke(DISPID_AMBIENT_BACKCOLOR, IID_NULL, LOCALE_USER_DEFAULT, DISPATCH_PROPERTYGET, &none,
                                colour.get(), nullptr, nullptr)) &&
      SUCCEEDED(VariantChangeType(colour.get(), colour.get(), 0, VT_I4))) {
    OleTranslateColor(static_cast<OLE_COLOR>(V_I4(colour.get())), nullptr, &read);
  }
  return read;
}

// Draws a frame with the icon in the middle and the model's name below it.
void Hosting::Paint(HDC canvas, const RECT& place) const {
  const HBRUSH background = CreateSolidBrush(Background());
  FillRect(canvas, &place, background);
  DeleteObject(background);
  RECT frame = place;
  DrawEdge(canvas, &frame, BDR_SUNKENOUTER, BF_RECT);
  const Metrics metrics;
  const int side = MulDiv(kIconShown, GetDeviceCaps(canvas, LOGPIXELSX), 96);
  const int middle = (place.left + place.right) / 2, centre = (place.top + place.bottom) / 2;
  const int top = centre - (side + metrics.Down(1.3)) / 2;
  const HBITMAP icon = LoadBitmapW(ModuleInstance(), MAKEINTRESOURCEW(kIcon));
  BITMAP size{};
  GetObjectW(icon, sizeof(size), &size);
  const HDC memory = CreateCompatibleDC(canvas);
  const HGDIOBJ bitmap = SelectObject(memory, icon);
  // The colour of the icon's corner is its background colour, and is drawn transparent.
  GdiTransparentBlt(canvas, middle - side / 2, top, side, side, memory, 0, 0, size.bmWidth, size.bmHeight,
                    GetPixel(memory, 0, 0));
  SelectObject(memory, bitmap);
  DeleteDC(memory);
  DeleteObject(icon);
  RECT text{place.left, top + side + metrics.Down(0.3), place.right, place.bottom};
  const HGDIOBJ font = SelectObject(canvas, metrics.font());
  SetBkMode(canvas, TRANSPARENT);
  SetTextColor(canvas, GetSysColor(COLOR_BTNTEXT));
  DrawTextW(canvas, control_.title.c_str(), -1, &text,
            DT_CENTER | DT_TOP | DT_NOPREFIX | DT_SINGLELINE | DT_END_ELLIPSIS);
  SelectObject(canvas, font);
}

void Hosting::TellViewChanged() {
  if (window_) InvalidateRect(window_->window(), nullptr, TRUE);
  if (view_sink_) view_sink_->OnViewChange(DVASPECT_CONTENT, -1);
  if (view_flags_ & ADVF_ONLYONCE) view_sink_.Reset();
}

STDMETHODIMP Hosting::SetAdvise(DWORD aspects, DWORD flags, IAdviseSink* sink) {
  view_sink_ = sink;
  view_aspects_ = aspects;
  view_flags_ = flags;
  if (flags & ADVF_PRIMEFIRST) TellViewChanged();
  return S_OK;
}

STDMETHODIMP Hosting::GetAdvise(DWORD* aspects, DWORD* flags, IAdviseSink** sink) {
  if (aspects) *aspects = view_aspects_;
  if (flags) *flags = view_flags_;
  return sink ? view_sink_.CopyTo(sink) : S_OK;
}

STDMETHODIMP Hosting::GetPages(CAUUID* pages) {
  if (!pages) return E_POINTER;
  const std::span<const PageRow> table = PageTable();
  pages->pElems = static_cast<GUID*>(CoTaskMemAlloc(table.size() * sizeof(GUID)));
  pages->cElems = pages->pElems ? static_cast<ULONG>(table.size()) : 0;
  std::transform(table.begin(), table.begin() + pages->cElems, pages->pElems,
                 [](const PageRow& page) { return page.class_id; });
  return pages->pElems ? S_OK : E_OUTOFMEMORY;
}

void Hosting::OnDoubleClick() { TraceLine("CUlixInstr" + control_.class_name + "Ctl::OnLButtonDblClk()\n"); }

}  // namespace ulix::controls
