#pragma once

#include <cstdint>
#include <memory>
#include <string>

#include "corvane/platform/Export.h"
#include "corvane/platform/Result.h"
#include "corvane/platform/Service.h"

namespace corvane {

/// Asks the system, and through it a person, for rights of this process. Any thread; a request waits for as long as a
/// person needs.
///
/// On Linux: polkit. A right is one of its actions. A right that no action declares is defined as the library's generic
/// action, for which an administrator is asked each time; only the library's root service can ask for it, because it
/// shows the prompt.
///
/// @feature Rights: `checkAuthorised`.
/// @needs polkit (`polkitd`), with an authentication agent in the session.
/// @without No right is granted.
class Authorization {
 public:
  virtual ~Authorization() = default;

  /// Stands for the rights obtained with it. Never 0.
  using Reference = std::uint64_t;

  /// A reference without rights.
  virtual Result<Reference> create() = 0;

  /// Whether the right is defined, by the system or by define().
  virtual Result<bool> isDefined(const std::string& right) = 0;

  /// Defines a right as "authenticate as administrator", with a description for people; it may be empty.
  virtual Result<void> define(const std::string& right, const std::string& description) = 0;

  /// Obtains a right, if necessary by asking. `prompt` is shown to the person if the system permits it.
  virtual Result<void> request(Reference reference, const std::string& right, const std::string& prompt) = 0;

  /// Forgets the reference. Zero is ignored.
  virtual void release(Reference reference) = 0;
};

template <>
CORVANE_API std::shared_ptr<Authorization> makeService<Authorization>();

}  // namespace corvane
