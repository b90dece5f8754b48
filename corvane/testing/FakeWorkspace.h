#pragma once

#include <map>
#include <optional>
#include <string>
#include <vector>

#include "corvane/core/Mutex.h"
#include "corvane/platform/Export.h"
#include "corvane/platform/Workspace.h"

namespace corvane {

/// A desktop defined by a test, which records what it was asked to do.
class CORVANE_API FakeWorkspace : public Workspace {
 public:
  std::map<std::string, std::string> icons;         ///< path of a file → path of its picture
  std::map<std::string, std::string> applications;  ///< identifier → path
  std::optional<Error> error;                       ///< if set, every call fails with it
  std::vector<std::string> calls;                   ///< "launch a.b.App", "open /path", "reveal /path" in order
  /// The calls while other threads may be making more.
  std::vector<std::string> callsSoFar() const;

  int iconLookups = 0;  ///< how often it was asked for an icon

  Result<std::string> iconFile(const std::string& path, int size) override;
  Result<std::string> applicationPath(const std::string& identifier) override;
  Result<void> launch(const std::string& identifier, LaunchOptions options) override;
  Result<void> open(const std::string& pathOrURL) override;
  Result<void> reveal(const std::string& path) override;

 private:
  Result<void> note(std::string call);

  mutable Mutex m_mutex;  // for the calls
};

}  // namespace corvane
