#pragma once

#include <atomic>
#include <chrono>
#include <thread>

#include "corvane/core/MainQueue.h"

namespace corvane {

/// Runs the main loop until `condition` holds, checking every millisecond; false if it does not within `limit` of real
/// time. On the main queue.
template <class Condition>
bool pumpUntil(Condition&& condition, std::chrono::milliseconds limit = std::chrono::seconds(20)) {
  std::atomic<bool> held = false;
  std::thread ticker([&] {
    const auto end = std::chrono::steady_clock::now() + limit;
    while (!held && std::chrono::steady_clock::now() < end) {
      main_sync([&] { held = condition(); });
      if (!held) std::this_thread::sleep_for(std::chrono::milliseconds(1));
    }
    MainLoop::quit();
  });
  MainLoop::run();
  ticker.join();
  return held;
}

/// Runs the main loop long enough for a fault to show, on most runs.
inline void pump(std::chrono::milliseconds time = std::chrono::milliseconds(40)) {
  pumpUntil([] { return false; }, time);
}

}  // namespace corvane
