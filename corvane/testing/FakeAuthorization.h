#pragma once

#include <map>
#include <optional>
#include <set>
#include <string>
#include <vector>

#include "corvane/core/Mutex.h"
#include "corvane/platform/Authorization.h"
#include "corvane/platform/Export.h"

namespace corvane {

/// Rights defined by a test, which records the requests. Set the fields while no request is under way.
class CORVANE_API FakeAuthorization : public Authorization {
 public:
  std::optional<Error> error;                 ///< if set, create() fails with it
  std::optional<Error> unknown;               ///< if set, isDefined() fails with it
  std::optional<Error> indefinable;           ///< if set, define() fails with it
  std::optional<Error> refusal;               ///< if set, request() fails with it
  std::map<std::string, std::string> rights;  ///< the defined ones and their descriptions

  /// The requests so far, in order: the right, and " (PROMPT)" if there was one.
  std::vector<std::string> requests() const;
  /// The number of references that have not been released.
  std::size_t references() const;

  Result<Reference> create() override;
  Result<bool> isDefined(const std::string& right) override;
  Result<void> define(const std::string& right, const std::string& description) override;
  Result<void> request(Reference reference, const std::string& right, const std::string& prompt) override;
  void release(Reference reference) override;

 private:
  mutable Mutex m_mutex;
  std::vector<std::string> m_requests CORVANE_GUARDED_BY(m_mutex);
  std::set<Reference> m_references CORVANE_GUARDED_BY(m_mutex);
  Reference m_last CORVANE_GUARDED_BY(m_mutex) = 0;
};

}  // namespace corvane
