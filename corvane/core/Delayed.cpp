#include "corvane/core/Delayed.h"

#include <cstdint>
#include <map>
#include <utility>

#include "corvane/core/DispatchQueueSerial.h"
#include "corvane/core/PerProcess.h"
#include "corvane/core/Timeval.h"
#include "corvane/core/fatal.h"
#include "corvane/platform/PreciseTimers.h"

namespace corvane {

// Guarded by the mutex of Waiting; `run` is empty once it has been taken.
struct Delayed::Work {
  std::function<void()> run;
  Submit submit;
  std::pair<Timeval, std::uint64_t> place{Timeval::nsec(0), 0};
};

// The waiting work in the order of due times; work with equal due times in the order of arrival.
class Delayed::Waiting {
 public:
  void add(const std::shared_ptr<Work>& work, Timeval due) {
    MutexLock lock(m_mutex);
    work->place = {due, ++m_last};
    m_works.emplace(work->place, work);
    m_mutex.broadcast();
    if (std::exchange(m_served, true)) return;
    lock.unlock();
    if (DispatchQueueSerial("corvane.delayed", QoS::USER_INTERACTIVE).async([this] { serve(); })) return;
    lock.lock();
    m_served = false;
  }

  // The function to run, for the first caller only.
  std::function<void()> take(Work& work) {
    MutexLock lock(m_mutex);
    m_works.erase(work.place);
    return std::exchange(work.run, nullptr);
  }

  bool isPending(const Work& work) const {
    MutexLock lock(m_mutex);
    return static_cast<bool>(work.run);
  }

 private:
  // The item of a queue that runs the work; its name is shown by diagnostics.
  struct Due {
    Waiting& waiting;
    std::shared_ptr<Work> work;
    void operator()() const {
      if (const auto run = waiting.take(*work)) run();
    }
  };

  void serve() {
    const PreciseTimers precise;
    MutexLock lock(m_mutex);
    while (!m_works.empty()) {
      const Timeval due = m_works.begin()->first.first;
      if (due > Timeval()) {
        m_mutex.waituntil((due + Timeval::nsec(999)).tv());  // rounded up, so as not to be early
        continue;
      }
      const auto work = m_works.extract(m_works.begin()).mapped();
      lock.unlock();
      work->submit(Due{*this, work});
      lock.lock();
    }
    m_served = false;
  }

  mutable Mutex m_mutex;
  std::map<std::pair<Timeval, std::uint64_t>, std::shared_ptr<Work>> m_works CORVANE_GUARDED_BY(m_mutex);
  std::uint64_t m_last CORVANE_GUARDED_BY(m_mutex) = 0;
  bool m_served CORVANE_GUARDED_BY(m_mutex) = false;
};

Delayed::Waiting& Delayed::waiting() {
  static auto& works = *new PerProcess<Waiting>;
  return works();
}

Delayed::Delayed(double seconds, std::function<void()> work, Submit submit)
    : m_work(std::make_shared<Work>(Work{.run = std::move(work), .submit = std::move(submit)})) {
  waiting().add(m_work, Timeval() + seconds);
}

void Delayed::cancel() {
  if (m_work) waiting().take(*m_work);
}

bool Delayed::pending() const {
  return m_work && waiting().isPending(*m_work);
}

}  // namespace corvane
