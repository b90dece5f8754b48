#pragma once

#include <chrono>
#include <thread>

namespace corvane {

/// Waits, for long if need be, until something is true.
template <class Condition>
bool eventually(Condition&& condition) {
  using namespace std::chrono_literals;
  for (const auto end = std::chrono::steady_clock::now() + 30s; !condition(); std::this_thread::sleep_for(2ms))
    if (std::chrono::steady_clock::now() > end) return false;
  return true;
}

}  // namespace corvane
