#pragma once

#include <errno.h>

#include <algorithm>
#include <chrono>
#include <climits>
#include <string>

#include "corvane/platform/Result.h"

namespace corvane {

/// The time by which an operation must end. It is passed on from step to step, so that all steps share one limit.
class Deadline {
 public:
  using Clock = std::chrono::steady_clock;

  /// The default limit of an operation.
  static constexpr std::chrono::milliseconds LIMIT{5000};

  explicit Deadline(std::chrono::milliseconds limit = LIMIT) : m_end(Clock::now() + limit) {}

  /// For what may take as long as a person needs.
  static Deadline none() {
    Deadline deadline;
    deadline.m_end = Clock::time_point::max();
    return deadline;
  }

  Clock::time_point end() const { return m_end; }
  bool isOver() const { return Clock::now() >= m_end; }

  /// The time left in milliseconds, rounded up; 0 if the deadline has passed, INT_MAX if there is none.
  int msec() const {
    const auto left = std::chrono::ceil<std::chrono::milliseconds>(m_end - Clock::now());
    return static_cast<int>(std::clamp<std::chrono::milliseconds::rep>(left.count(), 0, INT_MAX));
  }

 private:
  Clock::time_point m_end;
};

/// The failure of an operation that exceeded its limit: domain "posix", code ETIMEDOUT.
inline tl::unexpected<Error> timedOut(const std::string& prefix) {
  return failure("posix", ETIMEDOUT, prefix + "no answer in time");
}

}  // namespace corvane
