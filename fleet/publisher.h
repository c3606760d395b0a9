// A whole bench: its node, its instruments and its connection to the broker.
#pragma once

#include <memory>
#include <string>
#include <vector>

#include <tl/expected.hpp>

#include "fleet/bench_device.h"
#include "fleet/broker_link.h"
#include "fleet/node.h"
#include "fleet/publish_config.h"
#include "platform/append_file.h"

namespace ulix::fleet {

class Publisher {
 public:
  // Opens the store and reads the password. The error is a sentence, for example that another publisher has the store
  // or that a file cannot be used.
  static calibration::Result<std::unique_ptr<Publisher>> Make(const PublishConfig& config, const Log& log);
  ~Publisher() { Stop(); }
  Publisher(const Publisher&) = delete;
  Publisher& operator=(const Publisher&) = delete;

  void Start();
  // Publishes the node's death and disconnects everything.
  void Stop();
  // Whether the connection's thread has made progress since the last call (BrokerLink::IsMoving).
  bool IsMoving() { return link_->IsMoving(); }
  bool online() const { return link_->online(); }

 private:
  Publisher() = default;

  std::unique_ptr<platform::AppendFile> lock_;  // the lock of the store
  std::unique_ptr<Node> node_;
  std::vector<std::unique_ptr<BenchDevice>> devices_;
  std::unique_ptr<BrokerLink> link_;
};

// The folder of the store. If the configuration names none: $STATE_DIRECTORY of a service, else
// $XDG_STATE_HOME/ulix-publish, else ~/.local/state/ulix-publish. In it there is a folder GROUP.NODE, with "%2E" for a
// dot in GROUP.
std::string StoreFolderOf(const PublishConfig& config);

}  // namespace ulix::fleet
