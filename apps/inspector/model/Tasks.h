#pragma once

#include <cstdint>
#include <functional>
#include <memory>
#include <string>
#include <string_view>
#include <vector>

#include "corvane/core/Repeater.h"

namespace corvane::inspector {

/// Statistics of one repeater, in the units that are shown.
struct TaskRow {
  std::string name;
  std::int64_t count = 0;
  double totalSeconds = 0;
  double intervalSeconds = 0;  ///< average
  double durationUsec = 0;     ///< average
  bool paused = false;
};

/// The program's repeaters on the shared master timer. On the main queue only.
class Tasks {
 public:
  static constexpr int MIN_TIME_CONSTANT = 1;
  static constexpr int MAX_TIME_CONSTANT = 60;

  Tasks() = default;
  ~Tasks();
  Tasks(const Tasks&) = delete;
  Tasks& operator=(const Tasks&) = delete;

  /// Starts a repeater. Names are unique.
  void start(std::string name, double interval, std::function<void()> work);

  /// Stops a repeater, or starts it again. A paused one keeps its last statistics; a resumed one begins with new ones.
  void togglePause(std::string_view name);

  void resetStats();

  /// Seconds over which the statistics average.
  int timeConstant() const { return m_timeConstant; }
  /// Sets them, within the limits.
  void setTimeConstant(int seconds);

  /// All repeaters of the master timer and the paused ones.
  std::vector<TaskRow> rows() const;

 private:
  struct Task {
    std::shared_ptr<Repeater> repeater;
    double interval = 0;
    std::function<void()> work;
    TaskRow last;  // while paused
  };

  std::vector<Task> m_tasks;
  int m_timeConstant = 10;
};

}  // namespace corvane::inspector
