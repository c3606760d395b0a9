// Every form of every model, in both languages and at several screen resolutions: no text is cut, no windows overlap.
#include <gtest/gtest.h>
#include <windows.h>

#include <commctrl.h>

#include <algorithm>
#include <cwctype>
#include <set>
#include <vector>

#include "controls/dialogs/form_dialog.h"
#include "controls/dialogs/form_pane.h"
#include "controls/dialogs/progress_dialog.h"
#include "controls/dialogs/window_text.h"
#include "drivers/catalogue.h"
#include "forms/instrument_forms.h"
#include "resources/texts.h"
#include "tests/automation/dialog_user.h"

namespace ulix::controls {
namespace {

constexpr int kResolutions[] = {96, 120, 144, 192};
constexpr Language kLanguages[] = {Language::kEnglish, Language::kFrench};

std::wstring ClassOf(HWND window) { return client::DialogUser::ClassOf(window); }

bool IsContainer(HWND window) { return ClassOf(window) == L"UlixWindow"; }

RECT PlaceOf(HWND window) {
  RECT place;
  GetWindowRect(window, &place);
  return place;
}

// The windows that the user sees and uses, without the windows inside a list.
void AddLeaves(HWND parent, std::vector<HWND>& leaves) {
  for (HWND child = GetWindow(parent, GW_CHILD); child; child = GetWindow(child, GW_HWNDNEXT)) {
    if (IsContainer(child)) {
      AddLeaves(child, leaves);
    } else {
      leaves.push_back(child);
    }
  }
}

// Measures texts in a window's font.
class Ruler {
 public:
  explicit Ruler(HWND window) : screen_(GetDC(nullptr)) {
    before_ = SelectObject(screen_, reinterpret_cast<HFONT>(SendMessageW(window, WM_GETFONT, 0, 0)));
  }
  ~Ruler() {
    SelectObject(screen_, before_);
    ReleaseDC(nullptr, screen_);
  }
  Ruler(const Ruler&) = delete;
  // The size of a text in lines of at most `width` pixels, or in one line when `width` is 0.
  SIZE Size(const std::wstring& text, int width, UINT flags) const {
    RECT place{0, 0, width, 0};
    DrawTextW(screen_, text.c_str(), -1, &place, DT_CALCRECT | flags | (width > 0 ? DT_WORDBREAK : DT_SINGLELINE));
    return {place.right, place.bottom};
  }

