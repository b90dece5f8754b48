#pragma once

#include <optional>
#include <string>

#include "corvane/core/Files.h"
#include "corvane/platform/DesktopPicture.h"

namespace corvane {

/// The user's desktop picture in a file, for as long as the application shows another one: a process that is killed
/// cannot put it back, but the next one can. The file is locked by the process that shows pictures. One thread at a
/// time, one object to a process.
class DesktopRecord {
 public:
  /// `path`: of the file, whose folder is created when it is needed.
  explicit DesktopRecord(std::string path) : m_path(std::move(path)) {}

  /// What the file holds, if there is one; do not call this while isOwned().
  std::optional<ScreenPicture> read() const;

  /// Makes the file that of this process; false if another process that lives has it.
  bool own();
  bool isOwned() const { return m_file.get() >= 0; }

  /// Writes the picture into the file, which must be owned.
  Result<void> keep(const ScreenPicture& picture);

  /// Removes the file if it is owned.
  void drop();

 private:
  const std::string m_path;
  FileDescriptor m_file;
};

}  // namespace corvane
