#pragma once

#include <cstddef>
#include <deque>
#include <optional>
#include <string>

#include "apps/inspector/terminal/Glyphs.h"
#include "corvane/infra/Broadcaster.h"

namespace corvane::inspector {

/// What a graph's lowest and highest bar stand for.
struct Range {
  double low = 0;
  double high = 0;
};

/// The latest readings of one kind, gaps included. Adds what is broadcast to it: a std::optional<double>.
class History : public Listener {
 public:
  static constexpr std::size_t CAPACITY = 512;

  void onBroadcast(const std::string& key, const std::any& object) override;

  void add(std::optional<double> value);

  bool empty() const { return m_values.empty(); }
  std::optional<double> latest() const { return m_values.empty() ? std::nullopt : m_values.back(); }

  /// Smallest and greatest of the newest `count` readings; none if there is no reading among them.
  std::optional<Range> range(std::size_t count) const;

  /// One bar for each of the newest `width` readings, the newest last; a blank for a gap. Anything above the low end
  /// shows more than the lowest bar.
  std::string graph(std::size_t width, Range range, const Glyphs& glyphs) const;

 private:
  std::deque<std::optional<double>> m_values;
};

}  // namespace corvane::inspector
