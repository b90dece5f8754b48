#include "apps/common/Command.h"

#include <algorithm>
#include <clocale>
#include <exception>
#include <iterator>
#include <string>

#include "apps/common/Completion.h"
#include "apps/common/HelpText.h"
#include "apps/common/Manual.h"
#include "apps/common/Output.h"
#include "corvane/infra/Bundle.h"

namespace corvane {

namespace {

int print(const std::string& text) {
  return statusAfterOutput(writeOut(text));
}

bool asksForHelp(std::string_view argument) {
  return argument == "--help" || argument == "-h";
}

std::string usageOf(const Program& program, std::string_view rest) {
  return std::string("Usage: ").append(program.name).append(" ").append(rest).append("\n\n");
}

std::string helpOf(const Program& program) {
  std::string text = usageOf(program, program.hasDefault ? "[COMMAND] [ARGUMENT]..." : "COMMAND [ARGUMENT]...");
  const auto widest =
      std::ranges::max(program.commands, {}, [](const Command& command) { return command.name.size(); }).name.size();
  for (const Command& command : program.commands) {
    text.append("  ").append(command.name).append(widest + 2 - command.name.size(), ' ').append(command.summary);
    text += program.hasDefault && &command == program.commands.data() ? " (the default)\n" : "\n";
  }
  text.append("\n").append(program.notes).append(program.notes.empty() ? "" : "\n").append(PROGRAM_OPTIONS);
  return text;
}

std::string helpOf(const Program& program, const Command& command) {
  std::string text =
      usageOf(program, std::string(command.name).append(command.name.empty() ? "" : " ").append(command.usage));
  text.append(sentence(command.summary)).append("\n");
  if (!command.details.empty()) text.append("\n").append(command.details);
  return text;
}

int runCommand(const Program& program, const Command& command, const Arguments& arguments) {
  const auto end = command.takesAnyText ? arguments.begin() + std::min<std::ptrdiff_t>(1, std::ssize(arguments))
                                        : std::ranges::find(arguments, "--");
  if (std::any_of(arguments.begin(), end, asksForHelp)) return print(helpOf(program, command));
  return command.run(arguments);
}

int run(const Program& program, Arguments arguments) {
  const std::string_view first = arguments.empty() ? std::string_view() : arguments.front();
  if (first == "help" && arguments.size() == 2) return run(program, {arguments[1], "--help"});
  if (first == "help") return print(helpOf(program));
  if (const auto status = answer(program, arguments)) return *status;
  if (program.hasDefault && (arguments.empty() || first.starts_with("-")))
    return runCommand(program, program.commands.front(), arguments);
  if (arguments.empty()) return failUsage("a command is missing");
  const auto command = std::ranges::find(program.commands, first, &Command::name);
  if (command == program.commands.end()) return failUsage(std::string(first) + ": unknown command");
  arguments.erase(arguments.begin());
  return runCommand(program, *command, arguments);
}

}  // namespace

std::optional<int> answer(const Program& program, const Arguments& arguments) {
  if (arguments.empty()) return std::nullopt;
  const std::string_view first = arguments.front();
  const Arguments rest(arguments.begin() + 1, arguments.end());
  if (first == "--complete") return print(completionText(program, rest));
  if (first == "--manual" && rest.empty()) return print(manualText(program));
  if (first == "--version")
    return print(Bundle::mainBundle()->appVersionName().value_or(std::string(program.name) + ", no bundle") + '\n');
  if (asksForHelp(first))
    return print(program.commands.front().name.empty() ? helpOf(program, program.commands.front()) : helpOf(program));
  return std::nullopt;
}

int runProgram(const Program& program, int argc, char** argv) {
  // Only the encoding of text: numbers keep their point.
  std::setlocale(LC_CTYPE, "");
  setProgramName(program.name);
  try {
    return run(program, {argv + 1, argv + argc});
  } catch (const std::exception& error) {
    return fail(error.what());
  }
}

}  // namespace corvane
