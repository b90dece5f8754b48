// command: runs a command line under a time limit and passes its output on as it comes, each line with the time.

#include <cstdio>
#include <string>
#include <string_view>

#include "corvane/core/Text.h"
#include "corvane/core/Timeval.h"
#include "corvane/system/Task.h"

using corvane::Task;
using corvane::Timeval;

namespace {

constexpr const char* USAGE =
    "Usage: command SECONDS 'COMMAND LINE'\n"
    "Runs the command line in a shell, for that long at most. The status is the command's; 124 if it took too long.\n";

// Puts lines together from pieces, which end anywhere, and prints them with the seconds since the start.
class Lines {
 public:
  void add(std::string_view piece) {
    for (const char byte : piece) {
      if (byte == '\n')
        print();
      else
        m_line += byte;
    }
    if (piece.empty() && !m_line.empty()) print();  // the end
  }

 private:
  void print() {
    std::printf("%8.3f  %s\n", static_cast<double>(m_start.elapsed()) / 1e6, m_line.c_str());
    std::fflush(stdout);
    m_line.clear();
  }

  const Timeval m_start;
  std::string m_line;
};

}  // namespace

int main(int count, char** arguments) {
  const std::string_view limit = count > 1 ? arguments[1] : "";
  if (limit == "--help") return std::fputs(USAGE, stdout) < 0;
  const auto seconds = corvane::numberIn<double>(limit);
  if (count != 3 || !seconds || !(*seconds > 0 && *seconds < 1e9)) {
    std::fprintf(stderr, "command: a number of seconds and one command line, in quotes, are needed\n%s", USAGE);
    return 2;
  }

  Lines lines;
  const auto task =
      Task::create({.executable = "/bin/sh",
                    .arguments = {"-c", arguments[2]},
                    .input = Task::Stream::nothing(),
                    .output = Task::Stream::read([&](Task&, std::string_view piece) { lines.add(piece); }),
                    .error = Task::Stream::output(),
                    .limit = Timeval::sec(0) + *seconds});
  if (const auto ran = task->run(); !ran) {  // launch() would return at once
    std::fprintf(stderr, "command: %s\n", ran.error().description.c_str());
    return 127;
  }
  // At the limit the command is killed, together with everything that it has started.
  if (task->exceededLimit()) return std::fprintf(stderr, "command: stopped after %g s\n", *seconds), 124;
  const int status = *task->terminationStatus();
  if (task->terminationReason() == Task::TerminationReason::EXIT) return status;
  std::fprintf(stderr, "command: killed by signal %d\n", status);
  return 128 + status;
}
