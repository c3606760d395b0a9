// A driver without an instrument, so that the measurement includes no driver.
#pragma once

#include "drivers/driver.h"
#include "tests/support/plain_link.h"

namespace ulix::bench {

class PlainDriver : public Driver {
 public:
  explicit PlainDriver(const ModelCard& card) : Driver(card, PlainWire()) {}

 private:
  Expected<bool> StartSession(Conversation&) override { return true; }
};

}  // namespace ulix::bench
