// The HTML of a live page.
#pragma once

#include <string>

#include "tools/live_page/live_page.h"

namespace ulix {

// The page with its style and its script. It loads nothing but the events of its own server.
std::string PageText(const LivePageOptions& options);

}  // namespace ulix
