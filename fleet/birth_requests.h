// Decides when a host asks which bench to send its births again.
#pragma once

#include <chrono>
#include <map>
#include <string>
#include <vector>

namespace ulix::fleet {

// Each bench is asked at most once in kMinInterval. An earlier request waits until that time is over.
class BirthRequests {
 public:
  using SteadyTime = std::chrono::steady_clock::time_point;
  static constexpr std::chrono::seconds kMinInterval{10};

  void Want(const std::string& node) { nodes_[node].wanted = true; }
  // The births of this bench have come, so no request is needed any more.
  void Born(const std::string& node);
  // Returns the benches to ask now, and counts them as asked.
  std::vector<std::string> TakeDue(SteadyTime now);
  void Clear() { nodes_.clear(); }

 private:
  struct Node {
    bool wanted = false;
    bool asked = false;
    SteadyTime asked_at{};
  };
  std::map<std::string, Node> nodes_;
};

}  // namespace ulix::fleet
