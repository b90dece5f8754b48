#pragma once

#include <atomic>
#include <memory>

#include "corvane/platform/Export.h"

namespace corvane {

/// The number of forks between this process and the one that loaded the library. Any thread, at the cost of a load.
CORVANE_API unsigned forkCount() noexcept;

/// One object per process, created on first use. A forked child gets an object of its own, because in the copy of its
/// parent's object locks may be held forever by threads that the child does not have; that copy is never destroyed. Any
/// thread. Construction must be cheap and free of side effects, because two threads may construct an object at once,
/// and one of the two is dropped.
template <class T>
class PerProcess {
 public:
  PerProcess() = default;
  ~PerProcess() {
    if (Made* const made = m_current.load(std::memory_order_acquire); made && made->process == forkCount()) delete made;
  }
  PerProcess(const PerProcess&) = delete;
  PerProcess& operator=(const PerProcess&) = delete;

  /// The value of this process, made on first use.
  T& operator()() {
    Made* const current = m_current.load(std::memory_order_acquire);
    return current && current->process == forkCount() ? current->object : make(current);
  }

 private:
  struct Made {
    Made(unsigned maker, Made* before) : process(maker), previous(before) {}
    const unsigned process;
    Made* const previous;  // keeps the parent's object, which must not be destroyed, from looking like a leak
    T object;
  };

  T& make(Made* current) {
    auto made = std::make_unique<Made>(forkCount(), current);
    if (m_current.compare_exchange_strong(current, made.get(), std::memory_order_acq_rel)) current = made.release();
    return current->object;
  }

  std::atomic<Made*> m_current = nullptr;
};

}  // namespace corvane
