#pragma once

#include <unistd.h>

#include <atomic>
#include <memory>

namespace corvane {

/// One object a process, made on first use and never destroyed. A forked child gets an object of its own: in the copy
/// of its parent's, threads that the child does not have may hold the locks for ever. Any thread; construction must be
/// cheap and without effect outside, because two threads may construct at once, of which one object is dropped.
template <class T>
class PerProcess {
 public:
  T& operator()() {
    Made* current = m_current.load(std::memory_order_acquire);
    const pid_t process = getpid();
    if (current && current->process == process) return current->object;
    auto made = std::make_unique<Made>(process, current);
    if (m_current.compare_exchange_strong(current, made.get(), std::memory_order_acq_rel)) current = made.release();
    return current->object;
  }

 private:
  struct Made {
    Made(pid_t maker, Made* before) : process(maker), previous(before) {}
    const pid_t process;
    Made* const previous;  // keeps what only the parent may destroy from looking lost
    T object;
  };
  std::atomic<Made*> m_current = nullptr;
};

}  // namespace corvane
