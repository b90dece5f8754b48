#include "corvane/infra/diagnostics/LastMinute.h"

#include <algorithm>
#include <unordered_map>
#include <utility>
#include <vector>

#include "corvane/core/Clock.h"

namespace corvane {

namespace {

constexpr std::int64_t SECOND_NSEC = 1'000'000'000;

// What is shorter holds nothing up, and there may be a hundred thousand of them in a second.
constexpr std::int64_t SHORTEST = 20'000;

// More runs than this inside a stretch are short ones, of which none takes most of it.
constexpr std::size_t RUNS = 4096;

}  // namespace

void LastMinute::update() {
  std::vector<ActivitySpan> spans;
  std::uint64_t lost = 0;
  m_position = Activity::read(m_position, spans, lost, SHORTEST);
  for (ActivitySpan& span : spans) {
    if (span.kind == ActivitySpan::Kind::REPEATER) {
      if (m_runs.size() == RUNS) m_runs.pop_front();
      m_runs.push_back(std::move(span));
    } else if (span.kind == ActivitySpan::Kind::MAIN_ITEM) {
      const std::int64_t number = span.end / SECOND_NSEC;
      Second& second = m_seconds[static_cast<std::size_t>(number) % SECONDS];
      if (second.number != number) second = {.number = number, .wait = {}, .item = {}};
      offer(second.wait, span.start - span.waited, span.start, span.name);
      offer(second.item, span.start, span.end, span.name);
    }
  }
}

void LastMinute::offer(LongestState& longest, std::int64_t began, std::int64_t ended, const std::string& name) const {
  if (ended - began <= longest.duration) return;
  const std::string* const repeater = holder(began, ended);
  longest = {.name = repeater ? *repeater : name, .began = began, .duration = ended - began};
}

// The repeater whose runs took more than half of a stretch of the main thread; null if there is none.
const std::string* LastMinute::holder(std::int64_t began, std::int64_t ended) const {
  std::unordered_map<std::string_view, std::int64_t> taken;
  for (auto run = m_runs.rbegin(); run != m_runs.rend() && run->end > began; ++run) {
    std::int64_t& time = taken[run->name];
    time += std::max<std::int64_t>(0, std::min(run->end, ended) - std::max(run->start, began));
    if (time > (ended - began) / 2) return &run->name;
  }
  return nullptr;
}

LongestState LastMinute::longest(LongestState Second::*of) const {
  const std::int64_t now = Clock::now() / SECOND_NSEC;
  LongestState longest;
  for (const Second& second : m_seconds)
    if (second.number <= now && second.number > now - static_cast<std::int64_t>(SECONDS) &&
        (second.*of).duration > longest.duration)
      longest = second.*of;
  return longest;
}

}  // namespace corvane
