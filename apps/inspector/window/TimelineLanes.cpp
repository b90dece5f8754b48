#include "apps/inspector/window/TimelineLanes.h"

#include <algorithm>
#include <array>
#include <cmath>
#include <map>
#include <tuple>
#include <unordered_map>
#include <utility>

namespace corvane::inspector {

namespace {

constexpr std::int64_t LATEST = std::int64_t{1} << 62U;  // differences of moments do not overflow

// Which of two spans that take the same time contains the other.
int depthOf(ActivitySpan::Kind kind) {
  using enum ActivitySpan::Kind;
  return kind == REPEATER ? 2 : kind == MAIN_ITEM || kind == TIMER ? 1 : 0;
}

// The spans that share a column.
class Column {
 public:
  bool takes(double column) const { return m_bar.count > 0 && m_bar.left == column; }

  void add(double column, std::size_t index, double width, std::int64_t duration, bool isMarked) {
    if (m_bar.count++ == 0) m_bar = {column, column + 1, index, 1, 0, isMarked}, m_longest = duration;
    m_bar.share += width;
    if (std::pair(isMarked, duration) > std::pair(m_bar.isMarked, m_longest))
      m_bar.index = index, m_longest = duration, m_bar.isMarked = isMarked;
  }

  void moveTo(std::vector<TimelineLanes::Bar>& bars) {
    if (m_bar.count == 0) return;
    m_bar.share = std::min(m_bar.share, 1.0);
    bars.push_back(std::exchange(m_bar, {}));
  }

