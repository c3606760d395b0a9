#include "platform/named_mutex.h"

#include <fcntl.h>
#include <pthread.h>
#include <sys/mman.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <condition_variable>
#include <cstdint>
#include <deque>
#include <map>
#include <mutex>
#include <optional>
#include <thread>

#include "platform/posix/file_descriptor.h"

namespace ulix::platform {
namespace {

using std::chrono::steady_clock;

// What the shared page holds. Never laid out differently under one magic number.
struct Page {
  std::uint64_t magic;
  pthread_mutex_t mutex;
};
constexpr std::uint64_t kMagic = 0x554C49584D545831;  // "ULIXMTX1"

constexpr const char* kSharedFolder = "/dev/shm";

timespec MonotonicTimespec(steady_clock::time_point at) {
  const std::int64_t ns = std::chrono::nanoseconds(at.time_since_epoch()).count();
  return {.tv_sec = ns / 1'000'000'000, .tv_nsec = ns % 1'000'000'000};
}

Page* MapPage(int fd) {
  void* page = mmap(nullptr, sizeof(Page), PROT_READ | PROT_WRITE, MAP_SHARED, fd, 0);
  return page == MAP_FAILED ? nullptr : static_cast<Page*>(page);
}

bool InitialisePage(int fd) {
  if (fchmod(fd, 0666) != 0 || ftruncate(fd, sizeof(Page)) != 0) return false;
  Page* page = MapPage(fd);
  if (!page) return false;
  pthread_mutexattr_t kind;
  pthread_mutexattr_init(&kind);
  pthread_mutexattr_setpshared(&kind, PTHREAD_PROCESS_SHARED);
  pthread_mutexattr_setrobust(&kind, PTHREAD_MUTEX_ROBUST);
  const bool made = pthread_mutex_init(&page->mutex, &kind) == 0;
  pthread_mutexattr_destroy(&kind);
  page->magic = kMagic;
  munmap(page, sizeof(Page));
  return made;
}

// Gives the name to a page that is complete: whoever finds the name finds a mutex behind it.
void CreatePage(const std::string& path) {
  const FileDescriptor fd(open(kSharedFolder, O_TMPFILE | O_RDWR | O_CLOEXEC, 0666));
  if (!fd.valid() || !InitialisePage(fd.get())) return;
  const std::string nameless = "/proc/self/fd/" + std::to_string(fd.get());
  linkat(AT_FDCWD, nameless.c_str(), AT_FDCWD, path.c_str(), AT_SYMLINK_FOLLOW);  // another process may have been first
}

Page* OpenPage(const std::string& name) {
  const std::string path = std::string(kSharedFolder) + "/ulix." + name;
  FileDescriptor fd(open(path.c_str(), O_RDWR | O_CLOEXEC | O_NOFOLLOW));
  if (!fd.valid()) {
    CreatePage(path);
    fd = FileDescriptor(open(path.c_str(), O_RDWR | O_CLOEXEC | O_NOFOLLOW));
  }
  struct stat status {};
  if (!fd.valid() || fstat(fd.get(), &status) != 0 || status.st_size != sizeof(Page)) return nullptr;
  Page* page = MapPage(fd.get());
  if (page && page->magic == kMagic) return page;
  if (page) munmap(page, sizeof(Page));
  return nullptr;
}

}  // namespace

// One per name and process. Threads of the process take turns here first, so that the shared mutex is only ever
// contended between processes.
class NamedMutex::Shared {
 public:
  explicit Shared(const std::string& name) : page_(OpenPage(name)) {}
  ~Shared() {
    if (page_) munmap(page_, sizeof(Page));
  }
  Shared(const Shared&) = delete;
  Shared& operator=(const Shared&) = delete;

  // Most holds are had at once: neither the clock is asked for them nor a waiter told. Threads that wait get it in the
  // order in which they came: who gives it back and wants it again comes last.
  bool LockFor(std::chrono::milliseconds wait) {
    if (!page_) return false;
    const auto self = std::this_thread::get_id();
    std::unique_lock lock(mutex_);
    if (depth_ > 0 && owner_ == self) {
      ++depth_;
      return true;
    }
    std::optional<steady_clock::time_point> deadline;
    if (depth_ > 0 || !queue_.empty()) {
      deadline = steady_clock::now() + wait;
      if (!AwaitTurn(lock, *deadline)) return false;
    }
    owner_ = self;
    depth_ = 1;
    int result = pthread_mutex_trylock(&page_->mutex);
    if (result == EBUSY) {
      lock.unlock();
      result = TryForAMoment();
    }
    if (result == EBUSY) {
      const timespec until = MonotonicTimespec(deadline.value_or(steady_clock::now() + wait));
      result = pthread_mutex_clocklock(&page_->mutex, CLOCK_MONOTONIC, &until);
    }
    if (!lock.owns_lock()) lock.lock();
    if (result == EOWNERDEAD) result = pthread_mutex_consistent(&page_->mutex);  // its holder died
    if (result == 0) return true;
    depth_ = 0;
    TellNext();
    return false;
  }

  void Unlock() {
    const std::lock_guard lock(mutex_);
    if (--depth_ > 0) return;
    pthread_mutex_unlock(&page_->mutex);
    TellNext();
  }

  static std::shared_ptr<Shared> Of(const std::string& name) {
    static std::mutex mutex;
    static std::map<std::string, std::weak_ptr<Shared>> known;
    const std::lock_guard lock(mutex);
    auto shared = known[name].lock();
    if (!shared) known[name] = shared = std::make_shared<Shared>(name);
    return shared;
  }

 private:
  // Another process that holds it for microseconds only is not slept for: waking up takes longer, and with a sleeper
  // each of its holds would end in a call of the system.
  int TryForAMoment() {
    constexpr int kTries = 100;
    int result = EBUSY;
    for (int k = 0; result == EBUSY && k < kTries; ++k) {
      std::this_thread::yield();
      result = pthread_mutex_trylock(&page_->mutex);
    }
    return result;
  }

  bool AwaitTurn(std::unique_lock<std::mutex>& lock, steady_clock::time_point deadline) {
    std::condition_variable turn;
    queue_.push_back(&turn);
    const bool come = turn.wait_until(lock, deadline, [&] { return depth_ == 0 && queue_.front() == &turn; });
    std::erase(queue_, &turn);
    if (!come) TellNext();  // who was first may have been told, and be leaving
    return come;
  }

  // With mutex_ held, as long as which the first of those who wait is there.
  void TellNext() {
    if (depth_ == 0 && !queue_.empty()) queue_.front()->notify_one();
  }

  Page* page_;
  std::mutex mutex_;
  // Guarded by mutex_.
  std::thread::id owner_;
  int depth_ = 0;
  std::deque<std::condition_variable*> queue_;  // one for each thread of this process that waits
};

NamedMutex::NamedMutex(const std::string& name) : shared_(Shared::Of(name)) {}
NamedMutex::~NamedMutex() = default;
bool NamedMutex::LockFor(std::chrono::milliseconds wait) { return shared_->LockFor(wait); }
void NamedMutex::Unlock() { shared_->Unlock(); }

}  // namespace ulix::platform
