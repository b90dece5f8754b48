#pragma once

#include <fstream>
#include <regex>
#include <string>
#include <vector>

namespace corvane {

/// The lines of an application's log file, with "> " in place of the columns before the message.
inline std::vector<std::string> loggedMessages(const std::string& path, const std::string& identifier = "a.b.App") {
  const std::regex columns(R"(^\d{4}/\d\d/\d\d \d\d:\d\d:\d\d\.\d{6} \d+ )" + identifier + " ");
  std::vector<std::string> messages;
  std::ifstream file(path);
  for (std::string line; std::getline(file, line);) messages.push_back(std::regex_replace(line, columns, "> "));
  return messages;
}

}  // namespace corvane
