#pragma once

#include <chrono>
#include <cstddef>
#include <deque>
#include <optional>
#include <string>
#include <vector>

#include "apps/inspector/model/Readings.h"
#include "corvane/infra/Broadcaster.h"

namespace corvane::inspector {

/// The lowest and the highest of some readings.
struct Range {
  double low = 0;
  double high = 0;
};

/// A value at its time.
struct Reading {
  Moment time;
  double value = 0;  ///< not a number: could not be read
};

/// The readings of one kind of the last hour, gaps included. Adds each value that is broadcast to it: a
/// std::optional<double>.
class History : public Listener {
 public:
  static constexpr std::chrono::hours LENGTH{1};
  static constexpr std::size_t CAPACITY = 8192;  ///< most readings: an hour of two each second, and some more

  /// `interval` is the time between two readings, in seconds. There is a gap where more than three of them pass.
  explicit History(double interval = 1) : m_interval(interval) {}

  void onBroadcast(const std::string& key, const std::any& object) override;

  void add(std::optional<double> value, Moment when = Moment::clock::now());

  bool empty() const { return m_readings.empty(); }

  /// All of them, the newest last, and the last one that is older, with which a line begins.
  const std::deque<Reading>& readings() const { return m_readings; }

  /// Smallest and greatest of the newest `count` readings; std::nullopt if there is no reading among them.
  std::optional<Range> range(std::size_t count) const;

  /// The newest `count` readings, the newest last; fewer if there are fewer.
  std::vector<std::optional<double>> newest(std::size_t count) const;

 private:
  const std::chrono::duration<double> m_interval;
  std::deque<Reading> m_readings;
};

}  // namespace corvane::inspector
