#include "corvane/core/Mutex.h"

#include <gtest/gtest.h>

#include <atomic>
#include <stdexcept>
#include <thread>
#include <vector>

#include "corvane/core/Timeval.h"
#include "corvane/core/ptlock_c.h"

namespace corvane {
namespace {

// Another thread that waits for the lock, gets it in the end and releases it.
class Rival {
 public:
  explicit Rival(Mutex& mutex)
      : m_thread([this, &mutex] {
          MutexLock lock(mutex);
          m_succeeded = true;
        }) {}
  ~Rival() { m_thread.join(); }
  Rival(const Rival&) = delete;
  Rival& operator=(const Rival&) = delete;

  bool isKeptOut() const {
    std::this_thread::sleep_for(std::chrono::milliseconds(30));
    return !m_succeeded;
  }

 private:
  std::atomic<bool> m_succeeded = false;
  std::thread m_thread;
};

TEST(Mutex, BlocksRestoreTheLockAndReturnWhatTheBodyReturns) {
  Mutex mutex;
  int number = 5;
  EXPECT_EQ(mutex.acquire_block([] { return std::string("value"); }), "value");
  int& reference = mutex.acquire_block([&]() -> int& { return number; });
  EXPECT_EQ(&reference, &number);
  mutex.acquire_block([&] { number = 6; });
  EXPECT_EQ(number, 6);
  mutex.acquire();
  EXPECT_EQ(mutex.release_block([&] {
    { Rival rival(mutex); }  // would not end if the lock were held
    return 7;
  }),
            7);
  int& again = mutex.release_block([&]() -> int& { return number; });
  EXPECT_EQ(&again, &number);
  mutex.release();
  EXPECT_THROW(mutex.acquire_block([]() -> void { throw std::runtime_error("body"); }), std::runtime_error);
  { Rival rival(mutex); }
  mutex.acquire();
  EXPECT_THROW(mutex.release_block([]() -> void { throw std::runtime_error("body"); }), std::runtime_error);
  Rival rival(mutex);
  EXPECT_TRUE(rival.isKeptOut());
  mutex.release();
}

TEST(Mutex, TimedWaitsReportWhetherTimeRanOut) {
  Mutex mutex;
  MutexLock lock(mutex);
  const Timeval begin;
  EXPECT_TRUE(mutex.wait(0));
  EXPECT_TRUE(mutex.waituntil((Timeval() + -1.0).tv()));
  EXPECT_LT(begin.elapsed(), 10'000'000);
  const Timeval deadline = Timeval() + 1.99;  // a whole second, and almost always a carry
  EXPECT_TRUE(mutex.waituntil(deadline.tv()));
  EXPECT_GE(Timeval() + 1, deadline);
}

TEST(Mutex, BroadcastEndsEveryWait) {
  void* lock = ptlock_init();
  std::atomic<int> woken = 0;
  std::vector<std::thread> threads;
  for (const std::int64_t limit :
       {COND_WAIT_FOREVER, std::int64_t{-5}, std::int64_t{60'000'000}, std::numeric_limits<std::int64_t>::max()})
    threads.emplace_back([&, limit] {
      ptlock_acquire(lock);
      EXPECT_EQ(ptlock_wait(lock, limit), 0);
      ptlock_release(lock);
      ++woken;
    });
  while (woken < 4) {
    ptlock_broadcast(lock);
    std::this_thread::yield();
  }
  for (auto& thread : threads) thread.join();
  ptlock_destroy(lock);
}

TEST(Mutex, WaitloopChecksBeforeItWaits) {
  Mutex mutex;
  std::string calls;
  int left = 2;
  mutex.waitloop([&] { calls += 'i'; },
                 [&] {
                   calls += 'p';
                   return left-- > 0;
                 },
                 [&] { calls += 'b'; }, 1'000);
  EXPECT_EQ(calls, "ipbpbp");
  { Rival rival(mutex); }
}

}  // namespace
}  // namespace corvane
