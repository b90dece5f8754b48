#pragma once

#include <optional>
#include <string>
#include <string_view>

#include "apps/common/Command.h"
#include "corvane/platform/Result.h"

namespace corvane::inspector {

/// The options of the view command.
struct ViewOptions {
  enum class Format { LIVE, PLAIN, JSON };

  Format format = Format::LIVE;     ///< LIVE becomes PLAIN without a terminal
  std::optional<unsigned> seconds;  ///< how long it runs
  std::string root;                 ///< folder to read /proc and /sys from

  static constexpr std::string_view HELP =
      "  --for SECONDS  end after so many whole seconds (default without a terminal: 10)\n"
      "  --json         print one JSON object every second\n"
      "  --plain        print one line every second, even on a terminal\n"
      "  --root FOLDER  read /proc and /sys below FOLDER\n";

  /// The error is one line for the user.
  static tl::expected<ViewOptions, std::string> parse(const Arguments& arguments);
};

}  // namespace corvane::inspector
