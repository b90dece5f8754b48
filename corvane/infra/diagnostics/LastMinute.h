#pragma once

#include <array>
#include <cstdint>
#include <deque>
#include <string>

#include "corvane/core/Activity.h"
#include "corvane/platform/DiagnosticsPort.h"

namespace corvane {

/// The longest wait and the longest item of the main queue that ended in the last minute, as far as it was watched.
class LastMinute {
 public:
  /// Takes what was noted since the last call.
  void update();

  LongestState longestWait() const { return longest(&Second::wait); }
  LongestState longestItem() const { return longest(&Second::item); }

 private:
  // What ended in one second.
  struct Second {
    std::int64_t number = -1;  // since 1970
    LongestState wait;
    LongestState item;
  };

  void offer(LongestState& longest, std::int64_t began, std::int64_t ended, const std::string& name) const;
  const std::string* holder(std::int64_t began, std::int64_t ended) const;
  LongestState longest(LongestState Second::*of) const;

  static constexpr std::size_t SECONDS = 60;

  std::uint64_t m_position = Activity::position();
  std::array<Second, SECONDS> m_seconds;  // each at its number modulo their count
  std::deque<ActivitySpan> m_runs;        // the last ones of repeaters, in the order of their ends
};

}  // namespace corvane
