#include "tools/live_page/live_page.h"

#include "resources/texts.h"

namespace ulix {

tl::expected<std::unique_ptr<LivePage>, std::string> LivePage::Serve(const LiveAddress&, LivePageOptions options) {
  return tl::unexpected(Utf8Of(TextId::kPageNotBuilt, options.language));
}

}  // namespace ulix