 private:
  HDC screen_;
  HGDIOBJ before_;
};

std::wstring TextOf(HWND window) { return client::DialogUser::TextOf(window); }

std::vector<std::wstring> ItemsOf(HWND list, UINT count, UINT get) {
  std::vector<std::wstring> items;
  for (LRESULT k = 0; k < SendMessageW(list, count, 0, 0); ++k) {
    wchar_t text[512] = L"";
    SendMessageW(list, get, static_cast<WPARAM>(k), reinterpret_cast<LPARAM>(text));
    items.emplace_back(text);
  }
  return items;
}

void ExpectTextFits(HWND window) {
  const Ruler ruler(window);
  const std::wstring kind = ClassOf(window), text = TextOf(window);
  RECT inside;
  GetClientRect(window, &inside);
  const LONG line = ruler.Size(L"X", 0, 0).cy;
  const auto fits = [&](const std::wstring& shown, SIZE size, LONG width) {
    EXPECT_LE(size.cx, width) << testing::PrintToString(shown);
    EXPECT_LE(size.cy, inside.bottom) << testing::PrintToString(shown);
  };
  if (kind == L"Static") {
    const bool literal = GetWindowLongPtrW(window, GWL_STYLE) & SS_NOPREFIX;
    if (!text.empty()) fits(text, ruler.Size(text, inside.right, literal ? DT_NOPREFIX : 0), inside.right);
  } else if (kind == L"Button") {
    const bool tick = (GetWindowLongPtrW(window, GWL_STYLE) & BS_TYPEMASK) == BS_AUTOCHECKBOX;
    fits(text, ruler.Size(text, 0, 0), inside.right - (tick ? 2 * line : line / 2));
  } else if (kind == L"ComboBox") {
    const LONG room = inside.right - GetSystemMetrics(SM_CXVSCROLL) - 6;
    for (const std::wstring& item : ItemsOf(window, CB_GETCOUNT, CB_GETLBTEXT))
      fits(item, {ruler.Size(item, 0, DT_NOPREFIX).cx, line}, room);
    EXPECT_LE(line, inside.bottom);
  } else if (kind == L"ListBox") {
    for (const std::wstring& item : ItemsOf(window, LB_GETCOUNT, LB_GETTEXT))
      fits(item, {ruler.Size(item, 0, DT_NOPREFIX).cx, line}, inside.right);
  } else if (kind == L"Edit") {
    const bool only_shows = GetWindowLongPtrW(window, GWL_STYLE) & ES_READONLY;
    const LONG lines = only_shows ? static_cast<LONG>(SendMessageW(window, EM_GETLINECOUNT, 0, 0)) : 1;
    EXPECT_LE(lines * line, inside.bottom) << testing::PrintToString(text);
  } else if (kind == WC_LISTVIEWW) {
    EXPECT_GE(inside.bottom, 3 * line);
  }
}

// A window may be below its parent's lower edge when the parent scrolls.
void ExpectInsideParent(HWND window) {
  const RECT own = PlaceOf(window), around = PlaceOf(GetParent(window));
  EXPECT_GE(own.left, around.left) << testing::PrintToString(TextOf(window));
  EXPECT_LE(own.right, around.right) << testing::PrintToString(TextOf(window));
  EXPECT_GE(own.top, around.top) << testing::PrintToString(TextOf(window));
  const bool scrolls = GetWindowLongPtrW(GetParent(window), GWL_STYLE) & WS_VSCROLL;
  EXPECT_TRUE(scrolls || own.bottom <= around.bottom) << testing::PrintToString(TextOf(window));
}

// Each underlined letter is used only once.
void ExpectDistinctAccelerators(const std::vector<HWND>& leaves) {
  std::set<wchar_t> letters;
  for (const HWND leaf : leaves) {
    const bool literal = ClassOf(leaf) == L"Static" && (GetWindowLongPtrW(leaf, GWL_STYLE) & SS_NOPREFIX);
    const std::wstring text = ClassOf(leaf) == L"Edit" || literal ? L"" : TextOf(leaf);
    const std::size_t mark = text.find(L'&');
    if (mark == text.npos || mark + 1 == text.size() || text[mark + 1] == L'&') continue;
    EXPECT_TRUE(letters.insert(std::towlower(text[mark + 1])).second) << testing::PrintToString(text);
  }
}

void ExpectReadable(HWND root) {
  std::vector<HWND> leaves;
  AddLeaves(root, leaves);
  ExpectDistinctAccelerators(leaves);
  for (std::size_t k = 0; k < leaves.size(); ++k) {
    ExpectTextFits(leaves[k]);
    ExpectInsideParent(leaves[k]);
    for (std::size_t other = 0; other < k; ++other) {
      const RECT one = PlaceOf(leaves[k]), two = PlaceOf(leaves[other]);
      RECT common;
      EXPECT_FALSE(IntersectRect(&common, &one, &two))
          << testing::PrintToString(TextOf(leaves[k])) << " and " << testing::PrintToString(TextOf(leaves[other]));
    }
  }
}

std::string LongestLabel(const ModelCard& card, Language language) {
  std::string longest;
  for (const SettingRow& row : card.settings)
    longest = std::ranges::max(longest, row.label.In(language), {}, &std::string::size);
  return longest;
}

// Every reason with which a form can refuse an entry, the model's own errors included.
std::vector<std::string> ReasonsOf(const ModelCard& card, Language language) {
  std::vector<std::string> reasons = {
      Localized(TextId::kNotANumber, language), Localized(TextId::kNotAChoice, language),
      Localized(TextId::kPortRange, language),
      Localized(TextId::kOutOfRange, language,
                {LongestLabel(card, language), "12345678901234567890", "-3,4028235E+38", "3,4028235E+38"})};
  for (const ErrorRow& row : card.errors)
    reasons.push_back(Localized(TextId::kNotTaken, language, {row.long_text.In(language)}));
  return reasons;
}

// A form in a window of the size that it asks for.
class ShownForm {
 public:
  ShownForm(Form form, int dpi) : form_(std::move(form)), metrics_(dpi) {
    const SIZE size = FormPane::SizeOf(form_, metrics_);
    frame_ = CreateWindowExW(0, L"STATIC", L"", WS_POPUP | WS_VISIBLE, 0, 0, size.cx, size.cy, nullptr, nullptr,
                             nullptr, nullptr);
    pane_.emplace(frame_, form_, metrics_);
    pane_->Place({0, 0, size.cx, size.cy});
  }
  ~ShownForm() {
    pane_.reset();
    DestroyWindow(frame_);
  }
  ShownForm(const ShownForm&) = delete;
  std::size_t pages() const { return form_.pages.size(); }
  HWND window() const { return pane_->window(); }
  FormPane& pane() { return *pane_; }
  const Form& form() const { return form_; }

