// A form in a modal window.
#pragma once

#include <windows.h>

#include "base/text.h"
#include "core/user_interface.h"
#include "forms/form.h"

namespace ulix::controls {

// Asks until the entries are taken or the person gives up. A form that takes nothing has one button. Cancel where no
// window can be shown. `owner` may be null; a resolution of 0 is the screen's.
DialogResult AskInWindow(Form form, Language language, HWND owner, int dpi = 0);

}  // namespace ulix::controls
