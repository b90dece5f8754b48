#pragma once

#include <optional>
#include <string>

#include "corvane/linux/helper/service/HelperFiles.h"
#include "corvane/linux/helper/service/HelperImage.h"
#include "corvane/linux/helper/service/RootFolder.h"
#include "corvane/platform/Result.h"

namespace corvane {

/// The helpers that are installed. Any thread and any number of processes: changes are made one after the other.
///
/// A change that is interrupted leaves the old helper working: the new files are all on the disk before the first one
/// gets its name, the helper itself gets it last, and a removed helper loses first what the bus starts it by.
class HelperStore {
 public:
  /// The most helpers that can be installed.
  static constexpr std::size_t MAX_HELPERS = 100;

  /// Removes what earlier processes that were killed have left.
  static Result<void> clean();

  /// Success if a helper could be installed: no newer version is, and no files of its names belong to others.
  static Result<void> check(const std::string& label, const HelperInfo& info);

  /// Checks again and installs it. Returns the program that it replaced, if any.
  static Result<std::optional<FileIdentity>> install(const std::string& label, const HelperInfo& info,
                                                     const HelperImage& image);

  /// Whether anything of the helper is installed.
  static Result<bool> knows(const std::string& label);

  /// Removes everything of it. Returns the program.
  static Result<std::optional<FileIdentity>> remove(const std::string& label);

  /// Whether the installed helper declares an action.
  static bool declares(const std::string& label, const std::string& action);
};

}  // namespace corvane
