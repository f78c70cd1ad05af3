// Queues with their protected state opened for the tests, and a stopwatch.
#ifndef RIVULET_TESTS_SYNC_INSPECT_H
#define RIVULET_TESTS_SYNC_INSPECT_H

#include <chrono>

#include "rivulet/sync.h"

struct VideoQueue : MMVideoQueue {
  using MMVideoQueue::MMVideoQueue;
  using MMVideoQueue::framePool;
  using MMVideoQueue::framesAvailable;
  using MMVideoQueue::spaceAvailable;
};

struct AudioQueue : MMAudioQueue {
  using MMAudioQueue::MMAudioQueue;
  using MMAudioQueue::framesAvailable;
  using MMAudioQueue::spaceAvailable;
};

// Milliseconds that `call` took.
template <typename Call>
double elapsedMs(Call call) {
  auto start = std::chrono::steady_clock::now();
  call();
  return std::chrono::duration<double, std::milli>(std::chrono::steady_clock::now() - start)
      .count();
}

#endif  // RIVULET_TESTS_SYNC_INSPECT_H
