// Mutex over the standard library's recursive mutex, Semaphore over a POSIX
// semaphore.
#include <semaphore.h>
#include <time.h>

#include <cerrno>
#include <cstdint>
#include <mutex>

#include "rivulet/sync.h"

const std::int32_t Semaphore::MAX_COUNT;

Mutex::Mutex() : mutexHandle(std::make_shared<std::recursive_mutex>()) {}

void Mutex::lock() { mutexHandle->lock(); }

bool Mutex::try_lock() { return mutexHandle->try_lock(); }

void Mutex::unlock() { mutexHandle->unlock(); }

// The semaphore proper: a POSIX semaphore, whose count runs to SEM_VALUE_MAX.
// A post at the maximum fails with EOVERFLOW and is lost; waits with a limit
// measure it on the monotonic clock, so that a change of the wall clock does
// not stretch or cut them.
static_assert(SEM_VALUE_MAX == Semaphore::MAX_COUNT, "the semaphore's maximum is MAX_COUNT");

struct Semaphore::Object {
  explicit Object(unsigned initial) { sem_init(&semaphore, 0, initial); }
  ~Object() { sem_destroy(&semaphore); }
  Object(Object const&) = delete;
  Object& operator=(Object const&) = delete;

  void release() { sem_post(&semaphore); }

  // Takes 1 from the count, waiting up to `milliseconds` for it to be above 0
  // (0xFFFFFFFF: for ever). True when it took one. A signal that interrupts
  // the wait resumes it.
  bool acquire(std::uint32_t milliseconds) {
    if (milliseconds == 0) return sem_trywait(&semaphore) == 0;
    if (milliseconds == 0xFFFFFFFFu) {
      while (sem_wait(&semaphore) != 0)
        if (errno != EINTR) return false;
      return true;
    }
    timespec deadline;
    clock_gettime(CLOCK_MONOTONIC, &deadline);
    deadline.tv_sec += milliseconds / 1000;
    deadline.tv_nsec += static_cast<long>(milliseconds % 1000) * 1000000;
    if (deadline.tv_nsec >= 1000000000) {
      deadline.tv_nsec -= 1000000000;
      ++deadline.tv_sec;
    }
    while (sem_clockwait(&semaphore, CLOCK_MONOTONIC, &deadline) != 0)
      if (errno != EINTR) return false;
    return true;
  }

  sem_t semaphore;
};

Semaphore::Semaphore(int initialCount)
    : semaphoreHandle(std::make_shared<Object>(initialCount > 0 ? static_cast<unsigned>(initialCount) : 0u)),
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
  if (!semaphoreHandle->acquire(static_cast<std::uint32_t>(milliseconds))) return false;
  std::lock_guard<Mutex> hold(countLock);  // a failed wait leaves the mirror alone
  --count;
  return true;
}

void Semaphore::reset(int n) {
  while (try_wait()) {
  }
  for (int i = 0; i < n; ++i) post();
}
