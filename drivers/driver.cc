#include "drivers/driver.h"

namespace ulix {

bool Driver::IsBusy() const {
  const std::unique_lock exchange(exchange_mutex_, std::try_to_lock);
  return !exchange.owns_lock();
}

}  // namespace ulix
