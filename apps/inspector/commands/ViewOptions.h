#pragma once

#include <optional>
#include <string>
#include <string_view>

#include "apps/common/Command.h"
#include "corvane/platform/Result.h"

namespace corvane::inspector {

/// The options of the commands view and attach.
struct ViewOptions {
  enum class Format { LIVE, PLAIN, JSON };
  static constexpr unsigned DEFAULT_SECONDS = 10;  ///< without a terminal

  Format format = Format::LIVE;     ///< LIVE becomes PLAIN without a terminal
  std::optional<unsigned> seconds;  ///< how long it runs
  std::string root;                 ///< of view: folder to read /proc and /sys from
  std::string program;              ///< of attach

  static constexpr std::string_view HELP =
      "  --for SECONDS  end after so many whole seconds (default without a terminal: 10)\n"
      "  --json         print one JSON object every second\n"
      "  --plain        print one line every second, even on a terminal\n"
      "  --root FOLDER  read /proc and /sys below FOLDER\n";
  static constexpr std::string_view ATTACH_HELP =
      "NAME is that of the application, its identifier or the file name of its program, regardless of case. The view\n"
      "waits when the application ends, and goes on when it runs again.\n\n"
      "  --for SECONDS  end after so many whole seconds (default without a terminal: 10)\n"
      "  --json         print what the application shows as one JSON object every second\n"
      "  --plain        print one line every second, even on a terminal\n";

  /// The errors are one line for the user.
  static tl::expected<ViewOptions, std::string> parse(const Arguments& arguments);
  static tl::expected<ViewOptions, std::string> parseAttach(const Arguments& arguments);
};

}  // namespace corvane::inspector
