#include "apps/inspector/model/AttachedSource.h"

#include <algorithm>
#include <cmath>
#include <utility>

namespace corvane::inspector {

namespace {

// The oldest of several repeaters with one name keeps it; the others get numbers.
std::map<std::string, RepeaterState, std::less<>> byUniqueName(std::vector<RepeaterState> states) {
  std::ranges::sort(states, {}, &RepeaterState::id);
  std::map<std::string, RepeaterState, std::less<>> named;
  for (RepeaterState& state : states) {
    std::string name = state.name;
    for (int number = 2; named.contains(name); ++number) name = state.name + " (" + std::to_string(number) + ")";
    named.emplace(std::move(name), std::move(state));
  }
  return named;
}

}  // namespace

RepeaterRow rowOf(std::string name, const RepeaterState& state) {
  return {std::move(name),        state.count,   state.totalElapsed / 1e6, state.period.smoothed / 1e6,
          state.elapsed.smoothed, state.isPaused};
}

AttachedSource::AttachedSource(Machine& machine, DiagnosticsPort& port, ProgramIdentity program,
                               std::function<void()> changed)
    : ProgramSource(std::make_shared<ProgramLink>(port, program)),
      m_machine(machine),
      m_changed(std::move(changed)),
      m_identity(std::move(program)),
      m_feed(
          "attached program", [link = link(), wanted = m_wanted] { return ask(*link, wanted->exchange(0)); },
          [this](Figures figures) { take(std::move(figures)); }, queue()) {}

AttachedSource::Figures AttachedSource::ask(ProgramLink& link, unsigned parts) {
  Figures figures;
  bool isAnswered = true;  // otherwise it would be waited for again
  const auto get = [&](Part part, auto& target, auto call) {
    if ((parts & part) == 0 || !isAnswered) return;
    auto answer = link.ask(call);
    isAnswered = answer.has_value();
    if (answer) target = std::move(*answer);
  };
  get(REPEATERS, figures.repeaters, [](Inspectable& program) { return program.repeaters(); });
  get(LISTENERS, figures.listeners, [](Inspectable& program) { return program.listeners(); });
  get(LOG, figures.log, [](Inspectable& program) { return program.log({}, 0); });
  if (parts == 0) link.look();
  figures.presence = link.presence();
  figures.identity = link.identity();
  return figures;
}

// What is new to be asked for is asked for at once.
void AttachedSource::want(Part part) const {
  m_wanted->fetch_or(part);
  if ((std::exchange(m_known, m_known | part) & part) == 0) m_feed.sampleNow();
}

void AttachedSource::take(Figures figures) {
  m_presence = figures.presence;
  m_identity = std::move(figures.identity);
  if (figures.repeaters) {
    if (!figures.repeaters->empty())
      m_timeConstant = static_cast<int>(std::lround(
          std::fmax(MIN_TIME_CONSTANT, std::fmin(MAX_TIME_CONSTANT, figures.repeaters->front().timeConstant))));
    m_repeaters = byUniqueName(std::move(*figures.repeaters));
  }
  if (figures.listeners) {
    m_listeners.clear();
    for (ListenerState& state : *figures.listeners)
      m_listeners.push_back({std::move(state.key), std::move(state.listener), state.count, state.elapsed});
  }
  if (figures.log) m_log = figuresOf(std::move(*figures.log));
  m_changed();
}

std::vector<broadcaster_stats> AttachedSource::listeners() const {
  want(LISTENERS);
  return m_listeners;
}

LogFigures AttachedSource::log() const {
  want(LOG);
  return m_log;
}

std::vector<RepeaterRow> AttachedSource::rows() const {
  want(REPEATERS);
  std::vector<RepeaterRow> rows;
  for (const auto& [name, state] : m_repeaters) rows.push_back(rowOf(name, state));
  return rows;
}

// A failure shows in what is read next.
void AttachedSource::control(std::function<Result<void>(Inspectable&)> call) {
  if (!m_identity.allowsControl) return;
  queue()->async([link = link(), call = std::move(call)] { (void)link->ask(call); });
  m_wanted->fetch_or(REPEATERS);
  m_feed.sampleNow();
}

void AttachedSource::togglePause(std::string_view name) {
  const auto found = m_repeaters.find(name);
  if (found == m_repeaters.end()) return;
  control([id = found->second.id, pauses = !found->second.isPaused](Inspectable& program) {
    return program.setPaused(id, pauses);
  });
}

void AttachedSource::resetStats() {
  control([](Inspectable& program) { return program.resetStats(); });
}

void AttachedSource::setTimeConstant(int seconds) {
  if (m_identity.allowsControl) m_timeConstant = std::clamp(seconds, MIN_TIME_CONSTANT, MAX_TIME_CONSTANT);
  control([seconds = m_timeConstant](Inspectable& program) { return program.setTimeConstant(seconds); });
}

}  // namespace corvane::inspector
