#pragma once

#include <dlfcn.h>

#include <cstdint>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "corvane/platform/Export.h"

namespace corvane {

/// A library that the system must have for a program, or for a part of it.
///
///     const RuntimeRequirement pages = {"libviewer-pages.so.1", "the help pages", "https://example.org/get"};
///     if (const auto missing = missingLibrary(pages)) RuntimeNotice::show(pages, *missing, …);
struct RuntimeRequirement {
  std::string library;  ///< as dlopen takes it: "libQt6Svg.so.6", or a path
  std::string purpose;  ///< what it is for, in the user's language: "its windows"
  /// Where to get it: an address, also one of the software centre ("appstream:org.x.y"). Empty: nowhere.
  std::string download;
};

/// The name of the library that a dlerror() text is about; empty if it tells none.
CORVANE_API std::string libraryInError(std::string_view error);

/// Loads the library, and keeps it loaded. std::nullopt if it is there; otherwise the name of what is missing, which
/// may be a library that it needs. It is looked for where those of the calling program are (its RUNPATH), which is why
/// this is inline. Any thread.
inline std::optional<std::string> missingLibrary(const RuntimeRequirement& requirement) {
  if (dlopen(requirement.library.c_str(), RTLD_LAZY | RTLD_LOCAL)) return std::nullopt;
  const char* const error = dlerror();
  const std::string missing = libraryInError(error ? error : "");
  return missing.empty() ? requirement.library : missing;
}

/// What is said about it, in the user's language.
struct RuntimeNoticeTexts {
  std::string text;      ///< what is missing
  std::string download;  ///< the labels of the buttons
  std::string quit;      ///< likewise
  std::string goOn;      ///< likewise
};
/// The texts in the user's language for an application that lacks `missing`.
CORVANE_API RuntimeNoticeTexts runtimeNoticeTexts(const std::string& application, const RuntimeRequirement& requirement,
                                                  const std::string& missing);

/// What the user chose about a missing library: to get it, to end the program, or to do without it.
enum class RuntimeChoice : std::uint8_t { DOWNLOAD, QUIT, CONTINUE };

/// Tells the user without any toolkit, for a program that cannot run: on standard error, and in a window of the
/// desktop's (see corvane/platform/Alerts.h) if it has one to ask with. For DOWNLOAD the address has been opened. Waits
/// for an answer, for `limit` seconds at most, after which it is QUIT. Any thread.
CORVANE_API RuntimeChoice noticeWithoutToolkit(const std::string& application, const RuntimeRequirement& requirement,
                                               const std::string& missing, double limit = 600);

/// What a launcher does once all is there that its program requires (REQUIRES of corvane_application, CMake): replaces
/// this process by the program, which has the launcher's name and is in the folder libexec beside or in the launcher's.
/// It gets the same arguments. Returns only if there is no such program, after a line on standard error: 127.
CORVANE_API int launchProgram(const std::string& application, char* const* arguments);

}  // namespace corvane