 private:
  Form form_;
  const Metrics metrics_;
  HWND frame_;
  std::optional<FormPane> pane_;
};

TEST(Layout, EveryForm_FitsAtEveryResolution) {
  for (const CatalogueEntry& entry : Catalogue()) {
    for (const Language language : kLanguages) {
      Instrument instrument(entry.create({}), {.language = language});
      std::uint32_t group = 0;
      ASSERT_EQ(instrument.CreateGroup(&group), S_OK);
      for (const int dpi : kResolutions) {
        SCOPED_TRACE(std::string(entry.card->model_id) + (language == Language::kFrench ? " fr " : " en ") +
                     std::to_string(dpi));
        for (Form form : {PropertiesForm(instrument, language), GroupForm(instrument, group, language),
                          OutChansForm(instrument, language), AboutForm(instrument, language)}) {
          ShownForm shown(std::move(form), dpi);
          for (std::size_t page = 0; page < shown.pages(); ++page) {
            SCOPED_TRACE(shown.form().pages[page].title);
            shown.pane().Refuse({page, 0, ""});
            ExpectReadable(shown.window());
          }
          if (!shown.form().apply) continue;
          for (const std::string& reason : ReasonsOf(*entry.card, language)) {
            shown.pane().Refuse({0, 0, reason});
            ASSERT_NE(FindWindowExW(shown.window(), nullptr, L"Static", WideOf(reason).c_str()), nullptr) << reason;
            ExpectTextFits(FindWindowExW(shown.window(), nullptr, L"Static", WideOf(reason).c_str()));
          }
          if (testing::Test::HasFailure()) return;
        }
      }
    }
  }
}

TEST(Layout, Dialog_HasRoomForItsButtons) {
  Instrument instrument(FindModel("kelvo10")->create({}));
  for (const Language language : kLanguages) {
    for (const int dpi : kResolutions) {
      SCOPED_TRACE(dpi);
      std::thread person([] {
        client::DialogUser user;
        const HWND dialog = user.Find();
        ASSERT_TRUE(dialog) << "no dialog came";
        ExpectReadable(dialog);
        user.Click(IDCANCEL);
      });
      EXPECT_EQ(AskInWindow(CommForm(instrument, language), language, nullptr, dpi), DialogResult::kCancel);
      person.join();
      ProgressDialog progress(nullptr, L"Progress", language, dpi);
      // The longest text of any progress.
      EXPECT_TRUE(progress.Report(40, L"Lecture du bloc de mesures 123456 sur 123456"));
      ExpectReadable(progress.window());
    }
  }
}

}  // namespace
}  // namespace ulix::controls
