#pragma once

#include <pthread.h>

#include <memory>
#include <utility>

#include "corvane/core/Mutex.h"

namespace corvane {

/// The object of a class that a process shares and that a test may replace. It is created on first use and never
/// destroyed, so that code that runs while the process exits can still use it. A forked child has its parent's object.
/// Any thread.
///
/// Objects are created with the lock held: their constructors must not ask for the shared object.
template <class T>
class SharedInstance {
 public:
  static std::shared_ptr<T> get() {
    static_cast<void>(s_isMade);
    SharedInstance& slot = SharedInstance::slot();
    MutexLock lock(slot.m_mutex);
    if (!slot.m_object) slot.m_object = std::make_shared<T>();
    return slot.m_object;
  }

  /// The object if there is one yet.
  static std::shared_ptr<T> existing() {
    SharedInstance& slot = SharedInstance::slot();
    MutexLock lock(slot.m_mutex);
    return slot.m_object;
  }

  /// Replaces the object; with null the next get() creates a new one.
  static void set(std::shared_ptr<T> object) {
    SharedInstance& slot = SharedInstance::slot();
    MutexLock lock(slot.m_mutex);
    slot.m_object.swap(object);  // the previous object is destroyed without the lock
  }

 private:
  SharedInstance() { pthread_atfork(acquire, release, release); }

  static SharedInstance& slot() {
    static auto& slot = *new SharedInstance;
    return slot;
  }
  // Created while the library is loaded: if one thread created it while another one forked, it would stay half
  // constructed in the child.
  static inline const bool s_isMade = (static_cast<void>(slot()), true);

  // A child must not inherit a lock held by a thread that it does not have.
  static void acquire() CORVANE_NO_THREAD_SAFETY_ANALYSIS { slot().m_mutex.acquire(); }
  static void release() CORVANE_NO_THREAD_SAFETY_ANALYSIS { slot().m_mutex.release(); }

  Mutex m_mutex;
  std::shared_ptr<T> m_object CORVANE_GUARDED_BY(m_mutex);
};

}  // namespace corvane
