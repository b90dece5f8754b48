#include "apps/inspector/text/ProgramText.h"

#include <algorithm>
#include <array>

#include "apps/inspector/text/FittedTable.h"
#include "apps/inspector/text/Format.h"

namespace corvane::inspector {

namespace {

std::string orDash(std::string_view text, const Glyphs& glyphs) {
  return text.empty() ? "-" : printable(text, glyphs);
}

std::string textOrNull(std::string_view text) {
  return text.empty() ? "null" : jsonString(text);
}

std::string momentOrNull(std::int64_t nsec) {
  return nsec == 0 ? "null" : jsonString(iso8601(Timeval::nsec(nsec)));
}

std::string boolean(bool value) {
  return value ? "true" : "false";
}

std::string averageObject(const AverageState& average) {
  return R"({"last":)" + jsonNumber(average.last, 3) + R"(,"average":)" + jsonNumber(average.smoothed, 3) +
         R"(,"deviation":)" + jsonNumber(average.deviation, 3) + "}";
}

std::string repeaterObject(const RepeaterState& state) {
  return R"({"id":)" + std::to_string(state.id) + R"(,"name":)" + jsonString(state.name) + R"(,"interval_seconds":)" +
         jsonNumber(state.interval, 6) + R"(,"time_constant_seconds":)" + jsonNumber(state.timeConstant, 3) +
         R"(,"count":)" + std::to_string(state.count) + R"(,"total_seconds":)" +
         jsonNumber(state.totalElapsed / 1e6, 6) + R"(,"duration_microseconds":)" + averageObject(state.elapsed) +
         R"(,"period_microseconds":)" + averageObject(state.period) + R"(,"running_since":)" +
         momentOrNull(state.runningSince) + R"(,"paused":)" + boolean(state.isPaused) + "}";
}

std::string queueObject(const QueueState& state) {
  return R"({"label":)" + jsonString(state.label) + R"(,"waiting":)" + std::to_string(state.depth) + R"(,"item":)" +
         textOrNull(state.item) + R"(,"running_since":)" + momentOrNull(state.runningSince) + "}";
}

std::string timerObject(const TimerState& state) {
  return R"({"label":)" + jsonString(state.label) + R"(,"period_seconds":)" +
         jsonNumber(static_cast<double>(state.usecs) / 1e6, 6) + R"(,"running_since":)" +
         momentOrNull(state.runningSince) + "}";
}

std::string longestObject(const LongestState& state) {
  if (state.duration == 0) return "null";
  return R"({"name":)" + textOrNull(state.name) + R"(,"began":)" + momentOrNull(state.began) +
         R"(,"duration_seconds":)" + jsonNumber(secondsOf(state.duration), 6) + "}";
}

std::string listenerObject(const ListenerState& state) {
  return R"({"key":)" + jsonString(state.key) + R"(,"listener":)" + jsonString(state.listener) + R"(,"count":)" +
         std::to_string(state.count) + R"(,"total_microseconds":)" + std::to_string(state.elapsed) + "}";
}

std::string_view wordOf(ActivitySpan::Kind kind) {
  static constexpr std::array<std::string_view, ActivitySpan::KINDS> WORDS = {"repeater", "item", "loop", "queue item",
                                                                              "timer"};
  return WORDS.at(static_cast<std::size_t>(kind));
}

}  // namespace

std::string absenceOf(std::string_view program, Presence presence) {
  switch (presence) {
    case Presence::HERE:
      return {};
    case Presence::SILENT:
      return std::string(program) + " does not answer.";
    case Presence::ENDED:
      return std::string(program) + " has ended; waiting for it to start again.";
  }
  return {};
}

std::string lengthText(double seconds) {
  if (seconds >= 1) return decimal(seconds, seconds < 10 ? 2 : 1) + " s";
  return decimal(seconds * 1e3, seconds < 0.001 ? 3 : seconds < 0.01 ? 1 : 0) + " ms";
}

std::string subjectOf(const ActivitySpan& span) {
  if (!span.name.empty()) return span.name;
  return span.kind == ActivitySpan::Kind::MAIN_LOOP
             ? "main loop: work outside the library (a toolkit's events, for example)"
             : std::string(wordOf(span.kind)) + " without a name";
}

std::string programLine(const ProgramIdentity& program, const Glyphs& glyphs) {
  std::string line = std::to_string(program.pid);
  for (const std::string& text : {program.name, program.identifier, program.executable})
    if (!text.empty()) line += "  " + printable(text, glyphs);
  return line;
}

std::string programTable(const std::vector<RunningProgram>& programs, const Glyphs& glyphs,
                         std::optional<std::size_t> width) {
  std::vector<FittedColumn> columns = {{"PID", true},    {"Name", false},    {"Version", false},
                                       {"Since", false}, {"Control", false}, {"Identifier", false}};
  for (const RunningProgram& program : programs) {
    const ProgramIdentity identity = program.identity.value_or(ProgramIdentity());
    const std::array<std::string, 6> cells = {
        std::to_string(program.pid),
        program.identity ? orDash(identity.name, glyphs)
                         : "(" + printable(program.identity.error().description, glyphs) + ")",
        orDash(identity.version, glyphs),
        identity.started == 0 ? "-" : Timeval::nsec(identity.started).timestamp().substr(0, 19),
        !program.identity        ? "-"
        : identity.allowsControl ? "yes"
                                 : "no",
        orDash(identity.identifier, glyphs)};
    for (std::size_t i = 0; i < cells.size(); ++i) columns[i].cells.push_back(cells.at(i));
  }
  static constexpr std::array<std::size_t, 3> DISPENSABLE = {2, 3, 4};
  return fittedTable(std::move(columns), DISPENSABLE, width);
}

std::string programObject(const RunningProgram& program) {
  const std::string pid = R"({"pid":)" + std::to_string(program.pid);
  if (!program.identity) return pid + R"(,"error":)" + jsonString(program.identity.error().description) + "}";
  const ProgramIdentity& identity = *program.identity;
  return pid + R"(,"name":)" + jsonString(identity.name) + R"(,"identifier":)" + textOrNull(identity.identifier) +
         R"(,"version":)" + textOrNull(identity.version) + R"(,"executable":)" + jsonString(identity.executable) +
         R"(,"started":)" + momentOrNull(identity.started) + R"(,"library":)" + jsonString(identity.library) +
         R"(,"allows_control":)" + boolean(identity.allowsControl) + R"(,"shows_setting_values":)" +
         boolean(identity.showsSettingValues) + "}";
}

std::string figuresObject(const ProgramIdentity& program, const std::vector<RepeaterState>& repeaters,
                          const QueueStates& queues, const std::vector<ListenerState>& listeners, Timeval time) {
  return R"({"time":)" + jsonString(iso8601(time)) + R"(,"program":)" + programObject({program.pid, program}) +
         R"(,"repeaters":)" + jsonArray(repeaters, repeaterObject) + R"(,"main_queue":)" + queueObject(queues.main) +
         R"(,"longest_wait":)" + longestObject(queues.longestWait) + R"(,"longest_item":)" +
         longestObject(queues.longestItem) + R"(,"serial_queues":)" + jsonArray(queues.serial, queueObject) +
         R"(,"timers":)" + jsonArray(queues.timers, timerObject) + R"(,"listeners":)" +
         jsonArray(listeners, listenerObject) + "}";
}

std::string spanMembers(const ActivitySpan& span, std::int64_t now) {
  const std::int64_t length = (span.end == 0 ? now : span.end) - span.start;
  return R"("began":)" + momentOrNull(span.start) + R"(,"duration_seconds":)" + jsonNumber(secondsOf(length), 6) +
         R"(,"goes_on":)" + boolean(span.end == 0) + R"(,"kind":)" + jsonString(wordOf(span.kind)) + R"(,"name":)" +
         textOrNull(span.name);
}

}  // namespace corvane::inspector
