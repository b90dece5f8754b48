// awake: keeps the machine awake for as long as a command runs.

#include <cstdio>
#include <cstring>
#include <string>
#include <string_view>
#include <vector>

#include "corvane/system/PowerAssertion.h"
#include "corvane/system/Task.h"

using corvane::PowerAssertion;
using corvane::Task;

namespace {

constexpr const char* USAGE =
    "Usage: awake [--display] COMMAND [ARGUMENT...]\n"
    "Runs the command; until it ends the machine does not fall asleep because nobody touches it, and with --display\n"
    "the display does not either. The status is the command's.\n";

}  // namespace

int main(int count, char** arguments) {
  std::vector<std::string> command(arguments + 1, arguments + count);
  if (!command.empty() && command[0] == "--help") return std::fputs(USAGE, stdout) < 0;
  const bool isDisplay = !command.empty() && command[0] == "--display";
  if (isDisplay) command.erase(command.begin());
  if (command.empty() || command[0].starts_with("--")) {
    std::fprintf(stderr, "awake: a command is needed\n%s", USAGE);
    return 2;
  }

  // Where there is no service for it, the command runs all the same.
  PowerAssertion power;
  power.setReason("Running " + command[0]);  // systems show it
  if (const int code = power.prevent(isDisplay ? "PreventUserIdleDisplaySleep" : "PreventUserIdleSystemSleep"))
    std::fprintf(stderr, "awake: the machine may fall asleep: %s\n", std::strerror(code));

  command.insert(command.begin(), "--");
  const auto task = Task::create({.executable = "/usr/bin/env",  // looks for the command in PATH
                                  .arguments = command,
                                  .sharesGroup = true});  // the terminal is the command's, too
  if (const auto ran = task->run(); !ran) {
    std::fprintf(stderr, "awake: %s\n", ran.error().description.c_str());
    return 127;
  }
  power.allowAll();  // otherwise it would end with this process
  const int status = *task->terminationStatus();
  return task->terminationReason() == Task::TerminationReason::EXIT ? status : 128 + status;
}
