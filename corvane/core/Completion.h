#pragma once

#include <atomic>
#include <functional>
#include <utility>

namespace corvane {

/// Submits work to a queue with `submit(std::function<void()>)` and returns when it has run there. `work` is called by
/// reference and is neither copied nor moved.
template <class Submit, class Work>
void submitAndWait(Submit&& submit, Work& work) {
  // An int, because that is what the kernel can wait on directly.
  std::atomic<int> done = 0;
  submit(std::function<void()>([&work, &done] {
    work();
    // Sequentially consistent: the notification checks whether a thread is waiting, and must not do so before the
    // store.
    done.store(1);
    done.notify_one();
  }));
  done.wait(0);
}

}  // namespace corvane
