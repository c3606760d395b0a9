// Replaces the function of the compiler's runtime that finds a thread-local variable. The original allocates memory at
// the first use in a thread, and ends the program when there is none. The first use is often an exception, so a thread
// without memory could not even report that. Here the variables of the first 64 threads are in memory that is always
// there.
#include "controls/thread_storage.h"

#include <windows.h>

#include <atomic>
#include <cstddef>
#include <cstdint>
#include <cstdlib>
#include <cstring>

namespace {

// What the compiler writes for each thread-local variable.
struct Variable {
  std::size_t size;
  std::size_t alignment;
  std::atomic<std::uintptr_t> number;  // counted from 1; 0 before the first use in any thread
  const void* initial;                 // null: zeros
};

constexpr std::size_t kMaxVariables = 8;
constexpr std::size_t kMaxBytes = 1024;  // of all variables of a thread
constexpr int kReserved = 64;            // number of threads that need no allocation

// The variables of one thread. None of them has a destructor.
struct Block {
  std::atomic<bool> taken;
  std::size_t used;
  void* places[kMaxVariables];
  alignas(16) std::byte bytes[kMaxBytes];
};

Block reserve[kReserved];
std::atomic<DWORD> thread_slot = TLS_OUT_OF_INDEXES;
std::atomic<std::uintptr_t> variables = 0;

DWORD ThreadSlot() {
  DWORD slot = thread_slot;
  if (slot != TLS_OUT_OF_INDEXES) return slot;
  const DWORD mine = TlsAlloc();
  if (thread_slot.compare_exchange_strong(slot, mine)) return mine;
  TlsFree(mine);
  return slot;
}

Block* TakeBlock() {
  for (Block& block : reserve) {
    if (!block.taken.exchange(true)) return &block;
  }
  return static_cast<Block*>(HeapAlloc(GetProcessHeap(), HEAP_ZERO_MEMORY, sizeof(Block)));
}

Block& OfThisThread() {
  const DWORD error = GetLastError();  // which TlsGetValue clears
  const DWORD slot = ThreadSlot();
  auto* block = static_cast<Block*>(TlsGetValue(slot));
  if (!block) {
    block = TakeBlock();
    if (!block || !TlsSetValue(slot, block)) std::abort();
  }
  SetLastError(error);
  return *block;
}

std::size_t NumberOf(Variable& variable) {
  std::uintptr_t number = variable.number;
  if (number != 0) return number;
  const std::uintptr_t mine = ++variables;
  return variable.number.compare_exchange_strong(number, mine) ? mine : number;
}

void* Place(Block& block, const Variable& variable) {
  const std::size_t alignment = variable.alignment;
  const std::size_t begin = (block.used + alignment - 1) / alignment * alignment;
  if (alignment > alignof(Block) || begin + variable.size > kMaxBytes) std::abort();
  block.used = begin + variable.size;
  void* const place = block.bytes + begin;
  variable.initial ? std::memcpy(place, variable.initial, variable.size) : std::memset(place, 0, variable.size);
  return place;
}

}  // namespace

// The name and the parameter are the compiler's.
extern "C" void* __emutls_get_address(Variable* variable) {  // NOLINT(bugprone-reserved-identifier)
  Block& block = OfThisThread();
  const std::size_t number = NumberOf(*variable);
  if (number > kMaxVariables) std::abort();
  void*& place = block.places[number - 1];
  if (!place) place = Place(block, *variable);
  return place;
}

namespace ulix::controls {

void ReleaseThreadStorage() {
  const DWORD slot = thread_slot;
  auto* const block = slot == TLS_OUT_OF_INDEXES ? nullptr : static_cast<Block*>(TlsGetValue(slot));
  if (!block) return;
  TlsSetValue(slot, nullptr);
  if (block < reserve || block >= reserve + kReserved) {
    HeapFree(GetProcessHeap(), 0, block);
    return;
  }
  block->used = 0;
  std::memset(block->places, 0, sizeof(block->places));
  block->taken = false;
}

void ReleaseThreadSlot() {
  ReleaseThreadStorage();
  const DWORD slot = thread_slot.exchange(TLS_OUT_OF_INDEXES);
  if (slot != TLS_OUT_OF_INDEXES) TlsFree(slot);
}

}  // namespace ulix::controls
