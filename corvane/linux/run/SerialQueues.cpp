#include "corvane/platform/SerialQueues.h"

#include <pthread.h>
#include <sched.h>
#include <sys/resource.h>
#include <unistd.h>

#include <algorithm>
#include <atomic>
#include <list>
#include <string>
#include <utility>
#include <vector>

#include "corvane/core/Activity.h"
#include "corvane/core/Clock.h"
#include "corvane/core/Mutex.h"
#include "corvane/core/PerProcess.h"
#include "corvane/core/Thread.h"
#include "corvane/core/TypeName.h"
#include "corvane/core/fatal.h"

namespace corvane {

namespace {

// An idle worker waits this long for more work before it ends.
constexpr std::int64_t IDLE_USEC = 5'000'000;

// A batch of this many items leaves the lock alone for long enough.
constexpr std::size_t LARGE_BATCH = 64;

// A few microseconds in which a busy submitter queues the next batch.
constexpr int PAUSES = 8;

using Work = std::function<void()>;

struct Queue;

// The queues of this process that exist.
struct Register {
  Mutex mutex;
  std::list<Queue*> queues CORVANE_GUARDED_BY(mutex);
};

PerProcess<Register>& registers() {
  static auto& registers = *new PerProcess<Register>;
  return registers;
}

// Shared by a queue's handle and the worker that drains it.
struct Queue {
  explicit Queue(std::string text)
      : label(std::move(text)), name(label.substr(label.size() - std::min<std::size_t>(label.size(), 15))) {
    Register& all = registers()();
    MutexLock lock(all.mutex);
    place = all.queues.insert(all.queues.end(), this);
  }
  ~Queue() {
    if (process != forkCount()) return;  // a forked child has a register of its own
    Register& all = registers()();
    MutexLock lock(all.mutex);
    all.queues.erase(place);
  }
  Queue(const Queue&) = delete;
  Queue& operator=(const Queue&) = delete;

  struct State {
    Mutex mutex;
    std::vector<Work> work CORVANE_GUARDED_BY(mutex);
    bool active CORVANE_GUARDED_BY(mutex) = false;  // a worker is draining it or is about to
    // While items are watched: what runs, since when, on which thread, and how many of its batch wait.
    Told<const std::type_info*> running;
    Told<std::int64_t> since;
    Told<std::uint32_t> thread;
    Told<std::size_t> waiting;
  };

  QueueState figures() {
    State& current = state();
    QueueState result{
        .label = label, .depth = current.waiting, .item = {}, .runningSince = current.since, .thread = current.thread};
    if (const std::type_info* const type = current.running) result.item = typeName(*type);
    MutexLock lock(current.mutex);
    result.depth += current.work.size();
    return result;
  }

  const std::string label;
  const std::string name;   // the end of the label: the kernel keeps 15 bytes, and labels differ at the end
  PerProcess<State> state;  // work queued before a fork runs in the parent only
  const unsigned process = forkCount();
  std::list<Queue*>::iterator place;
};

using QueuePtr = std::shared_ptr<Queue>;

void runWatched(const Work& work, Queue::State& queue, const std::string& label, std::size_t waiting) {
  const std::type_info& type = work.target_type();
  const std::int64_t start = Clock::now();
  queue.waiting = waiting;
  queue.since = start;
  queue.thread = Activity::thread();
  queue.running = &type;
  callOrFatal(work);
  queue.running = nullptr;
  queue.since = 0;
  queue.waiting = 0;
  Activity::note(Activity::Kind::QUEUE_ITEM, start, Clock::now(), label, &type);
}

void drain(Queue::State& queue, const std::string& label) {
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
    // More work often follows at once; a second check costs little compared with going idle and being woken.
    looked = batch.empty();
    if (looked) sched_yield();
    for (Work& work : batch) {
      if (Activity::isOn()) [[unlikely]]
        runWatched(work, queue, label, static_cast<std::size_t>(&batch.back() - &work));
      else
        callOrFatal(work);
      work = nullptr;  // its captures are destroyed before the next item runs
    }
    // Items that come one after another: a worker that is back at once contends with the submitter for each of them.
    if (batch.size() > 1 && batch.size() < LARGE_BATCH)
      for (int pause = 0; pause < PAUSES; ++pause) sched_yield();
  }
}

// A thread that runs one queue after another, and where it waits for the next one.
struct Worker {
  Mutex mutex;
  QueuePtr queue CORVANE_GUARDED_BY(mutex);

