// The pages of a form inside a dialog or a property page: a list to turn them by, where there are several, one page,
// and below it the reason of a refusal.
#pragma once

#include <optional>

#include "controls/dialogs/child_window.h"
#include "controls/dialogs/form_view.h"
#include "forms/form.h"

namespace ulix::controls {

class FormPane final : public ChildWindow {
 public:
  // `form` is the pane's to change and outlives it.
  FormPane(HWND parent, Form& form, const Metrics& metrics);

  // What the form needs without scrolling, within reason.
  static SIZE SizeOf(const Form& form, const Metrics& metrics);
  void Place(const RECT& place);
  // Gives the form the entries of the page that is shown, the only ones that it does not have.
  void Collect();
  // Turns to the field and says why it was refused, until the page is turned or the entries are collected again.
  void Refuse(const Refusal& refusal);
  // The first window to enter something in, null when there is none.
  HWND First() const;
  // Called when something was entered.
  void OnChange(std::function<void()> changed) { changed_ = std::move(changed); }

 private:
  LRESULT Handle(UINT message, WPARAM wparam, LPARAM lparam) override;
  void TurnTo(std::size_t page);
  void TellReason(const std::string& reason);

  Form& form_;
  const Metrics& metrics_;
  HWND list_ = nullptr;  // none for a single page
  HWND reason_ = nullptr;
  std::optional<FormView> view_;
  std::size_t shown_ = 0;
  std::function<void()> changed_;
};

}  // namespace ulix::controls
