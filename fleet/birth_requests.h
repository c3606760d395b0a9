// When a host asks which bench for its births.
#pragma once

#include <chrono>
#include <map>
#include <string>
#include <vector>

namespace ulix::fleet {

// Each bench is asked at most once in kMinInterval. One that is to be asked sooner is asked when that time is over.
class BirthRequests {
 public:
  using SteadyTime = std::chrono::steady_clock::time_point;
  static constexpr std::chrono::seconds kMinInterval{10};

  void Want(const std::string& node) { nodes_[node].wanted = true; }
  // Its births came: those that were missed are known now.
  void Born(const std::string& node);
  // The benches to ask now. They count as asked.
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
