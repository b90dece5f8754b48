#pragma once

#include <optional>
#include <string>
#include <string_view>

#include "apps/common/Command.h"
#include "corvane/platform/Result.h"

namespace corvane::inspector {

/// The options of the log command.
struct LogOptions {
  unsigned lines = 10;
  bool follow = false;
  bool listArchives = false;
  std::optional<unsigned> archive;  ///< number of the one to show instead of the log
  std::string identifier;           ///< of the application; empty for this program

  static constexpr unsigned MAX_LINES = 1'000'000;
  static constexpr std::string_view HELP =
      "  --lines N                show the last N lines, including those of older logs (default: 10)\n"
      "  --follow                 then show lines as they are written, even after the log is archived\n"
      "  --archives               list the older logs with their sizes in bytes and times\n"
      "  --archive N              show older log N, 0 being the newest\n"
      "  --identifier IDENTIFIER  show the log of the application with this identifier\n";

  /// The error is one line for the user.
  static tl::expected<LogOptions, std::string> parse(const Arguments& arguments);
};

}  // namespace corvane::inspector
