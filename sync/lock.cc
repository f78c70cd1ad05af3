// Mutex and Semaphore over the standard library's locks.
#include <chrono>
#include <condition_variable>
#include <cstdint>
#include <mutex>

#include "rivulet/sync.h"
#include "sync/wait.h"

const std::int32_t Semaphore::MAX_COUNT;

Mutex::Mutex() : mutexHandle(std::make_shared<std::recursive_mutex>()) {}

void Mutex::lock() { mutexHandle->lock(); }

bool Mutex::try_lock() { return mutexHandle->try_lock(); }

void Mutex::unlock() { mutexHandle->unlock(); }

// The semaphore proper: a value from 0 to MAX_COUNT under its own lock, and the
// threads asleep until it rises. A post at the maximum is lost. Waits with a
// limit are measured on the monotonic clock, so that a change of the wall
// clock does not stretch or cut them.
//
// Each sleeper has a record on its own stack, linked here while it sleeps, with
// the value it waits for (1 for a plain wait). A post wakes one sleeper whose
// wish the value covers, leaving aside the units that sleepers woken before
// (and not yet run) will take; so a burst of posts to one sleeper wakes it
// once, where a wake per post would cost a system call each and gain nothing.
// The wake itself is sent after the lock is left, so that the sleeper does not
// wake only to wait for it.
struct Semaphore::Object {
  explicit Object(std::uint32_t initial) : value(initial) {}

  struct Sleeper {
    std::uint32_t want = 1;
    bool woken = false;
    Sleeper* next = nullptr;
  };

  void release() {
    bool wake = false;
    {
      std::lock_guard<std::mutex> hold(lock);
      if (value == static_cast<std::uint32_t>(MAX_COUNT)) return;
      ++value;
      std::int64_t unclaimed = static_cast<std::int64_t>(value) - wokenSleepers;
      for (Sleeper* s = sleepers; s != nullptr; s = s->next) {
        if (!s->woken && s->want <= unclaimed) {
          s->woken = true;
          ++wokenSleepers;
          wake = true;
          break;
        }
      }
    }
    // All sleepers share one condition, and one that came after the lock was
    // left may be the one a single wake reaches: each looks whether the wake
    // was its own. (The queues have one sleeper at most.)
    if (wake) raised.notify_all();
  }

  // Sleeps up to `milliseconds` (0xFFFFFFFF: for ever) until the value reaches
  // `want`, unless it has already; then takes 1 from it if it is above 0. True
  // when it took one. A sleeper woken for a unit that another thread takes
  // first goes back to sleep.
  bool acquire(std::uint32_t milliseconds, std::uint32_t want) {
    std::unique_lock<std::mutex> hold(lock);
    if (value < want && milliseconds != 0) {
      auto deadline = std::chrono::steady_clock::now() + std::chrono::milliseconds(milliseconds);
      Sleeper me;
      me.want = want;
      for (;;) {
        Sleeper** place = &sleepers;  // at the tail: the longest asleep wakes first
        while (*place != nullptr) place = &(*place)->next;
        *place = &me;
        bool late = false;
        while (!me.woken && !late) {
          if (milliseconds == 0xFFFFFFFFu)
            raised.wait(hold);
          else
            late = raised.wait_until(hold, deadline) == std::cv_status::timeout;
        }
        for (place = &sleepers; *place != &me;) place = &(*place)->next;
        *place = me.next;
        if (me.woken) --wokenSleepers;
        if (value > 0 || late) break;
        me.woken = false;
        me.next = nullptr;
      }
    }
    if (value == 0) return false;
    --value;
    return true;
  }

  std::mutex lock;
  std::condition_variable raised;
  std::uint32_t value;
  Sleeper* sleepers = nullptr;      // in the order they fell asleep
  std::uint32_t wokenSleepers = 0;  // woken by a post and not yet run
};

Semaphore::Semaphore(int initialCount)
    : semaphoreHandle(
          std::make_shared<Object>(initialCount > 0 ? static_cast<std::uint32_t>(initialCount) : 0u)),
      count(initialCount > 0 ? initialCount : 0) {}

// Each operation on the semaphore comes first; the mirror follows under
// countLock, which is held for the change alone.
void Semaphore::post() {
  semaphoreHandle->release();
  std::lock_guard<Mutex> hold(countLock);
  ++count;
}

void Semaphore::wait() {
  semaphoreHandle->acquire(0xFFFFFFFFu, 1);
  std::lock_guard<Mutex> hold(countLock);
  --count;
}

bool Semaphore::try_wait() { return timed_wait(0); }

bool Semaphore::timed_wait(std::uint64_t milliseconds) {
  if (!semaphoreHandle->acquire(static_cast<std::uint32_t>(milliseconds), 1)) return false;
  std::lock_guard<Mutex> hold(countLock);  // a failed wait leaves the mirror alone
  --count;
  return true;
}

void Semaphore::reset(int n) {
  while (try_wait()) {
  }
  for (int i = 0; i < n; ++i) post();
}

bool timedWaitForPosts(Semaphore& s, std::uint32_t milliseconds, std::uint32_t posts) {
  if (!s.semaphoreHandle->acquire(milliseconds, posts > 0 ? posts : 1)) return false;
  std::lock_guard<Mutex> hold(s.countLock);
  --s.count;
  return true;
}
