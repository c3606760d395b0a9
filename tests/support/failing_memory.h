// Memory that runs out at the n-th allocation by operator new, of whatever thread, once.
#pragma once

namespace ulix {

// While it lives, the allocation of that number fails, from 1; earlier and later ones do not.
class FailingAllocation {
 public:
  explicit FailingAllocation(long number);
  ~FailingAllocation();
  FailingAllocation(const FailingAllocation&) = delete;
  FailingAllocation& operator=(const FailingAllocation&) = delete;
  // False when fewer allocations were made.
  bool Happened() const;
};

// Blocks from operator new that nobody has let go of yet.
long BlocksHeld();

}  // namespace ulix
