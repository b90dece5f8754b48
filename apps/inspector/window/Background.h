#pragma once

#include <QObject>
#include <QPointer>
#include <functional>
#include <utility>

#include "corvane/core/DispatchQueueSerial.h"
#include "corvane/core/MainQueue.h"

namespace corvane::inspector {

/// Runs `work` on the queue, and then `take` with its result on the main queue, unless the owner is gone by then. False
/// if the system refuses a thread; then neither runs.
template <class Result>
bool runInBackground(DispatchQueueSerial& queue, QObject* owner, std::function<Result()> work,
                     std::function<void(Result)> take) {
  return queue.async([owner = QPointer<QObject>(owner), work = std::move(work), take = std::move(take)] {
    main_post([owner, take, result = work()]() mutable {
      if (owner) take(std::move(result));
    });
  });
}

}  // namespace corvane::inspector
