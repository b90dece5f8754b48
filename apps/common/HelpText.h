#pragma once

#include <string>
#include <string_view>
#include <vector>

#include "apps/common/Command.h"

namespace corvane {

/// The options of every program with commands.
inline constexpr std::string_view PROGRAM_OPTIONS =
    "  COMMAND --help  explain one command\n"
    "  -h, --help      show the list of commands\n"
    "  --version       show the program's version\n";

/// Takes what is in front of the separator off the text, and the separator too; all of it if there is none.
std::string_view takeUntil(std::string_view& text, std::string_view separator);

/// A part of a command's help: a paragraph, or an argument or option with its explanation.
struct HelpPart {
  std::string_view term;  ///< "--lines N", "-h, --help", "FILE"; empty for a paragraph
  std::string text;       ///< in one line
  unsigned level = 0;     ///< of a term: 1 if it belongs to the one before it

  /// Whether it explains the option of this name, with its dashes.
  bool isOption(std::string_view name) const;

  /// The placeholder of the option's value; empty if it takes none.
  std::string_view value() const;
};

/// The parts of Command::details. Terms are indented by two columns, or by four if they belong to the one above, and
/// two blanks or more separate them from their explanation, which goes on in the same column.
std::vector<HelpPart> helpParts(std::string_view details);

/// The placeholders of the operands in Command::usage, without brackets; "..." follows one that may be repeated.
std::vector<std::string_view> operandsOf(const Command& command, const std::vector<HelpPart>& parts);

/// A summary as a sentence.
std::string sentence(std::string_view summary);

}  // namespace corvane