 private:
  TimelineLanes::Bar m_bar{};
  std::int64_t m_longest = 0;
};

}  // namespace

TimelineLanes::TimelineLanes(const Recording& recording, double seconds, std::int64_t asked)
    : m_count(recording.spans.size()), m_lost(recording.lost) {
  if (recording.spans.empty()) return;
  const auto sane = [](std::int64_t moment) { return std::clamp<std::int64_t>(moment, 0, LATEST); };
  m_begin = LATEST;
  m_end = asked;
  for (const ActivitySpan& span : recording.spans) {
    m_begin = std::min(m_begin, sane(span.start));
    m_end = std::max({m_end, sane(span.start), sane(span.end)});
  }
  if (const double last = seconds * 1e9; last < static_cast<double>(m_end - m_begin))
    m_begin = m_end - static_cast<std::int64_t>(last);
  std::vector<std::uint32_t> names;
  addNames(recording, names);
  struct Thread {
    bool isMain = false;
    std::vector<Span> spans = {};
  };
  std::map<std::uint32_t, Thread> threads;
  for (std::size_t i = 0; i < recording.spans.size(); ++i) {
    const ActivitySpan& span = recording.spans[i];
    const std::int64_t start = sane(span.start);
    const std::int64_t end = span.end == 0 ? m_end : std::max(start, sane(span.end));
    Thread& thread = threads[span.thread];
    thread.isMain |= span.isOnMainThread();
    thread.spans.push_back({start, end, std::max<std::int64_t>(0, span.waited), names[i], span.end == 0});
  }
  for (auto& [number, thread] : threads) addLane(number, thread.isMain, std::move(thread.spans));
  std::ranges::stable_partition(m_lanes, &Lane::isMain);
}

void TimelineLanes::addNames(const Recording& recording, std::vector<std::uint32_t>& nameOf) {
  std::unordered_map<std::string, std::uint32_t> places;
  nameOf.reserve(recording.spans.size());
  std::string key;
  for (const ActivitySpan& span : recording.spans) {
    key.assign(1, static_cast<char>(span.kind)).append(span.name).append(1, '\0').append(span.item);
    const auto [place, isNew] = places.emplace(key, static_cast<std::uint32_t>(m_names.size()));
    if (isNew) m_names.push_back({span.kind, span.name, span.item});
    nameOf.push_back(place->second);
  }
}

void TimelineLanes::addLane(std::uint32_t thread, bool isMain, std::vector<Span> spans) {
  const auto kindOf = [this](const Span& span) { return nameOf(span).kind; };
  std::ranges::sort(spans, {},
                    [&](const Span& span) { return std::tuple(span.start, -span.end, depthOf(kindOf(span))); });
  const bool hasLoop = std::ranges::any_of(spans, [&](const Span& span) { return kindOf(span) == Kind::MAIN_LOOP; });
  Lane lane{thread, isMain, {}, {}};
  std::vector<std::pair<std::int64_t, std::size_t>> around;  // the ends and rows of those that go on
  std::map<std::uint32_t, std::int64_t> totals;
  for (const Span& span : spans) {
    while (!around.empty() && around.back().first <= span.start) around.pop_back();
    if (around.empty()) totals[span.name] += span.duration();
    // What a turn of the loop does is in the same row, even if the turn itself is lost.
    const std::size_t least = hasLoop && kindOf(span) != Kind::MAIN_LOOP ? 1 : 0;
    const std::size_t row = around.empty() ? least : around.back().second + 1;
    if (row >= lane.rows.size()) lane.rows.resize(row + 1);
    lane.rows[row].push_back(span);
    around.emplace_back(span.end, row);
    Name& name = m_names[span.name];
    ++name.count;
    name.total += std::min(span.duration(), LATEST - name.total);
    name.longest = std::max(name.longest, span.duration());
  }
  for (const auto& [name, total] : totals) lane.names.push_back(name);
  std::ranges::stable_sort(lane.names, std::greater(), [&](std::uint32_t name) { return totals[name]; });
  m_lanes.push_back(std::move(lane));
}

std::vector<TimelineLanes::Bar> TimelineLanes::bars(const Row& row, const TimelineWindow& window,
                                                    const std::vector<bool>& marked) {
  std::vector<Bar> bars;
  Column column;
  double taken = -1;  // the column that the last bar ends before
  auto span = std::ranges::upper_bound(row, window.from, {}, &Span::end);
  const std::int64_t until = window.timeAt(window.width);
  const double scale = window.width / window.length;
  const auto xOf = [&](std::int64_t moment) { return static_cast<double>(moment - window.from) * scale; };
  for (; span != row.end() && span->start <= until; ++span) {
    const auto index = static_cast<std::size_t>(span - row.begin());
    const double left = xOf(span->start), right = xOf(span->end);
    const double first = std::max(std::floor(left), taken);
    const bool isMarked = marked[span->name];
    if (right - left < 1) {
      if (!column.takes(first)) column.moveTo(bars);
      column.add(first, index, right - left, span->duration(), isMarked);
      taken = first;
      continue;
    }
    if (column.takes(first)) taken = first + 1;
    column.moveTo(bars);
    const double begin = std::max(first, taken);
    taken = std::max(begin + 1, std::min(std::floor(right), window.width + 1));
    bars.push_back({begin, taken, index, 1, 1, isMarked});
  }
  column.moveTo(bars);
  return bars;
}

std::optional<std::size_t> TimelineLanes::hit(const Row& row, const TimelineWindow& window, double x, double slack,
                                              const std::vector<bool>& marked) {
  std::optional<std::size_t> best;
  double least = slack;
  for (const Bar& bar : bars(row, window, marked)) {
    const double away = std::max({0.0, bar.left - x, x - bar.right});
    if (away > least || (best && away == least)) continue;
    least = away;
    best = bar.index;
  }
  return best;
}

std::size_t TimelineLanes::nearest(const Row& row, std::int64_t moment) {
  const auto after = std::ranges::lower_bound(row, moment, {}, &Span::end);
  if (after == row.end()) return row.size() - 1;
  const bool isBefore =
      after != row.begin() && after->start > moment && moment - std::prev(after)->end < after->start - moment;
  return static_cast<std::size_t>(after - row.begin()) - (isBefore ? 1 : 0);
}

template <class Use>
void TimelineLanes::forEach(Use use) const {
  for (std::size_t lane = 0; lane < m_lanes.size(); ++lane)
    for (std::size_t row = 0; row < m_lanes[lane].rows.size(); ++row)
      for (std::size_t index = 0; index < m_lanes[lane].rows[row].size(); ++index) use(Place{lane, row, index});
}

std::optional<TimelineLanes::Place> TimelineLanes::next(const std::optional<Place>& from, bool backward,
                                                        const std::vector<bool>& marked) const {
  std::optional<Place> best;
  const auto isBefore = [&](const Place& a, const Place& b) {
    const auto order = std::pair(at(a).start, a) <=> std::pair(at(b).start, b);
    return backward ? order > 0 : order < 0;
  };
  forEach([&](const Place& place) {
    if (marked[at(place).name] && (!from || isBefore(*from, place)) && (!best || isBefore(place, *best))) best = place;
  });
  return best;
}

std::optional<TimelineLanes::Place> TimelineLanes::longest(std::uint32_t name) const {
  std::optional<Place> best;
  forEach([&](const Place& place) {
    const Span& span = at(place);
    if (span.name == name && (!best || span.duration() > at(*best).duration())) best = place;
  });
  return best;
}

}  // namespace corvane::inspector
