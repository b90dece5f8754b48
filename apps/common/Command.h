#pragma once

#include <optional>
#include <span>
#include <string>
#include <string_view>
#include <vector>

namespace corvane {

using Arguments = std::vector<std::string_view>;

/// A subcommand of a program.
struct Command {
  std::string_view name;     ///< empty if it is the program's only one, which the command line does not name
  std::string_view usage;    ///< what follows the name on the command line: "DOMAIN [KEY]"
  std::string_view summary;  ///< what it does, in one line: "show a log"
  std::string_view details;  ///< help for its arguments and options, as lines, see HelpText.h; may be empty
  int (*run)(const Arguments& arguments);
  bool takesAnyText = false;  ///< only its first argument is checked for --help, because others may be any text
};

/// A word that a shell may complete, and what it is.
struct Candidate {
  std::string word;
  std::string description = {};
};

/// What may stand for a word in capital letters in usage and help, such as "DOMAIN".
struct Values {
  std::string_view placeholder;
  /// Lists them, given the operands before it.
  std::vector<Candidate> (*list)(const Arguments& operands);
};

/// A program of several commands.
struct Program {
  std::string_view name;
  std::span<const Command> commands;
  std::string_view notes = {};          ///< shown below the list of commands, as lines
  bool hasDefault = false;              ///< the first command runs if the command line names none
  std::span<const Values> values = {};  ///< for the shells' completion
};

/// Runs the command named on the command line, with the arguments after its name; returns the result for main().
/// "--help" and "-h" show the list of commands or, after a command's name and before any "--", the help for that
/// command alone. An exception that leaves a command is reported.
int runProgram(const Program& program, int argc, char** argv);

/// Answers --help, -h and --version, which the list of commands explains, and two options that it does not show:
/// --manual prints the commands for the program's manual page (Manual.h), --complete WORD... the words that a shell may
/// put in the place of the last one (Completion.h). Returns the result for main(); std::nullopt if nothing of it is
/// asked.
std::optional<int> answer(const Program& program, const Arguments& arguments);

}  // namespace corvane
