#include "apps/common/OptionReader.h"

#include "corvane/core/Text.h"

namespace corvane {

bool OptionReader::next() {
  if (!m_onlyOperands && m_next < m_arguments.size() && m_arguments[m_next] == "--") {
    m_onlyOperands = true;
    ++m_next;
  }
  if (m_next == m_arguments.size()) return false;
  const std::string_view argument = m_arguments[m_next++];
  m_name = argument.substr(0, argument.find('='));
  return true;
}

std::optional<std::string_view> OptionReader::operand() const {
  const std::string_view argument = m_arguments[m_next - 1];
  const bool isOption = !m_onlyOperands && argument.size() > 1 && argument.starts_with("-");
  return isOption ? std::nullopt : std::optional(argument);
}

tl::expected<std::string_view, std::string> OptionReader::text() {
  if (const std::string_view argument = m_arguments[m_next - 1]; argument.size() > m_name.size())
    return argument.substr(m_name.size() + 1);
  if (m_next < m_arguments.size()) return m_arguments[m_next++];
  return failure("the value is missing");
}

tl::expected<std::string_view, std::string> OptionReader::value() {
  const auto value = text();
  if (value && value->empty()) return failure("the value is missing");
  return value;
}

tl::expected<unsigned, std::string> OptionReader::seconds() {
  const auto seconds = value().map(numberIn<unsigned>);
  if (!seconds) return tl::unexpected(seconds.error());
  if (!*seconds || **seconds < 1 || **seconds > 1'000'000)
    return failure("expects a whole number of seconds from 1 to 1000000");
  return **seconds;
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

}  // namespace corvane
