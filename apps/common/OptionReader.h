#pragma once

#include <cstddef>
#include <optional>
#include <string>
#include <string_view>

#include "apps/common/Command.h"
#include "corvane/platform/Result.h"

namespace corvane {

/// Iterates over the options and operands of a command line. Options are "--name", "--name value" or "--name=value";
/// after "--" there are only operands. Errors are one line for the user.
///
///     for (OptionReader option(arguments); option.next();)
///       if (option.name() == "--lines") lines = option.value();
class OptionReader {
 public:
  explicit OptionReader(const Arguments& arguments) : m_arguments(arguments) {}

  /// Moves to the next argument; false if there is none.
  bool next();

  /// The option's name, with the dashes.
  std::string_view name() const { return m_name; }

  /// The whole argument if it is not an option (as "-" alone is not); std::nullopt if it is one.
  std::optional<std::string_view> operand() const;

  /// Its value, which may be empty; an error if it is missing.
  tl::expected<std::string_view, std::string> text();

  /// Its value; an error if it is missing or empty.
  tl::expected<std::string_view, std::string> value();

  /// Its value as a whole number of seconds from 1 to 1,000,000.
  tl::expected<unsigned, std::string> seconds();

  /// An error if an option that takes no value has one.
  tl::expected<void, std::string> noValue() const;

  /// An error that names the option.
  tl::unexpected<std::string> failure(std::string_view reason) const;

  /// The error for an option that the command does not know.
  tl::unexpected<std::string> unknown() const;

 private:
  const Arguments& m_arguments;
  std::size_t m_next = 0;
  std::string_view m_name;
  bool m_onlyOperands = false;
};

}  // namespace corvane
