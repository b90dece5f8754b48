#pragma once

#include <compare>
#include <cstddef>
#include <cstdint>
#include <limits>
#include <optional>
#include <string>
#include <vector>

#include "corvane/platform/DiagnosticsPort.h"

namespace corvane::inspector {

/// The part of a recording that a timeline shows, and its columns of pixels.
struct TimelineWindow {
  std::int64_t from = 0;  ///< the moment at the left edge
  double length = 1;      ///< nanoseconds
  double width = 1;       ///< columns

  double xOf(std::int64_t moment) const { return static_cast<double>(moment - from) / length * width; }
  std::int64_t timeAt(double x) const { return from + static_cast<std::int64_t>(x / width * length); }
};

/// A recording arranged for a timeline: a lane for each thread, in which what happens within a span lies a row below
/// it. Made in the background, then only read.
///
/// What it is made from may come from any program: moments that make no sense are moved to where they do.
class TimelineLanes {
 public:
  using Kind = ActivitySpan::Kind;

  /// Spans of the same kind, name and item.
  struct Name {
    Kind kind;
    std::string name;
    std::string item;
    std::size_t count = 0;
    std::int64_t total = 0;    ///< nanoseconds
    std::int64_t longest = 0;  ///< nanoseconds
  };

  struct Span {
    std::int64_t start;  ///< moment
    std::int64_t end;    ///< moment; the end of the recording if it has not ended
    std::int64_t waited;
    std::uint32_t name;  ///< its place in names()
    bool isOpen;         ///< has not ended

    std::int64_t duration() const { return end - start; }
  };

  using Row = std::vector<Span>;  ///< in the order of time; they do not overlap

  struct Lane {
    std::uint32_t thread;
    bool isMain;
    std::vector<std::uint32_t> names;  ///< of spans that lie in no other, those that took longest first
    std::vector<Row> rows;
  };

  /// Where a span is.
  struct Place {
    std::size_t lane = 0;
    std::size_t row = 0;
    std::size_t index = 0;
    auto operator<=>(const Place&) const = default;
  };

  /// What is drawn: one span, or those together that are narrower than a column.
  struct Bar {
    double left;        ///< column
    double right;       ///< at least a column after it
    std::size_t index;  ///< in its row: the span, or the longest of them; of those that are marked, if any is
    std::size_t count;  ///< of spans
    double share;       ///< of the bar's width that spans take
    bool isMarked;
  };

  TimelineLanes() = default;

  /// Shows at most the last `seconds` of the recording: spans that have not ended may have begun long before. It was
  /// taken at the moment `asked` or later, until which these went on.
  explicit TimelineLanes(const Recording& recording, double seconds = std::numeric_limits<double>::infinity(),
                         std::int64_t asked = 0);

  /// The main thread's first, then in the order of the threads' numbers.
  const std::vector<Lane>& lanes() const { return m_lanes; }
  const std::vector<Name>& names() const { return m_names; }
  const Span& at(const Place& place) const { return m_lanes[place.lane].rows[place.row][place.index]; }
  const Name& nameOf(const Span& span) const { return m_names[span.name]; }

  std::size_t count() const { return m_count; }  ///< of spans
  std::uint64_t lost() const { return m_lost; }
  std::int64_t begin() const { return m_begin; }
  std::int64_t end() const { return m_end; }

  /// The bars of a row, from left to right; no two of them share a column. `marked` tells it of each name.
  static std::vector<Bar> bars(const Row& row, const TimelineWindow& window, const std::vector<bool>& marked);

  /// The span of a row that is drawn at x, or is the nearest one at most `slack` columns away.
  static std::optional<std::size_t> hit(const Row& row, const TimelineWindow& window, double x, double slack,
                                        const std::vector<bool>& marked);

  /// The span of a row, which is not empty, that covers a moment, or else the nearest one.
  static std::size_t nearest(const Row& row, std::int64_t moment);

  /// The next marked span by its start, or the previous one; the first (last) one without a place to go from.
  std::optional<Place> next(const std::optional<Place>& from, bool backward, const std::vector<bool>& marked) const;

  /// The longest span of this name.
  std::optional<Place> longest(std::uint32_t name) const;

 private:
  void addNames(const Recording& recording, std::vector<std::uint32_t>& nameOf);
  void addLane(std::uint32_t thread, bool isMain, std::vector<Span> spans);
  template <class Use>
  void forEach(Use use) const;

  std::vector<Lane> m_lanes;
  std::vector<Name> m_names;
  std::size_t m_count = 0;
  std::uint64_t m_lost = 0;
  std::int64_t m_begin = 0;
  std::int64_t m_end = 0;
};

}  // namespace corvane::inspector
