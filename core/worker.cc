#include "core/worker.h"

#include <atomic>
#include <utility>

namespace ulix {
namespace {

std::atomic<int> threads_alive = 0;

class AliveCount {
 public:
  AliveCount() { ++threads_alive; }
  ~AliveCount() { --threads_alive; }
  AliveCount(const AliveCount&) = delete;
  AliveCount& operator=(const AliveCount&) = delete;
};

}  // namespace

Worker::Worker(std::function<void()> body) {
  auto count = std::make_unique<AliveCount>();
  thread_ = std::thread([body = std::move(body), count = std::move(count)]() mutable {
    body();
    body = nullptr;  // Destroys what the body owns before the thread is no longer counted.
  });
}

int ThreadsAlive() { return threads_alive; }

}  // namespace ulix
