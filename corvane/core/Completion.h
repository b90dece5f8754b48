#pragma once

#include <atomic>
#include <functional>
#include <utility>

namespace corvane {

/// Hands work to a queue through `submit(std::function<void()>)` and returns when it has run there. `work` stays where
/// it is: it is called by reference.
template <class Submit, class Work>
void submitAndWait(Submit&& submit, Work& work) {
  // An int, because that is what the kernel can wait on directly.
  std::atomic<int> done = 0;
  submit(std::function<void()>([&work, &done] {
    work();
    // Sequentially consistent: the notification looks whether anybody waits, and must not do so before the store.
    done.store(1);
    done.notify_one();
  }));
  done.wait(0);
}

}  // namespace corvane
