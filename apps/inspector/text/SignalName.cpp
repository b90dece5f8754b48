#include "apps/inspector/text/SignalName.h"

#include <signal.h>

#include <utility>

namespace corvane::inspector {

std::string signalName(int number) {
  static constexpr std::pair<int, const char*> NAMES[] = {
      {SIGABRT, "SIGABRT"}, {SIGALRM, "SIGALRM"},    {SIGBUS, "SIGBUS"},   {SIGCHLD, "SIGCHLD"}, {SIGCONT, "SIGCONT"},
      {SIGFPE, "SIGFPE"},   {SIGHUP, "SIGHUP"},      {SIGILL, "SIGILL"},   {SIGINT, "SIGINT"},   {SIGKILL, "SIGKILL"},
      {SIGPIPE, "SIGPIPE"}, {SIGPROF, "SIGPROF"},    {SIGQUIT, "SIGQUIT"}, {SIGSEGV, "SIGSEGV"}, {SIGSTOP, "SIGSTOP"},
      {SIGSYS, "SIGSYS"},   {SIGTERM, "SIGTERM"},    {SIGTRAP, "SIGTRAP"}, {SIGTSTP, "SIGTSTP"}, {SIGTTIN, "SIGTTIN"},
      {SIGTTOU, "SIGTTOU"}, {SIGURG, "SIGURG"},      {SIGUSR1, "SIGUSR1"}, {SIGUSR2, "SIGUSR2"}, {SIGXCPU, "SIGXCPU"},
      {SIGXFSZ, "SIGXFSZ"}, {SIGVTALRM, "SIGVTALRM"}};
  for (const auto& [signal, name] : NAMES)
    if (signal == number) return name;
  return "signal " + std::to_string(number);
}

}  // namespace corvane::inspector
