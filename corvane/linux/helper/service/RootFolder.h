#pragma once

#include <sys/types.h>

#include <functional>
#include <optional>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

#include "corvane/core/Files.h"
#include "corvane/platform/Result.h"

namespace corvane {

/// Distinguishes files, even if they have the same name one after the other.
struct FileIdentity {
  dev_t device = 0;
  ino_t number = 0;
  bool operator==(const FileIdentity&) const = default;
};

/// A folder that only root can change: on the way to it there are no symbolic links, and it and all folders above it
/// belong to root and are writable only by their owner. The same is asked of the files that are read and replaced in
/// it. Files are named without folders.
class RootFolder {
 public:
  /// Creates what is missing.
  static Result<RootFolder> open(const std::string& path);

  /// A regular file of root's, open for reading; a negative descriptor if there is nothing with that name.
  Result<FileDescriptor> file(const std::string& name) const;

  /// The content of such a file, if it is there and has at most 1 MiB.
  Result<std::optional<std::string>> content(const std::string& name) const;

  /// The names in it.
  Result<std::vector<std::string>> names() const;

  Result<void> remove(const std::string& name) const;  ///< success if nothing with that name is left

  /// Removes the files that staging left behind because the process was killed.
  void removeAbandoned() const;

  /// Waits for its turn: only one process at a time holds the returned descriptor.
  Result<FileDescriptor> lock() const;

  int descriptor() const { return m_folder.get(); }
  const std::string& path() const { return m_path; }

 private:
  RootFolder(FileDescriptor folder, std::string path) : m_folder(std::move(folder)), m_path(std::move(path)) {}

  FileDescriptor m_folder;
  std::string m_path;
};

/// A complete new file, on the disk, that has not got its name yet. It vanishes unless it gets it.
class StagedFile {
 public:
  /// Stages the content of an open file, or a text. `folder` must outlive the object. The mode is exactly this one.
  static Result<StagedFile> copy(const RootFolder& folder, std::string name, int source, mode_t mode);
  static Result<StagedFile> text(const RootFolder& folder, std::string name, std::string_view content, mode_t mode);

  StagedFile(StagedFile&& other) noexcept;
  StagedFile& operator=(StagedFile&&) = delete;
  ~StagedFile();

  /// Gives it its name, in place of a file that has it, in one step that survives a loss of power.
  Result<void> commit();

 private:
  StagedFile(const RootFolder& folder, std::string name) : m_folder(&folder), m_name(std::move(name)) {}
  static Result<StagedFile> create(const RootFolder& folder, std::string name, mode_t mode,
                                   const std::function<bool(int file)>& write);

  const RootFolder* m_folder;
  std::string m_name;
  bool m_isPending = true;
};

/// The identity of an open file.
Result<FileIdentity> identityOf(int file);

}  // namespace corvane
