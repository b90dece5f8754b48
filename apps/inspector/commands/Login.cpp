#include "apps/inspector/commands/Login.h"

#include <csignal>

#include "apps/common/Output.h"
#include "corvane/infra/Bundle.h"
#include "corvane/infra/LaunchAtLogin.h"

namespace corvane::inspector {

int login(const Arguments& arguments) {
  const std::string_view wish = arguments.size() == 1 ? arguments.front() : "";
  if (wish != "on" && wish != "off" && wish != "status") return failUsage("login: expects on, off or status");
  const auto bundle = Bundle::mainBundle();
  if (!bundle->identifier()) return fail("login: the program's information dictionary is missing");
  const std::string name = bundle->bundleName().value_or(*bundle->identifier());

  LaunchAtLogin login;
  if (wish == "on") login.writePlist();
  if (wish == "off") login.unlinkAgent();
  const bool on = login.agentIsValid();
  if (wish != "status" && on != (wish == "on")) return fail("login: the launch agent could not be changed");
  std::signal(SIGPIPE, SIG_IGN);
  return statusAfterOutput(writeOut(name + (on ? " starts at login\n" : " does not start at login\n")));
}

}  // namespace corvane::inspector
