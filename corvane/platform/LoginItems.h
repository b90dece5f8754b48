#pragma once

#include <memory>
#include <string>

#include "corvane/platform/Export.h"
#include "corvane/platform/Result.h"
#include "corvane/platform/Service.h"

namespace corvane {

/// An application that the desktop session is to start. All texts are UTF-8.
struct LoginItem {
  std::string label;       ///< the item's label, which names its file
  std::string identifier;  ///< of the application
  std::string name;        ///< for people
  std::string executable;  ///< path of the program, for a desktop that does not know the identifier
};

/// The items that the user's desktop session starts when it begins. Any thread. Only reads and writes files.
///
/// On Linux: the entry LABEL.desktop in $XDG_CONFIG_HOME/autostart (~/.config/autostart if the variable is not an
/// absolute path). It starts the command of the application's installed desktop entry, or else the executable.
///
/// @feature Starting at login: `LaunchAtLogin`.
/// @needs A session that reads `$XDG_CONFIG_HOME/autostart`, as all major desktops do.
/// @without The entry is written, and nothing reads it.
class LoginItems {
 public:
  virtual ~LoginItems() = default;

  /// Adds an item, or replaces the one with the same label, from the next session on; all or nothing.
  virtual Result<void> add(const LoginItem& item) = 0;

  /// Removes the item with this label; succeeds if there is none.
  virtual Result<void> remove(const std::string& label) = 0;
};

template <>
CORVANE_API std::shared_ptr<LoginItems> makeService<LoginItems>();

}  // namespace corvane
