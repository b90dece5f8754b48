#pragma once

#include <cstdint>
#include <map>
#include <string>
#include <string_view>

#include "corvane/platform/Result.h"
#include "corvane/platform/Value.h"

namespace corvane {

// What a helper may be called and must say about itself, and the files that make the system know it. Nothing here
// touches the system.

/// The most that a helper may be and have.
struct HelperLimits {
  static constexpr std::size_t LABEL = 200;                          ///< bytes
  static constexpr std::uint64_t PROGRAM = std::uint64_t{64} << 20;  ///< bytes
  static constexpr std::size_t DICTIONARY = std::size_t{1} << 20;    ///< bytes
  static constexpr std::size_t ACTIONS = 64;
  static constexpr std::size_t CALLERS = 64;
  static constexpr std::size_t TEXT = 1000;  ///< bytes of a description, a prompt or a path
};

/// What counts of a helper's information dictionary.
struct HelperInfo {
  std::int64_t version = 0;
  std::map<std::string, std::string> actions;  ///< polkit actions that it declares → their descriptions
};

/// Success if a label can be that of a helper: it is the well-known name of a connection to a bus, and not one of those
/// that belong to the system or to this library, in upper or lower case.
Result<void> checkLabel(std::string_view label);

/// What the dictionary of a helper with this label says; an Error if it is one of another label, has no version, or
/// declares what it may not declare.
Result<HelperInfo> helperInfo(std::string_view dictionary, const std::string& label);

/// Success if a text can be shown to people: UTF-8 without control characters, at most HelperLimits::TEXT bytes.
Result<void> checkShown(std::string_view text);

/// What makes the bus start the helper.
std::string busServiceFile(const std::string& label);
/// Only root may own the name; everybody may call the helper's interface.
std::string busPolicyFile(const std::string& label);
/// The actions, each for an administrator's password, which is asked for again after some minutes.
std::string actionsFile(const std::map<std::string, std::string>& actions);

/// True if the content of a file says that it was made by the functions above.
bool isHelperFile(std::string_view content);

}  // namespace corvane
