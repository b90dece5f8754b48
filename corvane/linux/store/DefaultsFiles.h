#pragma once

#include <sys/types.h>

#include <chrono>
#include <optional>
#include <string>
#include <string_view>

#include "corvane/platform/Result.h"

/// The files of the settings on disk: where they are, what they are called, and whose they are.
namespace corvane::defaults_files {

inline constexpr std::string_view DATABASE = ".db";
inline constexpr std::string_view CHANGES = ".changes";

/// How long one call waits for other processes, and how often it checks.
inline constexpr std::chrono::seconds LIMIT(5);
inline constexpr std::chrono::microseconds PAUSE(500);

inline tl::unexpected<Error> passedOn(const Error& error) {
  return tl::unexpected<Error>(error);
}

/// The identity of the file at a path; std::nullopt if there is no file.
struct Identity {
  dev_t device = 0;
  ino_t inode = 0;

  static std::optional<Identity> at(const std::string& path);

  bool operator==(const Identity&) const = default;
};

/// Removes other users' rights from one of our files. Failures are ignored.
void keepPrivate(const std::string& path);

/// Creates a folder with mode 0700, and its missing parents.
Result<void> makeFolder(const std::string& path);

Result<std::string> settingsFolder();

/// The name of a domain's files, without an extension.
std::string fileNameOf(const std::string& domain);

/// The domain for such a name; std::nullopt if no domain has it.
std::optional<std::string> domainOf(std::string_view name);

}  // namespace corvane::defaults_files
