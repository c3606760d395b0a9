#include "controls/property_page.h"

#include <algorithm>
#include <array>
#include <optional>

#include "controls/control.h"
#include "controls/dialogs/form_pane.h"
#include "controls/dialogs/window_text.h"
#include "controls/single_interface.h"
#include "forms/instrument_forms.h"
#include "platform/user_locale.h"

namespace ulix::controls {
namespace {

// The class ids of the pages are fixed; the id of the page about the instrument is part of the published interface.
const GUID kAboutPageId = {0x9861775B, 0x4481, 0x4564, {0x84, 0x6C, 0xB1, 0x1A, 0x70, 0xFB, 0x73, 0xE4}};
const GUID kCommunicationPageId = {0x6C1E52E0, 0x9B1B, 0x4B53, {0x8F, 0x0B, 0x5B, 0x0C, 0x2A, 0x7D, 0x00, 0x10}};
const GUID kConfigurationPageId = {0x6C1E52E0, 0x9B1B, 0x4B53, {0x8F, 0x0B, 0x5B, 0x0C, 0x2A, 0x7D, 0x00, 0x11}};

const std::array kPages = {
    PageRow{kCommunicationPageId, L"UlixInstr Communication Page", TextId::kCommunication, CommForm},
    PageRow{kConfigurationPageId, L"UlixInstr Configuration Page", TextId::kConfiguration, CfgForm},
    PageRow{kAboutPageId, L"AboutPage Class", TextId::kAbout, AboutForm},
};

// A page that shows one form of the first control it gets.
class PropertyPage final : public SingleInterface<IPropertyPage> {
 public:
  explicit PropertyPage(const PageRow& row) : row_(row), language_(platform::UserLanguage()) {}

  STDMETHODIMP SetPageSite(IPropertyPageSite* site) override {
    site_ = site;
    return S_OK;
  }

  STDMETHODIMP Activate(HWND parent, LPCRECT place, BOOL) override {
    if (!place) return E_POINTER;
    if (!control_) return E_UNEXPECTED;
    parent_ = parent;
    place_ = *place;
    show_ = SW_SHOW;
    return Guarded([this] { return Fill(); });
  }
  STDMETHODIMP Deactivate() override {
    pane_.reset();
    parent_ = nullptr;
    return S_OK;
  }

  STDMETHODIMP GetPageInfo(PROPPAGEINFO* info) override {
    if (!info) return E_POINTER;
    // The frame asks for the size before the page has a control, so the page returns a typical size.
    info->size = {metrics_.Across(96), metrics_.Down(24)};
    info->pszTitle = nullptr;
    info->pszDocString = nullptr;
    info->pszHelpFile = nullptr;
    info->dwHelpContext = 0;
    return Guarded([&] {
      const std::wstring title = WideOf(Localized(row_.title, language_));
      info->pszTitle = static_cast<LPOLESTR>(CoTaskMemAlloc((title.size() + 1) * sizeof(wchar_t)));
      if (info->pszTitle) std::copy_n(title.c_str(), title.size() + 1, info->pszTitle);
      return info->pszTitle ? S_OK : E_OUTOFMEMORY;
    });
  }

  // An active page is rebuilt for the new control. Without a control it is empty.
  STDMETHODIMP SetObjects(ULONG count, IUnknown** objects) override {
    Empty();
    control_.Reset();
    if (count == 0) return S_OK;
    if (!objects || !objects[0]) return E_POINTER;
    const HRESULT result =
        objects[0]->QueryInterface(kInstrumentAccessId, reinterpret_cast<void**>(control_.GetAddressOf()));
    return SUCCEEDED(result) && parent_ ? Guarded([this] { return Fill(); }) : result;
  }

  STDMETHODIMP Show(UINT command) override {
    if (!parent_) return E_UNEXPECTED;
    show_ = static_cast<int>(command);
    if (pane_) ShowWindow(pane_->window(), show_);
    return S_OK;
  }
  STDMETHODIMP Move(LPCRECT place) override {
    if (!place) return E_POINTER;
    if (!parent_) return E_UNEXPECTED;
    place_ = *place;
    return Guarded([this] {
      if (pane_) PutInPlace();
      return S_OK;
    });
  }

  STDMETHODIMP IsPageDirty() override { return dirty_ ? S_OK : S_FALSE; }
  STDMETHODIMP Apply() override {
    if (!pane_ || !form_.apply) return S_OK;
    return Guarded([this] {
      pane_->Collect();
      if (const auto refusal = form_.apply(form_)) {
        pane_->Refuse(*refusal);
        return E_INVALIDARG;
      }
      SetDirty(false);
      return S_OK;
    });
  }

  STDMETHODIMP Help(LPCOLESTR) override { return E_NOTIMPL; }
  STDMETHODIMP TranslateAccelerator(MSG* message) override {
    if (!message) return E_POINTER;
    return pane_ && IsDialogMessageW(pane_->window(), message) ? S_OK : S_FALSE;
  }

 private:
  // Removes the form together with the control to which it belongs.
  void Empty() {
    pane_.reset();
    form_ = {};
    SetDirty(false);
  }
  HRESULT Fill() {
    Empty();
    form_ = row_.make(control_->Access(), language_);
    pane_.emplace(parent_, form_, metrics_);
    pane_->OnChange([this] { SetDirty(true); });
    PutInPlace();
    ShowWindow(pane_->window(), show_);
    return S_OK;
  }
  void PutInPlace() {
    const int margin = metrics_.Across(1);
    pane_->Place({place_.left + margin, place_.top + margin, place_.right - margin, place_.bottom - margin});
  }
  void SetDirty(bool dirty) {
    if (dirty_ == dirty) return;
    dirty_ = dirty;
    if (site_) site_->OnStatusChange(dirty ? PROPPAGESTATUS_DIRTY : 0);
  }

  const PageRow& row_;
  const Language language_;
  const Metrics metrics_;
  ComPtr<IPropertyPageSite> site_;
  ComPtr<IInstrumentAccess> control_;
  HWND parent_ = nullptr;  // null while the page is not active
  RECT place_{};
  int show_ = SW_SHOW;
  Form form_;
  std::optional<FormPane> pane_;
  bool dirty_ = false;
};

}  // namespace

std::span<const PageRow> PageTable() { return kPages; }

const PageRow* FindPage(REFGUID class_id) {
  const auto row = std::find_if(kPages.begin(), kPages.end(),
                                [&](const PageRow& page) { return IsEqualGUID(page.class_id, class_id); });
  return row == kPages.end() ? nullptr : &*row;
}

IUnknown* NewPropertyPage(const PageRow& row) { return new PropertyPage(row); }

}  // namespace ulix::controls
