#pragma once

#include <map>
#include <optional>
#include <string>
#include <vector>

#include "corvane/core/Mutex.h"
#include "corvane/platform/Export.h"
#include "corvane/platform/HelperInstaller.h"

namespace corvane {

/// Helpers defined by a test, which records the requests. Set the fields while no request is under way.
class CORVANE_API FakeHelperInstaller : public HelperInstaller {
 public:
  using Helpers = std::map<std::string, std::optional<std::string>, std::less<>>;  ///< label → embedded dictionary

  Helpers installed;             ///< install() and remove() change it
  Helpers bundled;               ///< what is in the application's bundle
  std::optional<Error> refusal;  ///< if set, install() and remove() fail with it

  /// A dictionary with this version, as text.
  static std::string info(const std::string& version);

  /// The requests so far, in order: "install LABEL", "remove LABEL".
  std::vector<std::string> requests() const;

  Result<std::optional<std::string>> installedInfo(const std::string& label) override;
  Result<std::optional<std::string>> bundledInfo(const std::string& label) override;
  std::string installRight() const override { return "fake.install"; }
  Result<void> install(const std::string& label, Authorization::Reference reference) override;
  Result<void> remove(const std::string& label, Authorization::Reference reference) override;

 private:
  mutable Mutex m_mutex;
  std::vector<std::string> m_requests CORVANE_GUARDED_BY(m_mutex);
};

}  // namespace corvane
