#pragma once

#include <cstddef>
#include <cstdint>
#include <optional>
#include <string>
#include <vector>

#include "apps/inspector/terminal/Frame.h"
#include "apps/inspector/terminal/Glyphs.h"
#include "corvane/infra/Broadcaster.h"

namespace corvane::inspector {

/// What the program's log holds.
struct LogFigures {
  std::string path;                   ///< empty if the program keeps no log
  std::optional<std::uint64_t> size;  ///< bytes; none if there is no such file now
  std::int64_t archives = 0;
  std::int64_t lines = 0;  ///< that this process has written

  /// The figures of the shared logger, whose file is at `path`.
  static LogFigures of(const std::string& path);
};

/// The page about the broadcaster, listener by listener, and the log.
Frame broadcasterPage(const std::vector<broadcaster_stats>& listeners, const LogFigures& log, std::size_t columns,
                      const Glyphs& glyphs);

}  // namespace corvane::inspector