  void hand(QueuePtr next) {
    MutexLock lock(mutex);
    queue = std::move(next);
    mutex.broadcast();
  }
};

// Threads of one niceness, shared by all queues of that urgency. There are as many as queues with work at the same
// time, so a queue whose work blocks does not hold up the others.
class Pool {
 public:
  explicit Pool(int niceness) : m_niceness(niceness) {}

  // A worker that waits for a queue: the one that went idle last, otherwise a new one; null if the system refuses.
  Worker* claim() {
    MutexLock lock(m_mutex);
    if (!m_idle.empty()) {
      Worker* const worker = m_idle.back();
      m_idle.pop_back();
      return worker;
    }
    lock.unlock();
    auto worker = std::make_unique<Worker>();
    return startDetached([this, made = worker.get()] { serve(std::unique_ptr<Worker>(made)); }) ? worker.release()
                                                                                                : nullptr;
  }

 private:
  void serve(std::unique_ptr<Worker> worker) {
    if (m_niceness != 0) setpriority(PRIO_PROCESS, static_cast<id_t>(gettid()), m_niceness);
    std::string name;
    for (QueuePtr queue = await(*worker, COND_WAIT_FOREVER); queue; queue = next(*worker)) {
      if (name != queue->name) {
        name = queue->name;
        pthread_setname_np(pthread_self(), name.c_str());
      }
      drain(queue->state(), queue->label);
    }
  }

  // The next queue for an idle worker; null if there was none for a while and the worker must end.
  QueuePtr next(Worker& worker) {
    {
      MutexLock lock(m_mutex);
      m_idle.push_back(&worker);
    }
    if (QueuePtr queue = await(worker, IDLE_USEC)) return queue;
    {
      MutexLock lock(m_mutex);
      if (std::erase(m_idle, &worker) > 0) return nullptr;
    }
    return await(worker, COND_WAIT_FOREVER);  // claimed meanwhile: the queue is on its way
  }

  // The queue that the worker is given; null if the time runs out first.
  static QueuePtr await(Worker& worker, std::int64_t usec) {
    MutexLock lock(worker.mutex);
    for (bool late = false; !worker.queue && !late;) late = worker.mutex.wait(usec);
    return std::exchange(worker.queue, nullptr);
  }

  const int m_niceness;
  Mutex m_mutex;
  std::vector<Worker*> m_idle CORVANE_GUARDED_BY(m_mutex);
};

struct Pools {
  Pool urgent{0};
  Pool utility{5};
  Pool background{10};

  Pool& of(QoS qos) { return qos == QoS::BACKGROUND ? background : qos == QoS::UTILITY ? utility : urgent; }
};

// Never destroyed: workers may run while the process exits.
Pools& pools() {
  static auto& pools = *new PerProcess<Pools>;
  return pools();
}

class PooledQueue : public SerialQueue {
 public:
  PooledQueue(std::string label, QoS qos) : m_queue(std::make_shared<Queue>(std::move(label))), m_qos(qos) {}

  bool async(Work&& work) override {
    Queue::State& state = m_queue->state();
    Worker* worker = nullptr;
    MutexLock lock(state.mutex);
    if (!state.active) {
      // With the lock held: items that others queue meanwhile share the worker or the refusal.
      worker = pools().of(m_qos).claim();
      if (!worker) return false;
      state.active = true;
    }
    state.work.push_back(std::move(work));
    lock.unlock();
    if (worker) worker->hand(m_queue);
    return true;
  }

 private:
  const QueuePtr m_queue;
  const QoS m_qos;
};

class PooledQueues : public SerialQueues {
 public:
  std::unique_ptr<SerialQueue> make(std::string label, QoS qos) override {
    return std::make_unique<PooledQueue>(std::move(label), qos);
  }

  std::vector<QueueState> states() override {
    std::vector<QueueState> states;
    Register& all = registers()();
    MutexLock lock(all.mutex);
    for (Queue* const queue : all.queues) states.push_back(queue->figures());
    return states;
  }
};

}  // namespace

template <>
std::shared_ptr<SerialQueues> makeService<SerialQueues>() {
  return std::make_shared<PooledQueues>();
}

}  // namespace corvane
