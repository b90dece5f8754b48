#include <atomic>
#include <condition_variable>
#include <deque>
#include <functional>
#include <mutex>
#include <thread>

#include "bench/queues/Queue.h"
#include "corvane/core/DispatchQueueSerial.h"

namespace {

void corvaneAsync(benchmark::State& state) {
  corvane::DispatchQueueSerial queue("bench", corvane::QoS::DEFAULT);
  bench::throughput(state, [&](bench::Countdown& countdown) { queue.async([&countdown] { countdown.run(); }); });
}

void corvaneDqueue(benchmark::State& state) {
  corvane::DispatchQueueSerial queue("bench", corvane::QoS::DEFAULT);
  corvane::SerialQueue& dqueue = queue.dqueue();
  bench::throughput(state, [&](bench::Countdown& countdown) { (void)dqueue.async([&countdown] { countdown.run(); }); });
}

void corvaneSync(benchmark::State& state) {
  const bench::OneProcessor one;
  corvane::DispatchQueueSerial queue("bench", corvane::QoS::DEFAULT);
  int count = 0;
  for (auto _ : state) queue.sync([&] { ++count; });
}

// The least that a serial queue of any callable can be: one thread that takes everything queued in one exchange.
class SwapQueue {
 public:
  SwapQueue() : m_thread([this] { drain(); }) {}
  ~SwapQueue() {
    async({});
    m_thread.join();
  }
  void async(std::function<void()> work) {
    const std::lock_guard lock(m_mutex);
    m_work.push_back(std::move(work));
    if (m_work.size() == 1) m_condition.notify_one();
  }

 private:
  void drain() {
    std::deque<std::function<void()>> batch;
    for (;;) {
      {
        std::unique_lock lock(m_mutex);
        while (m_work.empty()) m_condition.wait(lock);
        batch.swap(m_work);
      }
      for (const auto& work : batch) {
        if (!work) return;
        work();
      }
      batch.clear();
    }
  }

  std::mutex m_mutex;
  std::condition_variable m_condition;
  std::deque<std::function<void()>> m_work;
  std::thread m_thread;
};

void swapAsync(benchmark::State& state) {
  SwapQueue queue;
  bench::throughput(state, [&](bench::Countdown& countdown) { queue.async([&countdown] { countdown.run(); }); });
}

void futexPingPong(benchmark::State& state) {
  const bench::OneProcessor one;
  bench::Futex ping;
  bench::Futex pong;
  std::atomic<bool> over = false;
  std::thread other([&] {
    for (int round = 1; !over; ++round) {
      ping.waitFor(round);
      pong.signal(round);
    }
  });
  int round = 0;
  for (auto _ : state) {
    ping.signal(++round);
    pong.waitFor(round);
  }
  over = true;
  ping.signal(round + 1);
  other.join();
}

CORVANE_BENCH_QUEUE(corvaneAsync, "Corvane DispatchQueueSerial");
CORVANE_BENCH_QUEUE(corvaneDqueue, "Corvane dqueue");
CORVANE_BENCH_QUEUE(swapAsync, "swap-batched deque");
CORVANE_BENCH_SYNC(corvaneSync, "Corvane DispatchQueueSerial");
CORVANE_BENCH_SYNC(futexPingPong, "futex ping-pong");

}  // namespace
