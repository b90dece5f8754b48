#include "apps/common/HelpText.h"

#include <algorithm>
#include <cstddef>

namespace corvane {

std::string_view takeUntil(std::string_view& text, std::string_view separator) {
  const std::string_view head = text.substr(0, text.find(separator));
  text.remove_prefix(std::min(text.size(), head.size() + separator.size()));
  return head;
}

bool HelpPart::isOption(std::string_view name) const {
  for (std::string_view rest = term; !rest.empty();) {
    std::string_view word = takeUntil(rest, ", ");
    if (takeUntil(word, " ") == name) return name.starts_with("-");
  }
  return false;
}

std::string_view HelpPart::value() const {
  const std::size_t blank = term.starts_with("-") ? term.rfind(' ') : std::string_view::npos;
  return blank == std::string_view::npos || term.substr(blank).starts_with(" -") ? std::string_view()
                                                                                 : term.substr(blank + 1);
}

std::vector<HelpPart> helpParts(std::string_view details) {
  std::vector<HelpPart> parts;
  std::size_t column = 0;  // where the explanation begins; 0 in a paragraph
  bool ended = true;       // the next line begins a part
  while (!details.empty()) {
    std::string_view line = takeUntil(details, "\n");
    const std::size_t indent = std::min(line.find_first_not_of(' '), line.size());
    line.remove_prefix(indent);
    if (line.empty()) {
      ended = true;
    } else if (indent >= 2 && (ended || indent < column || column == 0)) {
      const std::string_view term = line.substr(0, line.find("  "));
      const std::size_t text = std::min(line.find_first_not_of(' ', term.size()), line.size());
      parts.push_back({term, std::string(line.substr(text)), indent >= 4 ? 1U : 0U});
      column = indent + text;
      ended = false;
    } else if (ended || (indent == 0 && column > 0)) {
      parts.push_back({{}, std::string(line)});
      column = 0;
      ended = false;
    } else {
      parts.back().text.append(" ").append(line);
    }
  }
  return parts;
}

std::vector<std::string_view> operandsOf(const Command& command, const std::vector<HelpPart>& parts) {
  std::vector<std::string_view> operands;
  for (std::string_view usage = command.usage; !usage.empty();) {
    std::string_view word = takeUntil(usage, " ");
    while (word.starts_with("[")) word.remove_prefix(1);
    const std::size_t bracket = std::min(word.find(']'), word.size());
    if (word.starts_with("-")) {
      const auto option =
          std::ranges::find_if(parts, [&](const HelpPart& part) { return part.isOption(word.substr(0, bracket)); });
      if (option != parts.end() && !option->value().empty()) takeUntil(usage, " ");
    } else if (word != "|" && !word.starts_with("OPTION")) {
      const bool repeats = word.ends_with("...");
      operands.push_back(word.substr(0, std::min(bracket, word.size() - (repeats ? 3 : 0))));
      if (repeats) operands.emplace_back("...");
    }
  }
  return operands;
}

std::string sentence(std::string_view summary) {
  std::string text(summary);
  if (text[0] >= 'a' && text[0] <= 'z') text[0] = static_cast<char>(text[0] - 'a' + 'A');
  return text + ".";
}

}  // namespace corvane
