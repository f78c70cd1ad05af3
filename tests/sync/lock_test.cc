// Mutex and Semaphore: counts, shared copies, waits across threads.
#include <gtest/gtest.h>

#include <atomic>
#include <thread>
#include <vector>

#include "inspect.h"
#include "rivulet/sync.h"

namespace {

// Takes everything the semaphore has, returning how many polls succeeded.
int drain(Semaphore& s) {
  int n = 0;
  while (s.try_wait()) ++n;
  return n;
}

TEST(Semaphore, CountsThroughPostsWaitsAndResets) {
  struct Case {
    int initial, posts, resetTo;  // resetTo < -100: no reset
    int countBefore, available;
  };
  const Case cases[] = {
      {0, 0, -1000, 0, 0},  {0, 1, -1000, 1, 1},     {3, 0, -1000, 3, 3},
      {3, 0, 1, 1, 1},      {3, 2, 0, 0, 0},         {5, 0, -1, 0, 0},
      {0, 0, 4, 4, 4},      {-7, 0, -1000, 0, 0},    {2, 3, 2, 2, 2},
  };
  for (const Case& c : cases) {
    SCOPED_TRACE(testing::Message() << c.initial << " +" << c.posts << " reset " << c.resetTo);
    Semaphore s(c.initial);
    for (int i = 0; i < c.posts; ++i) s.post();
    if (c.resetTo > -100) s.reset(c.resetTo);
    EXPECT_EQ(s.count, c.countBefore);
    EXPECT_EQ(drain(s), c.available);
    EXPECT_EQ(s.count, 0);
    EXPECT_FALSE(s.try_wait());
    EXPECT_EQ(s.count, 0);  // a failed poll leaves the mirror alone
  }
}

TEST(Semaphore, CopiesShareTheSemaphoreButNotTheMirror) {
  Semaphore a(1);
  {
    Semaphore b = a;
    b.post();
    EXPECT_EQ(b.count, 2);
    EXPECT_EQ(a.count, 1);
    EXPECT_TRUE(a.try_wait());
    EXPECT_TRUE(a.try_wait());
    EXPECT_FALSE(b.try_wait());
    EXPECT_EQ(a.count, -1);
    Semaphore c;
    c = a;  // assignment shares too
    c.post();
  }  // b and c gone: a is undisturbed
  EXPECT_TRUE(a.try_wait());
  a.post();
  EXPECT_TRUE(a.timed_wait(0));
}

TEST(Semaphore, TimedWaitTakesTheLow32BitsOfItsTime) {
  Semaphore s;
  double ms = elapsedMs([&] { EXPECT_FALSE(s.timed_wait(10)); });
  EXPECT_GE(ms, 9.0);
  EXPECT_LT(ms, 5000.0);
  EXPECT_EQ(s.count, 0);
  // 2^32 ms has low bits 0: a poll, not a wait of seven weeks.
  ms = elapsedMs([&] { EXPECT_FALSE(s.timed_wait(0x100000000ull)); });
  EXPECT_LT(ms, 5000.0);
  s.post();
  EXPECT_TRUE(s.timed_wait(10));
  EXPECT_EQ(s.count, 0);
}

TEST(Semaphore, WaitersWakeOnPostsFromAnotherThread) {
  Semaphore s;
  std::atomic<int> woken{0};
  std::thread forever([&] { s.wait(); ++woken; });
  std::thread unlimited([&] { EXPECT_TRUE(s.timed_wait(0xFFFFFFFFull)); ++woken; });
  std::thread bounded([&] { EXPECT_TRUE(s.timed_wait(60000)); ++woken; });
  for (int i = 0; i < 3; ++i) s.post();
  forever.join();
  unlimited.join();
  bounded.join();
  EXPECT_EQ(woken.load(), 3);
  EXPECT_FALSE(s.try_wait());
}

// Sleepers surely asleep before the posts: each post wakes one of them at once,
// not at its time limit.
TEST(Semaphore, EachPostWakesOneSleeper) {
  for (int sleepers : {1, 3}) {
    SCOPED_TRACE(sleepers);
    Semaphore s;
    std::vector<std::thread> threads;
    std::vector<double> ms(sleepers);
    for (int i = 0; i < sleepers; ++i)
      threads.emplace_back([&, i] { ms[i] = elapsedMs([&] { EXPECT_TRUE(s.timed_wait(20000)); }); });
    std::this_thread::sleep_for(std::chrono::milliseconds(50));
    for (int i = 0; i < sleepers; ++i) s.post();
    for (std::thread& t : threads) t.join();
    for (double m : ms) EXPECT_LT(m, 10000.0);
    EXPECT_EQ(s.count, 0);
  }
}

TEST(Mutex, IsRecursiveAndSharedByCopies) {
  Mutex m;
  Mutex copy = m;
  m.lock();
  EXPECT_TRUE(m.try_lock());
  m.lock();
  auto othersTry = [&](Mutex& which) {
    bool got = false;
    std::thread([&] {
      got = which.try_lock();
      if (got) which.unlock();
    }).join();
    return got;
  };
  for (int held = 3; held > 0; --held) {
    EXPECT_FALSE(othersTry(copy)) << held << " levels held";
    m.unlock();
  }
  EXPECT_TRUE(othersTry(copy));
  EXPECT_TRUE(othersTry(m));
}

}  // namespace
