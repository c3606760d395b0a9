#include "tools/ulix/fleet_watch.h"

#include "tools/ulix/failures.h"
#include "tools/ulix/texts.h"

namespace ulix::cli {

int WatchFleet(const FleetWatchOptions& options) {
  throw OperationFailed(E_NOTIMPL, Shown(TextId::kFleetNotBuilt, options.language));
}

}  // namespace ulix::cli
