// A semaphore wait for the queues' own use.
#ifndef RIVULET_SYNC_WAIT_H
#define RIVULET_SYNC_WAIT_H

#include <cstdint>

#include "rivulet/sync.h"

// As s.timed_wait(milliseconds), except that it sleeps until the semaphore
// stands at `posts` (or the time is up), and then takes one if there is one: a
// waiter that has work worth waking for only once several posts have come
// sleeps through the first ones. The other posts stay for later waits, and
// `count` follows as for timed_wait.
bool timedWaitForPosts(Semaphore& s, std::uint32_t milliseconds, std::uint32_t posts);

#endif  // RIVULET_SYNC_WAIT_H
