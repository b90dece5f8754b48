#pragma once

#include <memory>
#include <string>

#include "corvane/platform/Export.h"
#include "corvane/platform/Result.h"
#include "corvane/platform/Service.h"

namespace corvane {

/// The user's folders, as absolute paths without a trailing slash. Nothing is created. Any thread.
///
/// @feature The user's folders: `Path`, the log, settings.
/// @needs `HOME` or the user database, and the XDG variables with their standard defaults.
/// @without Without a home folder calls fail, and the log says so on standard error.
class Folders {
 public:
  virtual ~Folders() = default;
  virtual Result<std::string> home() = 0;                ///< the home folder
  virtual Result<std::string> library() = 0;             ///< $HOME/Library: logs and launch agents
  virtual Result<std::string> caches() = 0;              ///< files that may be deleted at any time
  virtual Result<std::string> configuration() = 0;       ///< settings of the desktop and its applications
  virtual Result<std::string> applicationSupport() = 0;  ///< applications' own data
};

template <>
CORVANE_API std::shared_ptr<Folders> makeService<Folders>();

}  // namespace corvane
