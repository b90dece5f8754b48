#pragma once

#include <linux/futex.h>
#include <sys/syscall.h>
#include <unistd.h>

#include <atomic>

namespace bench {

/// The kernel's own wait and wake on a number, with nothing around it.
class Futex {
 public:
  void signal(int value) {
    m_value.store(value, std::memory_order_release);
    syscall(SYS_futex, &m_value, FUTEX_WAKE_PRIVATE, 1, nullptr, nullptr, 0);
  }
  void waitFor(int value) {
    for (int seen = 0; (seen = m_value.load(std::memory_order_acquire)) != value;)
      syscall(SYS_futex, &m_value, FUTEX_WAIT_PRIVATE, seen, nullptr, nullptr, 0);
  }

 private:
  std::atomic<int> m_value = 0;
};

}  // namespace bench
