#include "corvane/infra/Broadcaster.h"

#include <algorithm>
#include <atomic>
#include <iterator>
#include <typeinfo>
#include <unordered_map>
#include <utility>

#include "corvane/core/DispatchQueueSerial.h"
#include "corvane/core/Mutex.h"
#include "corvane/core/Timeval.h"
#include "corvane/core/TypeName.h"
#include "corvane/core/fatal.h"

namespace corvane {

namespace {

// Figures that are written by one thread at a time and read by any: cheaper than atomic addition.
struct Tally {
  std::atomic<std::int64_t> count = 0;
  std::atomic<std::int64_t> elapsed = 0;  // microseconds

  void add(std::int64_t usec) {
    count.store(count.load(std::memory_order_relaxed) + 1, std::memory_order_relaxed);
    elapsed.store(elapsed.load(std::memory_order_relaxed) + usec, std::memory_order_relaxed);
  }
};

struct ListenerEntry {
  ListenerEntry(std::shared_ptr<Listener> subscriber, const std::type_info& typeInfo)
      : listener(std::move(subscriber)), type(typeInfo) {}

  const std::shared_ptr<Listener> listener;
  const std::type_info& type;
  Tally sync;   // written with the registry's lock held
  Tally async;  // written on the queue
};

using Entries = std::vector<std::shared_ptr<ListenerEntry>>;

// Calls a function until end() is called.
class FunctionListener : public Listener {
 public:
  using Function = std::function<void(std::string_view, const std::any&)>;
  explicit FunctionListener(Function function) : m_function(std::move(function)) {}

  void onBroadcast(const std::string& key, const std::any& object) override {
    if (!m_ended) m_function(key, object);
  }
  void end() { m_ended = true; }

 private:
  const Function m_function;
  std::atomic<bool> m_ended = false;
};

// Whether this thread is in a synchronous broadcast and holds the registry's lock.
thread_local constinit bool t_delivering = false;

void deliver(const Entries& entries, Tally ListenerEntry::*tally, const std::string& key, const std::any& object) {
  callOrFatal(
      [&] {
        Timeval start;
        for (const auto& entry : entries) {
          entry->listener->onBroadcast(key, object);
          const Timeval end;  // also the start of the next one
          ((*entry).*tally).add((end - start).usec());
          start = end;
        }
      },
      "a listener");
}

class Broadcaster {
 public:
  // Never destroyed: queued deliveries may run while the process exits.
  static Broadcaster& shared() {
    static auto& broadcaster = *new Broadcaster;
    return broadcaster;
  }

  void add(const std::string& key, std::shared_ptr<Listener> listener, const std::type_info& type) {
    auto entry = std::make_shared<ListenerEntry>(std::move(listener), type);
    refuseReentry("AddListener");
    MutexLock lock(m_mutex);
    MutexLock changing(m_reading);
    m_listeners[key].push_back(std::move(entry));
  }

  void remove(const std::string& key, const Listener* listener) {
    Entries removed;  // destroyed after the lock is released
    refuseReentry("RemoveListener");
    MutexLock lock(m_mutex);
    MutexLock changing(m_reading);
    const auto found = m_listeners.find(key);
    if (found == m_listeners.end()) return;
    Entries& entries = found->second;
    const auto others = [listener](const auto& entry) { return entry->listener.get() != listener; };
    const auto tail = std::ranges::stable_partition(entries, others);
    removed.assign(std::move_iterator(tail.begin()), std::move_iterator(tail.end()));
    entries.erase(tail.begin(), tail.end());
    if (entries.empty()) m_listeners.erase(found);
  }

  void broadcast(const std::string& key, const std::any& object, bool async) {
    refuseReentry("Broadcast");
    MutexLock lock(m_mutex);
    const auto found = m_listeners.find(key);
    if (found == m_listeners.end()) return;
    if (!async) {
      t_delivering = true;
      deliver(found->second, &ListenerEntry::sync, key, object);
      t_delivering = false;
      return;
    }
    Entries entries = found->second;
    lock.unlock();  // copying the value is the caller's code
    // Init-captures are not const, so that the value is copied here and moved from then on.
    m_queue.async([entries = std::move(entries), key = key, object = object] {
      deliver(entries, &ListenerEntry::async, key, object);
    });
  }

  // Not with the lock that is held during a synchronous delivery: its listener may be what somebody looks for.
  std::vector<broadcaster_stats> stats() CORVANE_NO_THREAD_SAFETY_ANALYSIS {
    struct Row {
      broadcaster_stats figures;
      const std::type_info* type;
    };
    std::vector<Row> rows;
    MutexLock lock(m_reading);
    for (const auto& [key, entries] : m_listeners)
      for (const auto& entry : entries) {
        rows.push_back({{key, {}, entry->sync.count + entry->async.count, entry->sync.elapsed + entry->async.elapsed},
                        &entry->type});
      }
    lock.unlock();
    std::ranges::stable_sort(rows, {}, [](const Row& row) -> const std::string& { return row.figures.key; });
    std::vector<broadcaster_stats> stats;
    stats.reserve(rows.size());
    for (Row& row : rows) {
      row.figures.listener = typeName(*row.type);
      stats.push_back(std::move(row.figures));
    }
    return stats;
  }

 private:
  static void refuseReentry(const char* operation) {
    if (t_delivering) fatal(std::string(operation) + ": called by a listener from inside a synchronous broadcast");
  }

  Mutex m_mutex;
  Mutex m_reading;  // held, too, while the registry changes; taken after the other
  std::unordered_map<std::string, Entries> m_listeners CORVANE_GUARDED_BY(m_mutex);  // never an empty list
  DispatchQueueSerial m_queue{"org.corvane.broadcaster", QoS::DEFAULT};
};

}  // namespace

void AddListener(const std::string& key, std::shared_ptr<Listener> listener) {
  if (!listener) fatal("AddListener: there is no listener");
  const Listener& object = *listener;
  Broadcaster::shared().add(key, std::move(listener), typeid(object));
}

void AddListeners(const std::vector<std::string>& keys, const std::shared_ptr<Listener>& listener) {
  for (const std::string& key : keys) AddListener(key, listener);
}

void RemoveListener(const std::string& key, const std::shared_ptr<Listener>& listener) {
  Broadcaster::shared().remove(key, listener.get());
}

void RemoveListeners(const std::vector<std::string>& keys, const std::shared_ptr<Listener>& listener) {
  for (const std::string& key : keys) RemoveListener(key, listener);
}

Subscription Listen(std::string_view key, std::function<void(std::string_view, const std::any&)> function) {
  if (!function) fatal("Listen: the function is empty");
  const std::type_info& type = function.target_type();
  const auto listener = std::make_shared<FunctionListener>(std::move(function));
  std::string name(key);
  Broadcaster::shared().add(name, listener, type);
  return Subscription([name = std::move(name), listener] {
    listener->end();
    RemoveListener(name, listener);
  });
}

void Broadcast(const std::string& key, const std::any& object, bool async) {
  Broadcaster::shared().broadcast(key, object, async);
}

std::vector<broadcaster_stats> broadcasterStats() {
  return Broadcaster::shared().stats();
}

}  // namespace corvane
