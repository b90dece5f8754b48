#include "corvane/infra/diagnostics/ThisProgram.h"

#include <errno.h>
#include <unistd.h>

#include <algorithm>
#include <cmath>
#include <iterator>
#include <utility>

#include "corvane/Version.h"
#include "corvane/core/Activity.h"
#include "corvane/core/Clock.h"
#include "corvane/core/Files.h"
#include "corvane/core/MasterTimer.h"
#include "corvane/core/TimerQueue.h"
#include "corvane/infra/Broadcaster.h"
#include "corvane/infra/Bundle.h"
#include "corvane/infra/Logger.h"
#include "corvane/infra/diagnostics/LogText.h"
#include "corvane/infra/settings/UserDefaults.h"
#include "corvane/platform/Platform.h"

namespace corvane {

namespace {

using Kind = ActivitySpan::Kind;

// The library is loaded when the process starts.
const std::int64_t s_started = Clock::now();

// What has begun on the main thread and not ended, the innermost last.
std::vector<ActivitySpan> runningOnMainThread() {
  const QueueState main = platform().mainQueue().state();
  std::vector<ActivitySpan> spans;
  const auto add = [&](Kind kind, std::int64_t start, const std::string& name) {
    if (start != 0) spans.push_back({.kind = kind, .thread = main.thread, .start = start, .name = name, .item = {}});
  };
  add(Kind::MAIN_ITEM, main.runningSince, main.item);
  for (const RepeaterState& repeater : MasterTimer::instance()->repeaterStates())
    add(Kind::REPEATER, repeater.runningSince, repeater.name);
  std::ranges::stable_sort(spans, {}, &ActivitySpan::start);
  return spans;
}

std::vector<ActivitySpan> running() {
  std::vector<ActivitySpan> spans = runningOnMainThread();
  for (QueueState& queue : platform().serialQueues().states())
    if (queue.runningSince != 0)
      spans.push_back({.kind = Kind::QUEUE_ITEM,
                       .thread = queue.thread,
                       .start = queue.runningSince,
                       .name = std::move(queue.label),
                       .item = std::move(queue.item)});
  for (TimerState& timer : TimerQueue::states())
    if (timer.runningSince != 0)
      spans.push_back({.kind = Kind::TIMER,
                       .thread = timer.thread,
                       .start = timer.runningSince,
                       .name = std::move(timer.label),
                       .item = {}});
  return spans;
}

// How many of the lost spans, which came before these, ended after `from`: as many for each second as of these.
std::uint64_t lostSince(std::int64_t from, const std::vector<ActivitySpan>& spans, std::uint64_t lost) {
  if (lost == 0 || spans.empty() || spans.front().end <= from) return 0;
  const auto kept = static_cast<double>(std::max<std::int64_t>(1, spans.back().end - spans.front().end));
  const auto gap = static_cast<double>(spans.front().end - from);
  const double estimate = gap / kept * static_cast<double>(spans.size());
  return estimate < static_cast<double>(lost) ? static_cast<std::uint64_t>(estimate) : lost;
}

// The latest start of the long spans of the main thread that were noted before a position and ended after `from`.
std::int64_t latestStartBefore(std::uint64_t position, std::int64_t from, std::int64_t nsec) {
  std::vector<ActivitySpan> spans;
  std::uint64_t lost = 0;
  const std::uint64_t reach = std::min(position, Activity::CAPACITY);
  for (std::uint64_t back = std::min<std::uint64_t>(reach, 256);; back = std::min(reach, back * 8)) {
    spans.clear();
    Activity::read(position - back, spans, lost, 0, position);
    if (back == reach || (!spans.empty() && spans.front().end <= from)) break;
  }
  std::int64_t latest = 0;
  for (const ActivitySpan& span : spans)
    if (span.isOnMainThread() && span.end - span.start >= nsec) latest = std::max(latest, span.start);
  return latest;
}

}  // namespace

Result<ProgramIdentity> ThisProgram::identity() {
  const auto bundle = Bundle::mainBundle();
  const std::string& executable = bundle->executablePath();
  return ProgramIdentity{.identifier = bundle->identifier().value_or(""),
                         .name = bundle->bundleName().value_or(executable.substr(executable.rfind('/') + 1)),
                         .version = bundle->string("CFBundleShortVersionString").value_or(""),
                         .library = std::to_string(CORVANE_VERSION_MAJOR) + "." +
                                    std::to_string(CORVANE_VERSION_MINOR) + "." + std::to_string(CORVANE_VERSION_PATCH),
                         .executable = executable,
                         .pid = getpid(),
                         .started = s_started,
                         .allowsControl = allows(Diagnostics::Control),
                         .showsSettingValues = allows(Diagnostics::SettingValues)};
}

Result<std::vector<RepeaterState>> ThisProgram::repeaters() {
  return MasterTimer::instance()->repeaterStates();
}

Result<QueueStates> ThisProgram::queues() {
  QueueStates states{.main = platform().mainQueue().state(),
                     .longestWait = {},
                     .longestItem = {},
                     .serial = platform().serialQueues().states(),
                     .timers = TimerQueue::states()};
  MutexLock lock(m_mutex);
  m_minute.update();
  states.longestWait = m_minute.longestWait();
  states.longestItem = m_minute.longestItem();
  return states;
}

Result<std::vector<ListenerState>> ThisProgram::listeners() {
  std::vector<ListenerState> states;
  for (broadcaster_stats& stats : broadcasterStats())
    states.push_back({std::move(stats.key), std::move(stats.listener), stats.count, stats.elapsed});
  return states;
}

Result<LogState> ThisProgram::log(const LogPlace& after, std::size_t limit) {
  const auto identifier = Bundle::mainBundle()->identifier();
  auto path = identifier ? Logger::path(*identifier) : std::nullopt;
  if (!path) return LogState();
  LogState state = readLog(std::move(*path), after, limit);
  if (const auto logger = Logger::existing()) state.lines = logger->lines();
  return state;
}

Result<std::vector<SettingState>> ThisProgram::settings() {
  const auto defaults = UserDefaults::shared();
  std::vector<SettingState> settings;
  // Reading a domain that is not there yet would leave files.
  const auto domains = UserDefaults::domains();
  if (!domains) return tl::unexpected(domains.error());
  if (std::ranges::find(*domains, defaults->domain()) == domains->end()) return settings;
  auto entries = defaults->domainDictionary();
  if (!entries) return tl::unexpected(std::move(entries).error());
  for (auto& [key, value] : *entries)
    settings.push_back(
        {key, allows(Diagnostics::SettingValues) ? std::optional<Value>(std::move(value)) : std::nullopt});
  return settings;
}

Result<std::shared_ptr<void>> ThisProgram::watch() {
  return std::make_shared<Activity::Watch>();
}

Result<Recording> ThisProgram::recording(double seconds) {
  if (!(seconds >= 0)) return systemFailure(EINVAL);
  const std::int64_t now = Clock::now();
  const double reach = std::min(seconds * 1e9, static_cast<double>(now));
  const std::int64_t from = now - static_cast<std::int64_t>(reach);
  std::uint64_t lost = 0;
  Recording recording;
  Activity::read(0, recording.spans, lost);
  recording.lost = lostSince(from, recording.spans, lost);
  std::erase_if(recording.spans, [from](const ActivitySpan& span) { return span.end < from; });
  std::ranges::stable_sort(recording.spans, {}, &ActivitySpan::end);
  std::ranges::move(running(), std::back_inserter(recording.spans));
  return recording;
}

// Parts are noted before the whole, so that a span has a long part if a long one before it began later.
Result<LongSpans> ThisProgram::longSpans(std::uint64_t since, std::int64_t nsec) {
  if (nsec <= 0) return systemFailure(EINVAL);
  LongSpans result;
  const std::uint64_t position = since > 0 ? since - 1 : Activity::position();
  result.next = Activity::read(position, result.spans, result.lost, nsec) + 1;
  std::erase_if(result.spans,
                [nsec](const ActivitySpan& span) { return !span.isOnMainThread() || span.end - span.start < nsec; });
  // The main queue alone tells whether it is worth to look for what runs. It knows no item that began unwatched.
  const std::int64_t now = Clock::now();
  const std::int64_t item = platform().mainQueue().state().runningSince;
  if (item == 0 ? since == 0 : now - item >= nsec) {
    const auto running = runningOnMainThread();
    std::ranges::copy_if(running.rbegin(), running.rend(), std::back_inserter(result.spans),
                         [&](const ActivitySpan& span) { return now - span.start >= nsec; });
  }
  if (result.spans.empty()) return result;
  std::int64_t latest =
      latestStartBefore(position, std::ranges::min(result.spans, {}, &ActivitySpan::start).start, nsec);
  std::erase_if(result.spans, [&latest](const ActivitySpan& span) {
    const bool hasPart = latest >= span.start;
    latest = std::max(latest, span.start);
    return hasPart;
  });
  return result;
}

Result<void> ThisProgram::mayControl() const {
  if (allows(Diagnostics::Control)) return {};
  return failure("posix", EPERM, "The program does not allow others to control it");
}

Result<void> ThisProgram::resetStats() {
  return mayControl().map([] { MasterTimer::instance()->resetStats(); });
}

Result<void> ThisProgram::setTimeConstant(double seconds) {
  if (!std::isfinite(seconds) || seconds <= 0) return systemFailure(EINVAL);
  return mayControl().map([seconds] { MasterTimer::instance()->setTimeConstant(seconds); });
}

Result<void> ThisProgram::setPaused(std::uint64_t id, bool paused) {
  return mayControl().and_then([=]() -> Result<void> {
    if (MasterTimer::instance()->setPaused(id, paused)) return {};
    return failure("posix", ENOENT, "The repeater does not exist any more");
  });
}

}  // namespace corvane
