#include "platform/port_binding.h"

#include <utility>

namespace ulix::platform {
namespace {

using OpenFunction = std::function<OpenResult(const PortAddress&)>;

class InProcessBoundPort final : public BoundPort {
 public:
  InProcessBoundPort(OpenFunction open, PortAddress address) : open_(std::move(open)), address_(std::move(address)) {}
  OpenResult Open() override { return open_(address_); }
  const std::string& location() const override { return address_.location; }
  bool IsOfMachine() const override { return false; }

 private:
  OpenFunction open_;
  PortAddress address_;
};

}  // namespace

PortResolver InProcessPorts(OpenFunction open) {
  return [open = std::move(open)](const PortAddress& address) {
    return PortResolution{std::make_shared<InProcessBoundPort>(open, address), {}};
  };
}

}  // namespace ulix::platform
