#include "platform/named_mutex.h"

#include <pthread.h>
#include <signal.h>
#include <sys/sem.h>
#include <sys/stat.h>

#include <algorithm>
#include <array>
#include <atomic>
#include <cerrno>
#include <cstdio>
#include <map>
#include <mutex>
#include <thread>

#include "platform/posix/named_semaphore.h"

namespace ulix::platform {
namespace {

using std::chrono::nanoseconds;
using std::chrono::steady_clock;

constexpr int kEverybody = 0666;  // the umask does not apply to semaphores

// How many forks lie between the first process and this one. After a fork the child's thread has the same id as its
// parent's, but does not hold what that thread held.
std::atomic<unsigned> forks = 0;

// One operation of the kernel: waits for 0, then adds 1. The value 0 means free, so a new semaphore needs no
// initialisation, which a killed process could leave undone. SEM_UNDO frees the semaphore when the process ends.
std::array<sembuf, 2> LockOperation() {
  return {sembuf{.sem_num = 0, .sem_op = 0, .sem_flg = 0}, sembuf{.sem_num = 0, .sem_op = 1, .sem_flg = SEM_UNDO}};
}

timespec TimespecOf(nanoseconds time) {
  return {.tv_sec = time.count() / 1'000'000'000, .tv_nsec = time.count() % 1'000'000'000};
}

}  // namespace

key_t SemaphoreKey(std::string_view name) {
  std::uint32_t hash = 2166136261U;  // FNV-1a
  for (const char c : name) hash = (hash ^ static_cast<unsigned char>(c)) * 16777619U;
  return static_cast<key_t>(0x554C0000U | (hash >> 16 ^ (hash & 0xFFFFU)));
}

// One object for each name in a process. Threads wait in the kernel's queue together with those of other processes. The
// kernel gives the semaphore to the first one in the queue.
class NamedMutex::Shared {
 public:
  explicit Shared(std::string name) : name_(std::move(name)), key_(SemaphoreKey(name_)) {}
  Shared(const Shared&) = delete;
  Shared& operator=(const Shared&) = delete;

  bool LockFor(std::chrono::milliseconds wait, LockProblem* problem) {
    if (IsMine()) {
      ++depth_;
      return true;
    }
    if (const int error = Acquire(wait); error != 0) {
      if (problem) *problem = Explain(error);
      return false;
    }
    owner_.load();  // makes the writes of the last owner visible
    depth_ = 1;
    forks_then_ = forks.load();
    owner_ = std::this_thread::get_id();
    return true;
  }

  void Unlock() {
    if (!IsMine() || --depth_ > 0) return;
    owner_ = std::thread::id();
    sembuf unlock{.sem_num = 0, .sem_op = -1, .sem_flg = SEM_UNDO | IPC_NOWAIT};
    // A semaphore that was removed meanwhile needs no unlock.
    while (semop(held_id_, &unlock, 1) != 0 && errno == EINTR) {
    }
  }

  static std::shared_ptr<Shared> Of(const std::string& name) {
    Registry& registry = Registry::Get();
    const std::lock_guard lock(registry.mutex);
    auto shared = registry.known[name].lock();
    if (!shared) registry.known[name] = shared = std::make_shared<Shared>(name);
    return shared;
  }

 private:
  struct Registry {
    std::mutex mutex;
    std::map<std::string, std::weak_ptr<Shared>> known;

    // Never destroyed, because a fork may happen at any time.
    static Registry& Get() {
      static Registry* const registry = [] {
        pthread_atfork([] { Get().mutex.lock(); }, [] { Get().mutex.unlock(); },
                       [] {
                         ++forks;
                         Get().mutex.unlock();
                       });
        return new Registry;
      }();
      return *registry;
    }
  };

  bool IsMine() const { return owner_ == std::this_thread::get_id() && forks_then_ == forks; }

  // 0 when acquired; EAGAIN when the time ran out; else the system's error.
  int Acquire(std::chrono::milliseconds wait) {
    const int error = TryAtOnce();
    if (error != EAGAIN || wait.count() <= 0) return error;
    const auto end = steady_clock::now() + wait;
    for (;;) {
      const int again = WaitUntil(end);
      if (again != EINTR) return again;
    }
  }

  // Most locks are free. They are taken without asking the clock.
  int TryAtOnce() {
    auto operation = LockOperation();
    for (sembuf& part : operation) part.sem_flg |= IPC_NOWAIT;
    return OnSemaphore([&](int id) { return semop(id, operation.data(), operation.size()); });
  }

  int WaitUntil(steady_clock::time_point end) {
    const auto left = std::max(nanoseconds(0), nanoseconds(end - steady_clock::now()));
    const timespec time = TimespecOf(left);
    auto operation = LockOperation();
    return OnSemaphore([&](int id) { return semtimedop(id, operation.data(), operation.size(), &time); });
  }

  // Calls `call` with the semaphore's id. A semaphore that was removed from the system is created again and the call is
  // repeated; the logout of its owner can remove it.
  template <typename Call>
  int OnSemaphore(Call&& call) {
    constexpr int kAttempts = 3;
    int error = 0;
    for (int attempt = 0; attempt < kAttempts; ++attempt) {
      int id = Id();
      if (id < 0) return errno;
      error = call(id) == 0 ? 0 : errno;
      if (error == 0) held_id_ = id;
      if (error != EIDRM && error != EINVAL) return error;
      id_.compare_exchange_strong(id, -1);
    }
    return error;
  }

  // The semaphore's id. Creates the semaphore if there is none. -1 on failure, with errno set.
  int Id() {
    int id = id_;
    if (id < 0) id_ = id = semget(key_, 1, IPC_CREAT | kEverybody);
    return id;
  }

  LockProblem Explain(int error) const {
    using enum LockProblem::Cause;
    LockProblem problem{.os_error = static_cast<std::uint32_t>(error)};
    std::array<char, 32> key{};
    std::snprintf(key.data(), key.size(), "semaphore 0x%08x", static_cast<unsigned>(key_));
    problem.object = std::string(key.data()) + " (" + name_ + ")";
    if (error == EAGAIN) {
      problem.holder = semctl(id_, 0, GETPID);
      const bool gone = problem.holder > 0 && kill(static_cast<pid_t>(problem.holder), 0) != 0 && errno == ESRCH;
      problem.cause = gone ? kHolderGone : kHeld;
    } else {
      problem.cause = error == EACCES || error == EPERM ? kNoPermission
                      : error == EINVAL                 ? kForeign
                      : error == ENOSPC                 ? kNoRoom
                                                        : kSystem;
    }
    return problem;
  }

  const std::string name_;
  const key_t key_;
  std::atomic<int> id_ = -1;
  // The thread that holds the mutex. Other threads compare it with themselves.
  std::atomic<std::thread::id> owner_{};
  std::atomic<unsigned> forks_then_ = 0;
  int depth_ = 0;
  std::atomic<int> held_id_ = -1;
};

NamedMutex::NamedMutex(const std::string& name) : shared_(Shared::Of(name)) {}
NamedMutex::~NamedMutex() = default;
bool NamedMutex::LockFor(std::chrono::milliseconds wait, LockProblem* problem) {
  return shared_->LockFor(wait, problem);
}
void NamedMutex::Unlock() { shared_->Unlock(); }

void RemoveNamedMutex(const std::string& name) {
  const int id = semget(SemaphoreKey(name), 1, 0);
  if (id >= 0) semctl(id, 0, IPC_RMID);
}

}  // namespace ulix::platform
