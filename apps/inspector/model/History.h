#pragma once

#include <cstddef>
#include <deque>
#include <optional>
#include <string>
#include <vector>

#include "corvane/infra/Broadcaster.h"

namespace corvane::inspector {

/// The lowest and the highest of some readings.
struct Range {
  double low = 0;
  double high = 0;
};

/// The latest readings of one kind, gaps included. Adds each value that is broadcast to it: a std::optional<double>.
class History : public Listener {
 public:
  static constexpr std::size_t CAPACITY = 512;

  void onBroadcast(const std::string& key, const std::any& object) override;

  void add(std::optional<double> value);

  bool empty() const { return m_values.empty(); }

  /// Smallest and greatest of the newest `count` readings; std::nullopt if there is no reading among them.
  std::optional<Range> range(std::size_t count) const;

  /// The newest `count` readings, the newest last; fewer if there are fewer.
  std::vector<std::optional<double>> newest(std::size_t count) const;

 private:
  std::deque<std::optional<double>> m_values;
};

}  // namespace corvane::inspector
