#include "tests/support/failing_memory.h"

#include <atomic>
#include <cstdlib>
#include <new>

namespace {

std::atomic<long> until_failure = 0;  // 0: no allocation fails any more.
std::atomic<long> blocks_held = 0;

bool Fails() {
  long left = until_failure;
  while (left > 0 && !until_failure.compare_exchange_weak(left, left - 1)) {
  }
  return left == 1;
}

}  // namespace

void* operator new(std::size_t size) {
  if (void* const block = operator new(size, std::nothrow)) return block;
  throw std::bad_alloc();
}
void* operator new(std::size_t size, const std::nothrow_t&) noexcept {
  void* const block = Fails() ? nullptr : std::malloc(size > 0 ? size : 1);
  if (block) ++blocks_held;
  return block;
}
void operator delete(void* block) noexcept {
  if (block) --blocks_held;
  std::free(block);
}
void operator delete(void* block, std::size_t) noexcept { operator delete(block); }

namespace ulix {

FailingAllocation::FailingAllocation(long number) { until_failure = number; }
FailingAllocation::~FailingAllocation() { until_failure = 0; }
bool FailingAllocation::Happened() const { return until_failure == 0; }

long BlocksHeld() { return blocks_held; }

}  // namespace ulix
