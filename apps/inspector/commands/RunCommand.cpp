#include "apps/inspector/commands/RunCommand.h"

#include <algorithm>
#include <chrono>
#include <cstdio>
#include <string>
#include <vector>

#include "apps/common/OptionReader.h"
#include "apps/common/Output.h"
#include "apps/inspector/commands/ChildCommand.h"
#include "apps/inspector/model/TextFile.h"
#include "apps/inspector/text/Format.h"
#include "apps/inspector/text/SignalName.h"
#include "corvane/system/Task.h"

namespace corvane::inspector {

namespace {

// The most memory that this process has had, in bytes.
std::uint64_t ownPeak() {
  static constexpr std::string_view KEY = "VmHWM:";
  const std::string status = readText("/proc/self/status").value_or("");
  for (const std::string_view line : linesOf(status))
    if (const auto fields = fieldsOf(line); fields.size() > 1 && fields[0] == KEY)
      return numberIn<std::uint64_t>(fields[1]).value_or(0) * 1024;
  return 0;
}

// The resources that a command used.
struct Outcome {
  int status;
  bool killed;  // the status is a signal's number
  std::chrono::duration<double> wall;
  rusage usage;
  std::uint64_t floor;  // a peak of memory up to this is unknown

  std::uint64_t peak() const { return static_cast<std::uint64_t>(usage.ru_maxrss) * 1024; }
};

double seconds(const timeval& time) {
  return static_cast<double>(time.tv_sec) + static_cast<double>(time.tv_usec) / 1e6;
}

std::string lineOf(const std::string& command, const Outcome& outcome) {
  const auto time = [](double value) { return decimal(value, 3) + " s"; };
  return printable("corvane-inspector: " + command + ": ", Glyphs::ofLocale()) +
         (outcome.killed ? "killed by " + signalName(outcome.status) : "status " + std::to_string(outcome.status)) +
         ", " + time(outcome.wall.count()) + ", user " + time(seconds(outcome.usage.ru_utime)) + ", system " +
         time(seconds(outcome.usage.ru_stime)) + ", peak memory " +
         (outcome.peak() > outcome.floor ? bytes(outcome.peak()) : "at most " + bytes(outcome.floor));
}

std::string objectOf(const std::vector<std::string>& command, const Outcome& outcome) {
  const bool known = outcome.peak() > outcome.floor;
  return R"({"command":)" + jsonArray(command, jsonString) + R"(,"status":)" +
         (outcome.killed ? "null" : std::to_string(outcome.status)) + R"(,"signal":)" +
         (outcome.killed ? jsonString(signalName(outcome.status)) : "null") + R"(,"wall_seconds":)" +
         jsonNumber(outcome.wall.count(), 6) + R"(,"user_seconds":)" + jsonNumber(seconds(outcome.usage.ru_utime), 6) +
         R"(,"system_seconds":)" + jsonNumber(seconds(outcome.usage.ru_stime), 6) + R"(,"peak_memory_bytes":)" +
         std::to_string(known ? outcome.peak() : outcome.floor) + R"(,"peak_memory_is_bound":)" +
         (known ? "false" : "true") + "}";
}

}  // namespace

int runCommand(const Arguments& arguments) {
  // The command begins after "--", or with the first argument that is not an option.
  auto begin = std::ranges::find_if(arguments, [](std::string_view a) { return !a.starts_with("-") || a == "--"; });
  const Arguments own(arguments.begin(), begin);
  if (begin != arguments.end() && *begin == "--") ++begin;
  bool json = false;
  for (OptionReader option(own); option.next();) {
    if (option.name() != "--json") return failUsage(option.unknown().value());
    if (const auto none = option.noValue(); !none) return failUsage(none.error());
    json = true;
  }
  if (begin == arguments.end()) return failUsage("run: the command is missing");
  const std::vector<std::string> command(begin, arguments.end());
  const ChildCommand child;
  std::uint64_t floor = 0;
  const auto started = std::chrono::steady_clock::now();
  // The child starts in this process's memory, so its peak starts from the peak of this process.
  const auto task = child.run(command, [&floor] { floor = ownPeak(); });
  if (!task) return task.error();
  const std::chrono::duration<double> wall = std::chrono::steady_clock::now() - started;
  const bool killed = (*task)->terminationReason() == Task::TerminationReason::UNCAUGHT_SIGNAL;
  const Outcome outcome{(*task)->terminationStatus().value_or(-1), killed, wall, (*task)->resourceUsage(), floor};
  std::fprintf(stderr, "%s\n", (json ? objectOf(command, outcome) : lineOf(command.front(), outcome)).c_str());
  return ChildCommand::exitStatus(**task);
}

}  // namespace corvane::inspector
