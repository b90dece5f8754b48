#include "apps/inspector/OptionReader.h"

namespace corvane::inspector {

bool OptionReader::next() {
  if (m_next == m_arguments.size()) return false;
  const std::string_view argument = m_arguments[m_next++];
  m_name = argument.substr(0, argument.find('='));
  return true;
}

tl::expected<std::string_view, std::string> OptionReader::value() {
  std::string_view value;
  if (const std::string_view argument = m_arguments[m_next - 1]; argument.size() > m_name.size())
    value = argument.substr(m_name.size() + 1);
  else if (m_next < m_arguments.size())
    value = m_arguments[m_next++];
  if (value.empty()) return failure("the value is missing");
  return value;
}

tl::expected<void, std::string> OptionReader::noValue() const {
  if (m_arguments[m_next - 1].size() > m_name.size()) return failure("takes no value");
  return {};
}

tl::unexpected<std::string> OptionReader::failure(std::string_view reason) const {
  return tl::unexpected(std::string(m_name).append(": ").append(reason));
}

tl::unexpected<std::string> OptionReader::unknown() const {
  return tl::unexpected(std::string(m_arguments[m_next - 1]).append(": unknown option"));
}

}  // namespace corvane::inspector
