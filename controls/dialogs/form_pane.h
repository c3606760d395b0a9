// Shows a form inside a dialog or a property page: the current page, a list of the pages when there are several, and
// below the page the reason of a refusal.
#pragma once

#include <optional>

#include "controls/dialogs/child_window.h"
#include "controls/dialogs/form_view.h"
#include "forms/form.h"

namespace ulix::controls {

class FormPane final : public ChildWindow {
 public:
  // The pane changes `form`, which must outlive the pane.
  FormPane(HWND parent, Form& form, const Metrics& metrics);

  // The size that the form needs without scrolling, up to a maximum.
  static SIZE SizeOf(const Form& form, const Metrics& metrics);
  void Place(const RECT& place);
  // Writes the entries of the current page into the form. The form already has the entries of the other pages.
  void Collect();
  // Goes to the refused field and shows the reason. The reason is shown until another page is chosen or the entries are
  // collected again.
  void Refuse(const Refusal& refusal);
  // The first entry window; null when there is none.
  HWND First() const;
  // Sets the function to call when an entry changes.
  void OnChange(std::function<void()> changed) { changed_ = std::move(changed); }

 private:
  LRESULT Handle(UINT message, WPARAM wparam, LPARAM lparam) override;
  void TurnTo(std::size_t page);
  // Shows the choices that go with what was entered.
  void Adapt();
  void TellReason(const std::string& reason);

  Form& form_;
  const Metrics& metrics_;
  HWND list_ = nullptr;  // null for a single page
  HWND reason_ = nullptr;
  std::optional<FormView> view_;
  std::size_t shown_ = 0;
  std::function<void()> changed_;
};

}  // namespace ulix::controls
