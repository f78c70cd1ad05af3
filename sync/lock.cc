// Mutex and Semaphore over the standard library's locks.
#include <chrono>
#include <condition_variable>
#include <cstdint>
#include <mutex>

#include "rivulet/sync.h"

const std::int32_t Semaphore::MAX_COUNT;

Mutex::Mutex() : mutexHandle(std::make_shared<std::recursive_mutex>()) {}

void Mutex::lock() { mutexHandle->lock(); }

bool Mutex::try_lock() { return mutexHandle->try_lock(); }

void Mutex::unlock() { mutexHandle->unlock(); }

// The semaphore proper: a value from 0 to MAX_COUNT under its own lock, and a
// condition for the threads that wait for it to rise above 0.
struct Semaphore::Object {
  explicit Object(std::int32_t initial) : value(initial) {}

  void release() {
    bool wake;
    {
      std::lock_guard<std::mutex> hold(lock);
      if (value < MAX_COUNT) ++value;  // a post at the maximum is lost
      wake = waiters > 0;
    }
    if (wake) raised.notify_one();
  }

  // Takes 1 from the value, waiting up to `milliseconds` for it to be above 0
  // (0xFFFFFFFF: for ever). True when it took one.
  bool acquire(std::uint32_t milliseconds) {
    std::unique_lock<std::mutex> hold(lock);
    if (value == 0) {
      if (milliseconds == 0) return false;
      auto positive = [this] { return value > 0; };
      ++waiters;
      bool got = true;
      if (milliseconds == 0xFFFFFFFFu)
        raised.wait(hold, positive);
      else
        got = raised.wait_for(hold, std::chrono::milliseconds(milliseconds), positive);
      --waiters;
      if (!got) return false;
    }
    --value;
    return true;
  }

  std::mutex lock;
  std::condition_variable raised;
  std::int32_t value;
  unsigned waiters = 0;
};

Semaphore::Semaphore(int initialCount)
    : semaphoreHandle(std::make_shared<Object>(initialCount > 0 ? initialCount : 0)),
      count(initialCount > 0 ? initialCount : 0) {}

// Each operation on the semaphore comes first; the mirror follows under
// countLock, which is held for the change alone.
void Semaphore::post() {
  semaphoreHandle->release();
  std::lock_guard<Mutex> hold(countLock);
  ++count;
}

void Semaphore::wait() {
  semaphoreHandle->acquire(0xFFFFFFFFu);
  std::lock_guard<Mutex> hold(countLock);
  --count;
}

bool Semaphore::try_wait() { return timed_wait(0); }

bool Semaphore::timed_wait(std::uint64_t milliseconds) {
  bool got = semaphoreHandle->acquire(static_cast<std::uint32_t>(milliseconds));
  std::lock_guard<Mutex> hold(countLock);
  if (got) --count;
  return got;
}

void Semaphore::reset(int n) {
  while (try_wait()) {
  }
  for (int i = 0; i < n; ++i) post();
}
