// A form in a modal window.
#pragma once

#include <windows.h>

#include "base/text.h"
#include "core/user_interface.h"
#include "forms/form.h"

namespace ulix::controls {

// Shows the form until its entries are accepted or the user cancels. A form without entries has one button. Returns
// Cancel when no window can be shown. `owner` may be null. A resolution of 0 stands for the resolution of the screen.
DialogResult AskInWindow(Form form, Language language, HWND owner, int dpi = 0);

}  // namespace ulix::controls
