#include "fleet/birth_requests.h"

namespace ulix::fleet {

void BirthRequests::Born(const std::string& node) {
  const auto found = nodes_.find(node);
  if (found != nodes_.end()) found->second.wanted = false;
}

std::vector<std::string> BirthRequests::TakeDue(SteadyTime now) {
  std::vector<std::string> due;
  for (auto& [name, node] : nodes_) {
    if (!node.wanted || (node.asked && now - node.asked_at < kMinInterval)) continue;
    node = {.wanted = false, .asked = true, .asked_at = now};
    due.push_back(name);
  }
  return due;
}

}  // namespace ulix::fleet
