#include "apps/common/Completion.h"

#include <algorithm>
#include <iterator>

#include "apps/common/HelpText.h"

namespace corvane {

namespace {

using Candidates = std::vector<Candidate>;

// Names of programs and disks may have anything in them.
bool isControl(char character) {
  return static_cast<unsigned char>(character) < ' ' || character == '\x7f';
}

// Words such as "on|off".
Candidates alternatives(std::string_view placeholder) {
  Candidates words;
  if (placeholder.find('|') == std::string_view::npos || placeholder[0] < 'a' || placeholder[0] > 'z') return words;
  while (!placeholder.empty()) words.push_back({std::string(takeUntil(placeholder, "|"))});
  return words;
}

Candidates valuesOf(const Program& program, std::string_view placeholder, const Arguments& operands) {
  const auto values = std::ranges::find(program.values, placeholder, &Values::placeholder);
  if (values != program.values.end()) return values->list(operands);
  if (placeholder == "FILE" || placeholder == "ARGUMENT") return {{ANY_FILE}};
  if (placeholder == "FOLDER" || placeholder == "PATH") return {{ANY_FOLDER}};
  if (placeholder == "COMMAND") return {{ANY_COMMAND}};
  return alternatives(placeholder);
}

void addOptions(Candidates& candidates, const std::vector<HelpPart>& parts) {
  for (const HelpPart& part : parts)
    for (std::string_view term = part.term; term.starts_with("-");) {
      std::string_view option = takeUntil(term, ", ");
      const std::string_view name = takeUntil(option, " ");
      if (name != "--") candidates.push_back({std::string(name), part.text});
    }
}

void addCommands(Candidates& candidates, const Program& program) {
  for (const Command& command : program.commands)
    candidates.push_back({std::string(command.name), std::string(command.summary)});
}

// What comes before the last word of a command's arguments.
struct Place {
  Arguments operands;
  bool onlyOperands = false;    // options have ended
  std::string_view value = {};  // the placeholder of the option whose value the last word is
};

// The placeholder of the value of the option with this name; empty if there is none.
std::string_view valueOf(const std::vector<HelpPart>& parts, std::string_view name) {
  const auto option = std::ranges::find_if(parts, [name](const HelpPart& part) { return part.isOption(name); });
  return option == parts.end() ? std::string_view() : option->value();
}

std::string_view expectedAfter(const Arguments& operands, const std::vector<std::string_view>& expected) {
  if (operands.size() < expected.size() && expected[operands.size()] != "...") return expected[operands.size()];
  return expected.size() > 1 && expected.back() == "..." ? expected[expected.size() - 2] : std::string_view();
}

Place placeOf(const Arguments& words, const std::vector<HelpPart>& parts,
              const std::vector<std::string_view>& expected) {
  Place place;
  for (std::size_t next = 0; next + 1 < words.size(); ++next) {
    const std::string_view word = words[next];
    const bool isOption = std::ranges::any_of(parts, [word](const HelpPart& part) { return part.isOption(word); });
    if (!place.onlyOperands && word == "--") {
      place.onlyOperands = true;
    } else if (place.onlyOperands || !(isOption || word.starts_with("--"))) {
      place.onlyOperands |= expectedAfter(place.operands, expected) == "COMMAND";
      place.operands.push_back(word);
    } else if (const std::string_view value = valueOf(parts, word); !value.empty()) {
      if (++next + 1 == words.size()) place.value = value;
    }
  }
  const std::string_view last = words.back();
  const std::size_t equals = last.find('=');
  if (!place.onlyOperands && last.starts_with("--") && equals != std::string_view::npos)
    place.value = valueOf(parts, last.substr(0, equals));
  return place;
}

Candidates ofCommand(const Program& program, const Command& command, const Arguments& words) {
  const std::vector<HelpPart> parts = helpParts(command.details);
  const std::vector<std::string_view> expected = operandsOf(command, parts);
  const Place place = placeOf(words, parts, expected);
  if (!place.value.empty()) return valuesOf(program, place.value, place.operands);
  Candidates candidates;
  const std::string_view operand = expectedAfter(place.operands, expected);
  if (!operand.empty()) candidates = valuesOf(program, operand, place.operands);
  if (!place.onlyOperands && (operand.empty() || words.back().starts_with("-"))) {
    addOptions(candidates, parts);
    if (!command.name.empty()) candidates.push_back({"--help", "explain this command"});
  }
  return candidates;
}

Candidates complete(const Program& program, const Arguments& words) {
  const Command& first = program.commands.front();
  if (first.name.empty()) return ofCommand(program, first, words);
  Candidates candidates;
  if (words.size() == 1 || (words.size() == 2 && words.front() == "help")) addCommands(candidates, program);
  if (words.size() == 1 && words.front().starts_with("-")) addOptions(candidates, helpParts(PROGRAM_OPTIONS));
  const auto named = std::ranges::find(program.commands, words.front(), &Command::name);
  if (words.size() > 1 && named != program.commands.end())
    return ofCommand(program, *named, {words.begin() + 1, words.end()});
  if (program.hasDefault && words.front().starts_with("-"))
    std::ranges::move(ofCommand(program, first, words), std::back_inserter(candidates));
  return candidates;
}

}  // namespace

std::string completionText(const Program& program, const Arguments& words) {
  std::string text;
  if (words.empty()) return text;
  for (const Candidate& candidate : complete(program, words))
    if (!candidate.word.empty() && std::ranges::none_of(candidate.word, isControl)) {
      text.append(candidate.word).append("\t");
      std::ranges::replace_copy_if(candidate.description, std::back_inserter(text), isControl, ' ');
      text += '\n';
    }
  return text;
}

}  // namespace corvane
