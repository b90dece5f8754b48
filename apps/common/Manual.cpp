#include "apps/common/Manual.h"

#include <cctype>
#include <utility>

#include "apps/common/HelpText.h"

namespace corvane {

namespace {

// A text as man takes it, which would show some characters as others or take them for commands.
std::string escaped(std::string_view text) {
  std::string result;
  for (std::size_t i = 0; i < text.size(); ++i) {
    const bool isHyphen = i > 0 && text[i - 1] != ' ' && text[i - 1] != '-' && text[i - 1] != '[';
    switch (text[i]) {
      case '\\':
        result += "\\e";
        break;
      case '-':
        result += isHyphen ? "-" : "\\-";
        break;
      case '~':
        result += "\\(ti";
        break;
      case '^':
        result += "\\(ha";
        break;
      case '\'':
        result += "\\(aq";
        break;
      default:
        result += text[i];
    }
  }
  return result.starts_with(".") ? "\\&" + result : result;
}

bool isPartOfWord(char character) {
  return std::isalnum(static_cast<unsigned char>(character)) != 0 || character == '-' || character == ':';
}

// Usage or a term: what is typed in bold, what stands for something in italics.
std::string marked(std::string_view text) {
  std::string result;
  while (!text.empty()) {
    std::size_t length = 0;
    while (length < text.size() && isPartOfWord(text[length]) == isPartOfWord(text[0])) ++length;
    const std::string_view word = text.substr(0, length);
    const bool isPlaceholder = std::isupper(static_cast<unsigned char>(word[0])) != 0;
    if (isPartOfWord(word[0]))
      result.append(isPlaceholder ? "\\fI" : "\\fB").append(escaped(word)).append("\\fR");
    else
      result += word;
    text.remove_prefix(length);
  }
  return result;
}

// Adds a paragraph, in lines as people write them.
void appendText(std::string& text, std::string_view paragraph) {
  constexpr std::size_t WIDTH = 76;
  const std::string words = escaped(paragraph);
  std::string_view rest = words;
  while (rest.size() > WIDTH) {
    std::size_t blank = rest.rfind(' ', WIDTH);
    // What man takes for a command at the beginning of a line.
    while (blank != std::string_view::npos && rest.substr(blank).starts_with(" ."))
      blank = blank == 0 ? rest.npos : rest.rfind(' ', blank - 1);
    if (blank == std::string_view::npos) break;
    text.append(rest.substr(0, blank)).append("\n");
    rest.remove_prefix(blank + 1);
  }
  text.append(rest).append("\n");
}

// `isFirst`: nothing stands between the section's title and these.
void appendParts(std::string& text, std::string_view details, bool isFirst = false) {
  unsigned level = 0;
  for (const HelpPart& part : helpParts(details)) {
    for (; level < part.level; ++level) text += ".RS\n";
    for (; level > part.level; --level) text += ".RE\n";
    if (!part.term.empty())
      text.append(".TP\n").append(marked(part.term)).append("\n");
    else if (!std::exchange(isFirst, false))
      text += ".PP\n";
    appendText(text, part.text);
  }
  for (; level > 0; --level) text += ".RE\n";
}

}  // namespace

std::string manualText(const Program& program) {
  const Command& first = program.commands.front();
  if (first.name.empty()) {
    std::string text = ".SH OPTIONS\n";
    appendParts(text, first.details);
    return text;
  }
  std::string text = ".SH COMMANDS\n";
  if (program.hasDefault)
    text.append("Without a command, or with an option instead, ").append(marked(first.name)).append(" runs.\n");
  appendParts(text, program.notes, !program.hasDefault);
  for (const Command& command : program.commands) {
    const std::string usage = std::string(command.usage.empty() ? "" : " ").append(command.usage);
    text.append(".SS ").append(marked(std::string(command.name) + usage)).append("\n");
    appendText(text, sentence(command.summary));
    appendParts(text, command.details);
  }
  text += ".SH OPTIONS\n";
  appendParts(text, PROGRAM_OPTIONS);
  return text;
}

}  // namespace corvane
