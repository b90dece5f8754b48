#pragma once

#include <span>
#include <string_view>
#include <vector>

namespace corvane {

using Arguments = std::vector<std::string_view>;

/// A subcommand of a program.
struct Command {
  std::string_view name;
  std::string_view usage;    ///< what follows the name on the command line: "DOMAIN [KEY]"
  std::string_view summary;  ///< what it does, in one line: "show a log"
  std::string_view details;  ///< help for its arguments and options, as lines; may be empty
  int (*run)(const Arguments& arguments);
  bool takesAnyText = false;  ///< only its first argument is checked for --help, because others may be any text
};

/// A program of several commands.
struct Program {
  std::string_view name;
  std::span<const Command> commands;
  std::string_view notes = {};  ///< shown below the list of commands, as lines
  bool hasDefault = false;      ///< the first command runs if the command line names none
};

/// Runs the command named on the command line, with the arguments after its name; returns the result for main().
/// "--help" and "-h" show the list of commands or, after a command's name and before any "--", the help for that
/// command alone. An exception that leaves a command is reported.
int runProgram(const Program& program, int argc, char** argv);

}  // namespace corvane
