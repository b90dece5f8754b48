#pragma once

#include <exception>
#include <functional>
#include <string>

#include "corvane/platform/Export.h"

namespace corvane {

/// The only kind of exception that TryCatch catches, with a name for programs and a reason for people.
class CORVANE_API Exception final : public std::exception {
 public:
  /// What to throw inside a TryCatch.
  Exception(std::string name, std::string reason);
  ~Exception() override;

  const std::string& name() const { return m_name; }      ///< for programs
  const std::string& reason() const { return m_reason; }  ///< for people
  /// The reason.
  const char* what() const noexcept override { return m_reason.c_str(); }

 private:
  std::string m_name;
  std::string m_reason;
};

/// Runs code that may throw an Exception, handles it, and runs a final step in every case. Any thread.
struct CORVANE_API TryCatch {
  /// Calls `body`. An Exception that it throws is passed to `catchRun` and goes no further, even if `catchRun` is
  /// empty; any other exception from `body`, and any from `catchRun`, leaves this function. `finallyRun` runs last in
  /// every case. Each of the three may be empty.
  static void tryRun(const std::function<void()>& body, const std::function<void(const Exception&)>& catchRun,
                     const std::function<void()>& finallyRun);

  /// Throws an Exception whose name and reason are both the text.
  [[noreturn]] static void throwString(const std::string& text);

  /// Throws the exception.
  [[noreturn]] static void throwException(const Exception& exception);
};

}  // namespace corvane
