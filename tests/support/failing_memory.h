// Makes the n-th allocation by operator new fail once, on any thread.
#pragma once

namespace ulix {

// While it lives, the allocation of that number, counted from 1, fails. Earlier and later ones succeed.
class FailingAllocation {
 public:
  explicit FailingAllocation(long number);
  ~FailingAllocation();
  FailingAllocation(const FailingAllocation&) = delete;
  FailingAllocation& operator=(const FailingAllocation&) = delete;
  // Whether the allocation failed. False when fewer allocations were made.
  bool Happened() const;
};

// How many blocks from operator new are not deleted yet.
long BlocksHeld();

}  // namespace ulix
