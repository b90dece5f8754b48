#include "apps/inspector/model/ProcessRow.h"

namespace corvane::inspector {

std::string commandLine(const ProcessRow& row) {
  if (row.arguments.empty()) return row.path;
  std::string text;
  for (const std::string& argument : row.arguments) text.append(text.empty() ? "" : " ").append(argument);
  return text;
}

}  // namespace corvane::inspector
