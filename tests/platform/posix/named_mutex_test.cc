// The kernel's semaphore behind a named mutex: the order of turns between processes, a holder that is killed, a
// semaphore that is removed or made by another program, and a process that forks. The other processes are children of
// the test.
#include "platform/named_mutex.h"

#include <gtest/gtest.h>
#include <signal.h>
#include <sys/mman.h>
#include <sys/sem.h>
#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <atomic>
#include <functional>
#include <future>
#include <thread>
#include <vector>

#include "platform/posix/named_semaphore.h"
#include "tests/support/long_run.h"
#include "tests/support/unique_name.h"

namespace ulix::platform {
namespace {

using std::chrono::milliseconds;
using std::chrono::steady_clock;

constexpr milliseconds kLong{20'000};
constexpr milliseconds kShort{50};

class ChildOfTest {
 public:
  explicit ChildOfTest(const std::function<bool()>& body) : id_(fork()) {
    if (id_ == 0) _exit(body() ? 0 : 1);
  }
  ~ChildOfTest() {
    if (id_ > 0) Kill();
  }
  ChildOfTest(ChildOfTest&& other) noexcept : id_(std::exchange(other.id_, 0)) {}
  void Kill() {
    kill(id_, SIGKILL);
    Succeeded();
  }
  bool Succeeded() {
    int status = -1;
    waitpid(std::exchange(id_, 0), &status, 0);
    return status == 0;
  }

 private:
  pid_t id_;
};

// Shared memory of the test's processes.
struct Board {
  std::atomic<int> turns;
  std::atomic<int> ready;
  std::atomic<int> worst;
};

class NamedMutexProcesses : public testing::Test {
 protected:
  ~NamedMutexProcesses() override {
    RemoveNamedMutex(name_);
    munmap(board_, sizeof(Board));
  }

  static void Await(const std::function<bool()>& condition) {
    const auto end = steady_clock::now() + kLong;
    while (!condition() && steady_clock::now() < end) std::this_thread::sleep_for(milliseconds(1));
    EXPECT_TRUE(condition());
  }
  // Starts a process that holds the mutex until it is killed.
  ChildOfTest Holder() {
    const int before = board_->ready;
    ChildOfTest child([&] {
      NamedMutex mutex(name_);
      if (!mutex.LockFor(kLong)) return false;
      ++board_->ready;
      for (;;) pause();
    });
    Await([&] { return board_->ready > before; });
    return child;
  }
  bool AnotherProcessGetsIt(milliseconds wait) const {
    return ChildOfTest([&] { return NamedMutex(name_).LockFor(wait); }).Succeeded();
  }

  const std::string name_ = UniqueName("UlixTest");
  Board* board_ = new (mmap(nullptr, sizeof(Board), PROT_READ | PROT_WRITE, MAP_SHARED | MAP_ANONYMOUS, -1, 0)) Board{};
};

// Each process releases the mutex and requests it again at once, as a group does that reads a mute instrument. Between
// a request and its turn every other process has at most one turn, plus one that began before the system saw the
// request.
TEST_F(NamedMutexProcesses, SeveralProcesses_TakeTurnsInOrder) {
  constexpr int kProcesses = 4;
  constexpr int kTurns = 10;
  std::vector<ChildOfTest> children;
  for (int k = 0; k < kProcesses; ++k) {
    children.emplace_back([&] {
      NamedMutex mutex(name_);
      ++board_->ready;
      while (board_->ready < kProcesses) std::this_thread::yield();
      int passed = 0;
      for (int turn = 0; turn < kTurns; ++turn) {
        const int before = board_->turns;
        if (!mutex.LockFor(kLong)) return false;
        passed += board_->turns++ - before;
        std::this_thread::sleep_for(milliseconds(5));
        mutex.Unlock();
      }
      return passed <= kProcesses * kTurns;
    });
  }
  for (ChildOfTest& child : children) EXPECT_TRUE(child.Succeeded());
}

TEST_F(NamedMutexProcesses, WaitingThread_IsNotOvertakenByThePreviousHolder) {
  constexpr int kTurns = 21;
  std::atomic<bool> stop = false;
  std::atomic<int> holds = 0;
  auto greedy = std::async(std::launch::async, [&] {
    for (NamedMutex mutex(name_); !stop; mutex.Unlock()) {
      if (!mutex.LockFor(kLong)) return;
      ++holds;
      std::this_thread::sleep_for(milliseconds(2));
    }
  });
  NamedMutex mutex(name_);
  std::vector<int> waited_for;  // holds of the other thread, by turn
  for (int turn = 0; turn < kTurns; ++turn) {
    while (holds < 3 * turn) std::this_thread::yield();
    const int before = holds;
    EXPECT_TRUE(mutex.LockFor(kLong));
    waited_for.push_back(holds - before);
    mutex.Unlock();
  }
  stop = true;
  // The current hold, and sometimes one that began before the wait. Where the system lets this thread rest before it
  // waits, there are more.
  std::sort(waited_for.begin(), waited_for.end());
  EXPECT_LE(waited_for[kTurns / 2], 2);
}

TEST_F(NamedMutexProcesses, KilledHolder_ReleasesAtOnce) {
  NamedMutex mutex(name_);
  const int rounds = LongRun("ULIX_KILLED_HOLDERS", 20);
  for (int round = 0; round < rounds; ++round) {
    ChildOfTest holder = Holder();
    ASSERT_FALSE(mutex.LockFor(milliseconds(0)));
    auto waiting = std::async(std::launch::async, [&] {
      const bool got = mutex.LockFor(kLong);
      if (got) mutex.Unlock();
      return got;
    });
    holder.Kill();
    ASSERT_TRUE(waiting.get()) << round;
  }
}

TEST_F(NamedMutexProcesses, ForkedChild_DoesNotHoldItsParentsMutex) {
  NamedMutex mutex(name_);
  ASSERT_TRUE(mutex.LockFor(kLong));
  EXPECT_TRUE(ChildOfTest([&] {
                const bool had = mutex.LockFor(milliseconds(0));
                mutex.Unlock();  // has no effect in the child
                return !had;
              }).Succeeded());
  EXPECT_FALSE(AnotherProcessGetsIt(milliseconds(0))) << "the parent still holds it";
  ChildOfTest waits([&] { return mutex.LockFor(kLong); });
  mutex.Unlock();
  EXPECT_TRUE(waits.Succeeded());
  EXPECT_TRUE(mutex.LockFor(kLong)) << "the child held it when it ended";
  mutex.Unlock();
}

TEST_F(NamedMutexProcesses, RemovedSemaphore_IsCreatedAgain) {
  NamedMutex mutex(name_);
  const ChildOfTest holder = Holder();
  auto waiting = std::async(std::launch::async, [&] { return mutex.LockFor(kLong); });
  EXPECT_EQ(waiting.wait_for(kShort), std::future_status::timeout);
  RemoveNamedMutex(name_);
  EXPECT_TRUE(waiting.get());
  EXPECT_FALSE(AnotherProcessGetsIt(milliseconds(0))) << "other processes find the new semaphore";
}

TEST_F(NamedMutexProcesses, LockThatTimesOut_NamesTheHoldingProcess) {
  NamedMutex mutex(name_);
  ASSERT_TRUE(mutex.LockFor(kLong));
  LockProblem problem;
  const bool had = std::async(std::launch::async, [&] { return NamedMutex(name_).LockFor(kShort, &problem); }).get();
  EXPECT_FALSE(had);
  EXPECT_EQ(problem.cause, LockProblem::Cause::kHeld);
  EXPECT_EQ(problem.holder, getpid());
  mutex.Unlock();
}

TEST_F(NamedMutexProcesses, SemaphoreOfAnotherMaker_GivesTheCause) {
  struct Case {
    LockProblem::Cause cause;
    std::function<void(int)> damage;
  };
  const Case cases[] = {{LockProblem::Cause::kHolderGone,
                         [](int id) {
                           sembuf take{.sem_num = 0, .sem_op = 1, .sem_flg = 0};
                           ChildOfTest([&] { return semop(id, &take, 1) == 0; }).Succeeded();
                         }},
                        {LockProblem::Cause::kNoPermission, [](int id) {
                           semid_ds status{};
                           semctl(id, 0, IPC_STAT, &status);
                           status.sem_perm.mode = 0600;
                           semctl(id, 0, IPC_SET, &status);
                         }}};
  for (const Case& c : cases) {
    RemoveNamedMutex(name_);
    const int id = semget(SemaphoreKey(name_), 1, IPC_CREAT | 0666);
    ASSERT_GE(id, 0);
    c.damage(id);
    const bool foreign = c.cause == LockProblem::Cause::kNoPermission;
    if (foreign && getuid() != 0) continue;  // Only root can become another user.
    EXPECT_TRUE(ChildOfTest([&] {
                  if (foreign && setuid(65534) != 0) return false;
                  LockProblem problem;
                  const bool had = NamedMutex(name_).LockFor(kShort, &problem);
                  return !had && problem.cause == c.cause && problem.object.find("semaphore 0x554c") == 0;
                }).Succeeded());
  }
}

}  // namespace
}  // namespace ulix::platform
