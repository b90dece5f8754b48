#include <algorithm>
#include <array>
#include <clocale>
#include <cstdio>
#include <exception>
#include <string>

#include "apps/common/Command.h"
#include "apps/inspector/commands/Get.h"
#include "apps/inspector/commands/Log.h"
#include "apps/inspector/commands/Login.h"
#include "apps/inspector/commands/Pid.h"
#include "apps/inspector/commands/Ps.h"
#include "apps/inspector/commands/RunCommand.h"
#include "apps/inspector/commands/Tree.h"
#include "apps/inspector/commands/Watch.h"
#include "apps/inspector/live/ViewSettings.h"
#include "apps/inspector/text/Output.h"
#include "corvane/infra/Bundle.h"

namespace corvane::inspector {

namespace {

// The first is what the program does without the name of a command.
constexpr std::array COMMANDS = {
    Command{"watch", "show the machine's load and the program's repeaters", WatchOptions::HELP, watch},
    Command{"log", "show a log", LogOptions::HELP, showLog},
    Command{"login", "start the program when the user logs in", LOGIN_HELP, login},
    Command{"settings", "show or change what the live view remembers", SETTINGS_HELP, settings},
    Command{"get", "make an HTTP request", GET_HELP, get},
    Command{"pid", "plot a heater under three tunings of a PID controller", PID_HELP, pid},
    Command{"tree", "draw a folder as a tree", TREE_HELP, tree},
    Command{"ps", "list the processes and what they use", PS_HELP, ps},
    Command{"run", "run a command and tell what it took", RUN_HELP, runCommand},
};

int help() {
  std::string text = "Usage: corvane-inspector [COMMAND] [OPTION]...\n\n";
  for (const Command& command : COMMANDS) {
    text.append(command.name).append(": ").append(command.summary);
    text.append(&command == COMMANDS.data() ? " (the default)\n" : "\n").append(command.options).append("\n");
  }
  text += "  --help         show this help\n  --version      show the program's version\n";
  return std::fputs(text.c_str(), stdout) < 0 ? 1 : 0;
}

int version() {
  const std::string name = Bundle::mainBundle()->appVersionName().value_or("Corvane Inspector, no bundle");
  return std::puts(name.c_str()) < 0 ? 1 : 0;
}

int run(Arguments arguments) {
  const auto end = std::find(arguments.begin(), arguments.end(), "--");  // what follows is another program's
  const auto asks = [&](std::string_view option) { return std::find(arguments.begin(), end, option) != end; };
  if (asks("--help")) return help();
  if (asks("--version")) return version();
  if (arguments.empty() || arguments.front().starts_with("-")) return COMMANDS.front().run(arguments);
  const auto command =
      std::find_if(COMMANDS.begin(), COMMANDS.end(), [&](const Command& c) { return c.name == arguments.front(); });
  if (command == COMMANDS.end()) return failUsage(std::string(arguments.front()) + ": unknown command");
  arguments.erase(arguments.begin());
  return command->run(arguments);
}

}  // namespace

}  // namespace corvane::inspector

int main(int argc, char** argv) {
  // Only the encoding of text: numbers keep their point.
  std::setlocale(LC_CTYPE, "");
  try {
    return corvane::inspector::run({argv + 1, argv + argc});
  } catch (const std::exception& error) {
    return corvane::inspector::fail(error.what());
  }
}
