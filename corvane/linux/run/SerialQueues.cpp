#include "corvane/platform/SerialQueues.h"

#include <pthread.h>
#include <sched.h>
#include <sys/resource.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <deque>
#include <string>
#include <utility>
#include <vector>

#include "corvane/core/Mutex.h"
#include "corvane/core/fatal.h"

namespace corvane {

namespace {

// A worker without work waits this long for more before it ends.
constexpr std::int64_t IDLE_USEC = 5'000'000;

using Work = std::function<void()>;

// What a queue's handle and the worker that drains it share.
struct Queue {
  explicit Queue(std::string_view label) : name(label.substr(label.size() - std::min<std::size_t>(label.size(), 15))) {}

  const std::string name;  // the end of the label: the kernel keeps 15 bytes, and labels differ at the end
  Mutex mutex;
  std::vector<Work> work CORVANE_GUARDED_BY(mutex);
  bool active CORVANE_GUARDED_BY(mutex) = false;  // a worker drains it or is on the way
};

using QueuePtr = std::shared_ptr<Queue>;

void drain(Queue& queue) {
  std::vector<Work> batch;
  for (bool looked = false;;) {
    batch.clear();
    {
      MutexLock lock(queue.mutex);
      if (queue.work.empty() && looked) {
        queue.active = false;
        return;
      }
      batch.swap(queue.work);
    }
    // More work often follows at once; a second look costs little beside going idle and being woken for it.
    looked = batch.empty();
    if (looked) sched_yield();
    for (Work& work : batch) {
      callOrFatal(work);
      work = nullptr;  // what it captured dies before the next item runs
    }
  }
}

// Threads of one niceness, shared by all queues of that urgency. There are as many as queues with work at the same
// time, so a queue whose work blocks keeps no other from running.
class Pool {
 public:
  explicit Pool(int niceness) : m_niceness(niceness) {}

  // Finds a worker for a queue that has become active: the one that went idle last, else a new one.
  void activate(QueuePtr queue) {
    MutexLock lock(m_mutex);
    if (!m_idle.empty()) {
      Idle& idle = *m_idle.back();
      m_idle.pop_back();
      lock.unlock();
      MutexLock idleLock(idle.mutex);
      idle.queue = std::move(queue);
      idle.mutex.broadcast();
      return;
    }
    auto start = std::make_unique<Start>(*this, queue);
    pthread_attr_t attributes;
    pthread_attr_init(&attributes);
    pthread_attr_setdetachstate(&attributes, PTHREAD_CREATE_DETACHED);
    pthread_t thread{};
    if (pthread_create(&thread, &attributes, enter, start.get()) == 0) {
      start.release();
      ++m_threads;
    } else if (m_threads > 0) {
      m_ready.push_back(std::move(queue));  // for a worker that becomes free
    } else {
      fatal("DispatchQueueSerial: the system refuses to create a thread");
    }
    pthread_attr_destroy(&attributes);
  }

 private:
  struct Start {
    Pool& pool;
    QueuePtr queue;
  };

  // Where a worker waits for its next queue.
  struct Idle {
    Mutex mutex;
    QueuePtr queue CORVANE_GUARDED_BY(mutex);
  };

  static void* enter(void* argument) {
    const std::unique_ptr<Start> start(static_cast<Start*>(argument));
    start->pool.serve(std::move(start->queue));
    return nullptr;
  }

  void serve(QueuePtr queue) {
    if (m_niceness != 0) setpriority(PRIO_PROCESS, static_cast<id_t>(gettid()), m_niceness);
    Idle idle;
    std::string name;
    for (; queue; queue = next(idle)) {
      if (name != queue->name) {
        name = queue->name;
        pthread_setname_np(pthread_self(), name.c_str());
      }
      drain(*queue);
    }
  }

  // The next queue for a worker that is free; null if none came for a while and the worker ends.
  QueuePtr next(Idle& idle) {
    {
      MutexLock lock(m_mutex);
      if (!m_ready.empty()) {
        QueuePtr queue = std::move(m_ready.front());
        m_ready.pop_front();
        return queue;
      }
      m_idle.push_back(&idle);
    }
    std::int64_t limit = IDLE_USEC;
    for (;;) {
      MutexLock idleLock(idle.mutex);
      if (idle.queue) return std::exchange(idle.queue, nullptr);
      if (!idle.mutex.wait(limit) || idle.queue) continue;
      idleLock.unlock();
      MutexLock lock(m_mutex);
      if (std::erase(m_idle, &idle) > 0) {
        --m_threads;
        return nullptr;
      }
      limit = COND_WAIT_FOREVER;  // taken from the list meanwhile: the queue is on its way
    }
  }

  const int m_niceness;
  Mutex m_mutex;
  std::vector<Idle*> m_idle CORVANE_GUARDED_BY(m_mutex);
  std::deque<QueuePtr> m_ready CORVANE_GUARDED_BY(m_mutex);  // active queues for which there was no thread
  std::size_t m_threads CORVANE_GUARDED_BY(m_mutex) = 0;
};

// Never destroyed: workers may run while the process exits.
Pool& poolFor(QoS qos) {
  static auto& pools = *new std::array<Pool, 3>{Pool(0), Pool(5), Pool(10)};
  return pools[qos == QoS::BACKGROUND ? 2 : qos == QoS::UTILITY ? 1 : 0];
}

class PooledQueue : public SerialQueue {
 public:
  PooledQueue(std::string_view label, QoS qos) : m_queue(std::make_shared<Queue>(label)), m_pool(poolFor(qos)) {}

  void async(Work work) override {
    {
      MutexLock lock(m_queue->mutex);
      m_queue->work.push_back(std::move(work));
      if (std::exchange(m_queue->active, true)) return;
    }
    m_pool.activate(m_queue);
  }

 private:
  const QueuePtr m_queue;
  Pool& m_pool;
};

class PooledQueues : public SerialQueues {
 public:
  std::unique_ptr<SerialQueue> make(std::string label, QoS qos) override {
    return std::make_unique<PooledQueue>(label, qos);
  }
};

}  // namespace

template <>
std::shared_ptr<SerialQueues> makeService<SerialQueues>() {
  return std::make_shared<PooledQueues>();
}

}  // namespace corvane
